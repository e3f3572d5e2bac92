#pragma once

#include <string>
#include <vector>

// Where the preset tree lies. It is machine-wide, shared by all users of the computer:
// on the Apple system /Library/Application Support/Velmora Audio Works/Presets/<product>;
// on Linux /var/lib/Velmora Audio Works/Presets/<product> where that can be made and written,
// else <home>/.local/share/Velmora Audio Works/Presets/<product>. The environment variable
// MORVANE_PRESET_ROOT, when set and not empty, names the root instead (tests, packagers).
namespace PresetRoot
{
// The part below the base folder: "/Velmora Audio Works/Presets/<product>".
std::string tail(const std::string& productFolder);
// Makes the root's folders as far as possible and returns the root; empty when no home
// folder is known and no MORVANE_PRESET_ROOT is set.
std::string make(const std::string& productFolder);
// The first base + tail whose folders exist or can be made and that is writable; when none
// is, the last candidate as made so far (a listing of it then comes up empty).
std::string firstWritable(const std::vector<std::string>& bases, const std::string& tailPath);
// Makes every missing level of path, one "/" piece after the other; failures are ignored.
void makeChain(const std::string& path);
} // namespace PresetRoot
