#include "PresetTestSupport.h"

#include "TestEnvironment.h"

#include <atomic>
#include <dirent.h>
#include <sys/stat.h>

namespace PresetTest
{
std::string freshFolder()
{
    static std::atomic<int> serial{0};
    const auto folder = TestEnvironment::home() + "/case" + std::to_string(serial++);
    makeFolder(folder);
    return folder;
}

void makeFolder(const std::string& path)
{
    ::mkdir(path.c_str(), 0755);
}

void makeFile(const std::string& path, const std::string& content)
{
    TestEnvironment::writeFile(path, content);
}

std::vector<std::string> directoryOrder(const std::string& folder)
{
    std::vector<std::string> names;
    DIR* directory = ::opendir(folder.c_str());
    if (directory == nullptr)
        return names;
    while (const dirent* entry = ::readdir(directory))
    {
        const std::string name = entry->d_name;
        if (name != "." && name != "..")
            names.push_back(name);
    }
    ::closedir(directory);
    return names;
}

std::string presetText(const std::vector<std::string>& knobTexts)
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
