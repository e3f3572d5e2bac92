#include "Presets/PresetRoot.h"

#include "Ground/SettingsPaths.h"

#include <cstdlib>
#include <sys/stat.h>

namespace PresetRoot
{
namespace
{
std::string fromEnvironment()
{
    const char* value = std::getenv("MORVANE_PRESET_ROOT");
    return value != nullptr ? std::string(value) : std::string();
}

// The user's base: the machine-wide library folder on the Apple system, the user's data
// folder on Linux.
std::string userBase(const std::string& home)
{
#if defined(__APPLE__)
    (void)home;
    return "/Library/Application Support";
#else
    return home + "/.local/share";
#endif
}

std::vector<std::string> machineBases()
{
#if defined(__APPLE__)
    return {};
#else
    return {"/var/lib", "/usr/local/share", "/usr/share"};
#endif
}
} // namespace

std::string tail(const std::string& productFolder)
{
    return "/Velmora Audio Works/Presets/" + productFolder;
}

void makeChain(const std::string& path)
{
    std::size_t next = path.find('/', 1);
    while (true)
    {
        const auto piece = next == std::string::npos ? path : path.substr(0, next);
        if (!piece.empty() && !SettingsPaths::isDirectory(piece))
            ::mkdir(piece.c_str(), 0755);
        if (next == std::string::npos)
            return;
        next = path.find('/', next + 1);
    }
}

std::vector<std::string> existingTrees(const std::vector<std::string>& bases, const std::string& tailPath)
{
    std::vector<std::string> trees;
    for (const auto& base : bases)
        if (SettingsPaths::isDirectory(base + tailPath))
            trees.push_back(base + tailPath);
    return trees;
}

std::string make(const std::string& productFolder)
{
    const auto chosen = fromEnvironment();
    if (!chosen.empty())
    {
        makeChain(chosen);
        return chosen;
    }
    const auto home = SettingsPaths::home();
    if (home.empty())
        return {};
    const auto root = userBase(home) + tail(productFolder);
    makeChain(root);
    return root;
}

std::vector<std::string> sharedTrees(const std::string& productFolder)
{
    if (!fromEnvironment().empty())
        return {};
    return existingTrees(machineBases(), tail(productFolder));
}
} // namespace PresetRoot
