#pragma once

#include <string>
#include <vector>

// Small file-system helpers of the preset tests; every path lies in a fresh temporary folder.
namespace PresetTest
{
// A new empty folder below the run's temporary home.
std::string freshFolder();
void makeFolder(const std::string& path);
void makeFile(const std::string& path, const std::string& content = "x");
// Entry names as the directory delivers them, "." and ".." left out.
std::vector<std::string> directoryOrder(const std::string& folder);
// The preset text the plug-in writes for these knob texts ("Knob<i>" in order).
std::string presetText(const std::vector<std::string>& knobTexts);
} // namespace PresetTest
