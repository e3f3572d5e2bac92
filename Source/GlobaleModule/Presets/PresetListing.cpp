#include "Presets/PresetListing.h"

#include "GlobalData/Settings.h"
#include "Ground/SettingsPaths.h"
#include "Presets/PresetRoot.h"

#include <algorithm>
#include <dirent.h>
#include <functional>
#include <sys/stat.h>

namespace
{
// Closes the directory on every way out.
struct Directory
{
    explicit Directory(const std::string& path) : handle(::opendir(path.c_str())) {}
    ~Directory()
    {
        if (handle != nullptr)
            ::closedir(handle);
    }
    Directory(const Directory&) = delete;
    Directory& operator=(const Directory&) = delete;

    DIR* handle;
};

bool isDotOrDotDot(const std::string& name)
{
    return name == "." || name == "..";
}

// Symbolic links are not of directory type, whatever they point at.
bool isFolderEntry(const dirent& entry, const std::string& folder)
{
    if (entry.d_type != DT_UNKNOWN)
        return entry.d_type == DT_DIR;
    struct stat info
    {
    };
    const std::string full = folder + "/" + entry.d_name;
    return ::lstat(full.c_str(), &info) == 0 && S_ISDIR(info.st_mode);
}

bool isPresetName(const std::string& name)
{
    return !name.empty() && name[0] != '.' && name.find(".fxb") != std::string::npos;
}

// One pass over the folder in directory order: every entry that wanted accepts goes to take.
// Returns how many were taken, -1 when the folder won't open.
int eachEntry(const std::string& path, const std::function<bool(const dirent&, const std::string&)>& wanted,
              const std::function<void(const std::string&)>& take)
{
    Directory directory(path);
    if (directory.handle == nullptr)
        return -1;
    int taken = 0;
    while (const dirent* entry = ::readdir(directory.handle))
    {
        const std::string name = entry->d_name;
        if (!wanted(*entry, name))
            continue;
        take(name);
        ++taken;
    }
    return taken;
}

std::string productOf(const Settings* settings)
{
    return settings != nullptr ? settings->productFolder : std::string("Morvane");
}

std::string lastPiece(const std::string& path)
{
    const auto slash = path.rfind('/');
    return slash == std::string::npos ? path : path.substr(slash + 1);
}
} // namespace

PresetListing::PresetListing(const Settings* settings)
    : PresetListing(PresetRoot::make(productOf(settings)), PresetRoot::sharedTrees(productOf(settings)))
{
}

PresetListing::PresetListing(const std::string& userRoot, const std::vector<std::string>& shared)
    : rootPath(userRoot), sharedRoots(shared)
{
    getFoldersAndFiles(rootPath, -1);
}

void PresetListing::getFoldersAndFiles(const std::string& path, int level)
{
    const int listed = level + 1;
    if (listed < 0 || listed >= levelCount)
        return;
    database->currentFolder = path;
    clearLevel(listed, path);

    const auto shared = sharedCounterparts(path);
    makeUserFolderFor(path, shared);
    int folders = listFolders(path, path, listed);
    for (const auto& counterpart : shared)
        folders = std::max(folders, 0) + std::max(listFolders(counterpart, path, listed), 0);
    int files = 0;
    if (folders >= 0)
        files = std::max(listPresetFiles(path, listed), 0);
    for (const auto& counterpart : shared)
        files += std::max(listPresetFiles(counterpart, listed), 0);
    // An empty or unreadable folder still tells its level through the first row.
    if (folders <= 0 && files <= 0)
        database->setFile(false, {}, {}, listed);
}

// A folder that only a machine tree holds is made in the user's tree when it is opened, so
// that Save and Paste there land in the user's tree.
void PresetListing::makeUserFolderFor(const std::string& path, const std::vector<std::string>& shared)
{
    if (SettingsPaths::isDirectory(path))
        return;
    for (const auto& counterpart : shared)
        if (SettingsPaths::isDirectory(counterpart))
        {
            PresetRoot::makeChain(path);
            return;
        }
}

std::vector<std::string> PresetListing::sharedCounterparts(const std::string& path) const
{
    std::vector<std::string> counterparts;
    const bool inUserTree = !rootPath.empty() && path.compare(0, rootPath.size(), rootPath) == 0 &&
                            (path.size() == rootPath.size() || path[rootPath.size()] == '/');
    if (!inUserTree)
        return counterparts;
    const auto below = path.substr(rootPath.size());
    for (const auto& root : sharedRoots)
        counterparts.push_back(root + below);
    return counterparts;
}

void PresetListing::clearLevel(int level, const std::string& path)
{
    folderNames[level] = juce::String::fromUTF8(lastPiece(path).c_str());
    database->clearRows();
    names[level].clear();
    flags[level].clear();
    paths[level].clear();
    listedFolders.clear();
    listedFiles.clear();
}

void PresetListing::addEntry(int level, bool isFolder, const std::string& name, const std::string& path)
{
    database->setFile(isFolder, name, path, level);
    (isFolder ? listedFolders : listedFiles).insert(name);
    names[level].add(juce::String::fromUTF8(name.c_str()));
    paths[level].add(juce::String::fromUTF8(path.c_str()));
    flags[level].add(isFolder ? "true" : "false");
}

bool PresetListing::isListed(bool isFolder, const std::string& name) const
{
    return (isFolder ? listedFolders : listedFiles).count(name) != 0;
}

int PresetListing::listFolders(const std::string& path, const std::string& folderRowsAt, int level)
{
    return eachEntry(
        path,
        [&](const dirent& entry, const std::string& name)
        { return !isDotOrDotDot(name) && isFolderEntry(entry, path) && !isListed(true, name); },
        [&](const std::string& name) { addEntry(level, true, name, folderRowsAt + "/" + name); });
}

int PresetListing::listPresetFiles(const std::string& path, int level)
{
    return eachEntry(
        path,
        [&](const dirent&, const std::string& name) { return isPresetName(name) && !isListed(false, name); },
        [&](const std::string& name) { addEntry(level, false, name, path + "/" + name); });
}
