#include "Ground/SettingsPaths.h"

#include <cstdlib>
#include <pwd.h>
#include <sys/stat.h>
#include <unistd.h>

namespace SettingsPaths
{
namespace
{
#if defined(__APPLE__)
const char* const rootLevels[] = {"/Library", "/Application Support"};
#else
const char* const rootLevels[] = {"/.config"};
#endif
const char* const makerFolder = "/Velmora Audio Works";

bool makeLevel(const std::string& path)
{
    if (isDirectory(path))
        return true;
    return ::mkdir(path.c_str(), 0755) == 0 || isDirectory(path);
}
} // namespace

std::string home()
{
    if (const char* fromEnv = std::getenv("Home"))
        return fromEnv;
    if (const passwd* entry = ::getpwuid(::getuid()))
        if (entry->pw_dir != nullptr)
            return entry->pw_dir;
    return {};
}

std::string applicationFolder()
{
    const auto base = home();
    if (base.empty())
        return {};
    std::string path = base;
    for (const char* level : rootLevels)
        path += level;
    return path + makerFolder;
}

std::string makeFolders(const std::string& sub)
{
    std::string path = home();
    if (path.empty())
        return {};
    for (const char* level : rootLevels)
    {
        path += level;
        makeLevel(path);
    }
    path += makerFolder;
    makeLevel(path);

    std::size_t start = 0;
    while (start < sub.size())
    {
        auto end = sub.find('/', start);
        if (end == std::string::npos)
            end = sub.size();
        if (end > start)
        {
            path += "/" + sub.substr(start, end - start);
            makeLevel(path);
        }
        start = end + 1;
    }
    return path;
}

bool isDirectory(const std::string& path)
{
    struct stat info
    {
    };
    return ::stat(path.c_str(), &info) == 0 && S_ISDIR(info.st_mode);
}

bool isFile(const std::string& path)
{
    struct stat info
    {
    };
    return ::stat(path.c_str(), &info) == 0 && S_ISREG(info.st_mode);
}

long long fileSize(const std::string& path)
{
    struct stat info
    {
    };
    return ::stat(path.c_str(), &info) == 0 ? (long long)info.st_size : -1;
}
} // namespace SettingsPaths
