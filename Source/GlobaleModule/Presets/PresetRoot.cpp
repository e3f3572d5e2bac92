#include "Presets/PresetRoot.h"

#include "Ground/SettingsPaths.h"

#include <cstdlib>
#include <sys/stat.h>
#include <unistd.h>

namespace PresetRoot
{
namespace
{
bool isWritableFolder(const std::string& path)
{
    return SettingsPaths::isDirectory(path) && ::access(path.c_str(), W_OK | X_OK) == 0;
}

std::string fromEnvironment()
{
    const char* value = std::getenv("MORVANE_PRESET_ROOT");
    return value != nullptr ? std::string(value) : std::string();
}

// The machine-wide folder first, the user's own after it.
std::vector<std::string> platformBases(const std::string& home)
{
#if defined(__APPLE__)
    (void)home;
    return {"/Library/Application Support"};
#else
    return {"/var/lib", home + "/.local/share"};
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

std::string firstWritable(const std::vector<std::string>& bases, const std::string& tailPath)
{
    std::string root;
    for (const auto& base : bases)
    {
        root = base + tailPath;
        // Never make the base itself: a missing /var/lib is not ours to create.
        if (!SettingsPaths::isDirectory(base))
            continue;
        makeChain(root);
        if (isWritableFolder(root))
            return root;
    }
    return root;
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
#if !defined(__APPLE__)
    // The user's own base may not exist yet on a fresh account.
    makeChain(home + "/.local/share");
#endif
    return firstWritable(platformBases(home), tail(productFolder));
}
} // namespace PresetRoot
