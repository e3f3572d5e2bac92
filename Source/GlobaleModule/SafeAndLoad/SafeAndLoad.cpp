#include "SafeAndLoad/SafeAndLoad.h"

#include "GlobalData/GlobalData.h"
#include "Ground/AtomicFile.h"
#include "Ground/SettingsPaths.h"

#include <cmath>
#include <cstdlib>
#include <fstream>
#include <iterator>

SafeAndLoad::SafeAndLoad(Settings* s, GlobalData* g)
    : global(g), productFolder(s != nullptr ? s->productFolder : std::string())
{
}

std::string SafeAndLoad::instanceFolderName() const
{
    return global->instanceFolderName();
}

std::string SafeAndLoad::makeInstanceFolder()
{
    return SettingsPaths::makeFolders(productFolder + "/" + instanceFolderName());
}

void SafeAndLoad::SafeFiles(const std::string& name, std::stringstream& content)
{
    const auto folder = makeInstanceFolder();
    if (folder.empty())
        return;
    AtomicFile::write(folder + "/" + name + ".txt", content.str());
}

bool SafeAndLoad::LoadFiles()
{
    const auto folder = makeInstanceFolder();
    if (folder.empty())
        return true;
    global->settingsFolder = folder;

    const auto path = folder + "/IP.txt";
    if (!SettingsPaths::isFile(path))
        return false;

    std::ifstream in(path, std::ios::binary);
    const std::string text((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
    if (text.empty())
        return false;

    global->SetIp(text);
    global->savedIp = text;
    return true;
}

std::array<std::string, 5> SafeAndLoad::positionalValues(const std::string& text)
{
    std::array<std::string, 5> values{};
    std::string rest = text;
    for (auto& value : values)
    {
        const auto semicolon = rest.find(';');
        if (semicolon == std::string::npos)
            continue;
        const auto equals = rest.find('=');
        if (equals != std::string::npos && equals + 2 <= semicolon)
            value = rest.substr(equals + 2, semicolon - equals - 2);
        rest = rest.substr(semicolon + 1);
    }
    return values;
}

namespace
{
// The ranges the preferences can set; a value outside, missing or no number at all keeps
// the default, so a damaged file can't blow the window up or turn the knob steps negative.
constexpr double largestSize = 5.0;
constexpr double largestResolution = 1000.0;

bool readNumberWithin(const std::string& text, double lowest, double highest, double& out)
{
    if (text.empty())
        return false;
    char* end = nullptr;
    const double value = std::strtod(text.c_str(), &end);
    if (end == text.c_str() || !std::isfinite(value) || value < lowest || value > highest)
        return false;
    out = value;
    return true;
}
} // namespace

void SafeAndLoad::ReadGuiSettings()
{
    const auto folder = makeInstanceFolder();
    if (folder.empty())
        return;
    global->settingsFolder = folder;
    const auto path = folder + "/GuiSettings.txt";
    if (!SettingsPaths::isFile(path))
        return;
    std::ifstream in(path, std::ios::binary);
    const std::string text((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
    if (text.empty())
        return;

    const auto values = positionalValues(text);
    double number = 0.0;
    if (readNumberWithin(values[0], 0.0, largestSize, number))
        global->guiSize = (float)number;
    if (readNumberWithin(values[1], 0.0, largestResolution, number))
        global->knobResolution = (float)(int)number;
    global->deviceSerial = values[2];
    global->zeroPreset = values[4] != "0";
    if (!values[3].empty())
    {
        const int fps = StringInInt(values[3]);
        if (fps > 0)
        {
            global->fps = fps;
            global->frameInterval = 1000 / fps;
            global->fpsChanged = true;
        }
    }
    // One write with everything applied: the file is rewritten in its own form once a start.
    global->safeGuiSettings();
    global->knobResolutionChanged = true;
}
