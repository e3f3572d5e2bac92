#pragma once

#include "Ground/SettingsPaths.h"
#include "TestEnvironment.h"

#include <atomic>
#include <dirent.h>
#include <string>
#include <sys/stat.h>
#include <vector>

// File-system helpers of the preset tests; every path lies below the run's temporary home.
namespace PresetTest
{
inline std::string freshFolder()
{
    static std::atomic<int> serial{0};
    const auto folder = TestEnvironment::home() + "/case" + std::to_string(serial++);
    ::mkdir(folder.c_str(), 0755);
    return folder;
}

// Entry names as the directory delivers them, "." and ".." left out.
inline std::vector<std::string> directoryOrder(const std::string& folder)
{
    std::vector<std::string> names;
    if (DIR* directory = ::opendir(folder.c_str()))
    {
        while (const dirent* entry = ::readdir(directory))
            if (std::string(entry->d_name) != "." && std::string(entry->d_name) != "..")
                names.push_back(entry->d_name);
        ::closedir(directory);
    }
    return names;
}

// The product's log as it stands.
inline std::string logText()
{
    return TestEnvironment::readFile(SettingsPaths::applicationFolder() + "/Morvane/Log.txt");
}

// The preset text the plug-in writes for these knob texts ("Knob<i>" in order).
inline std::string presetText(const std::vector<std::string>& knobTexts)
{
    std::string text = "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\r\n\r\n<Root>\r\n";
    for (size_t i = 0; i < knobTexts.size(); ++i)
    {
        const auto tag = "Knob" + std::to_string(i);
        text += "  <" + tag + ">" + knobTexts[i] + "</" + tag + ">\r\n";
    }
    return text + "</Root>\r\n";
}
} // namespace PresetTest
