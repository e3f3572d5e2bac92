#pragma once

#include <string>
#include <vector>

// Where the preset trees lie. The browser shows them as one tree.
// - The user's own tree, where saves go: on the Apple system the machine-wide
//   /Library/Application Support/Velmora Audio Works/Presets/<product>; on Linux
//   <home>/.local/share/Velmora Audio Works/Presets/<product>.
// - On Linux, the machine-wide trees /var/lib/..., /usr/local/share/... and /usr/share/...
//   with the same tail, read when they exist, whoever owns them (factory presets of a
//   package). On a name clash the user's entry wins, then the trees in this order.
// The environment variable MORVANE_PRESET_ROOT, when set and not empty, names the one tree
// instead (tests, packagers).
namespace PresetRoot
{
// The part below the base folder: "/Velmora Audio Works/Presets/<product>".
std::string tail(const std::string& productFolder);
// Makes the user's tree as far as possible and returns its root; empty when no home folder
// is known and no MORVANE_PRESET_ROOT is set.
std::string make(const std::string& productFolder);
// The machine-wide trees that exist, in the order in which they win; none when
// MORVANE_PRESET_ROOT is set.
std::vector<std::string> sharedTrees(const std::string& productFolder);
// The existing folders among base + tailPath for every base, in the order given.
std::vector<std::string> existingTrees(const std::vector<std::string>& bases, const std::string& tailPath);
// Makes every missing level of path, one "/" piece after the other; failures are ignored.
void makeChain(const std::string& path);
} // namespace PresetRoot
