#include "Presets/PresetFileOps.h"

#include "Ground/SettingsPaths.h"

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace PresetFileOps
{
namespace
{
constexpr int maxDepth = 32;

bool lstatOf(const std::string& path, struct stat& info)
{
    return ::lstat(path.c_str(), &info) == 0;
}

bool exists(const std::string& path)
{
    struct stat info
    {
    };
    return lstatOf(path, info);
}

bool sameEntry(const std::string& a, const std::string& b)
{
    struct stat first
    {
    }, second{};
    return ::stat(a.c_str(), &first) == 0 && ::stat(b.c_str(), &second) == 0 &&
           first.st_dev == second.st_dev && first.st_ino == second.st_ino;
}

Result fromErrno()
{
    return errno == ENOENT ? Result::vanished : errno == EEXIST ? Result::exists : Result::failed;
}

// rename() that fails with EEXIST instead of replacing.
int renameNoReplace(const std::string& from, const std::string& to)
{
#if defined(__linux__)
    if (::renameat2(AT_FDCWD, from.c_str(), AT_FDCWD, to.c_str(), RENAME_NOREPLACE) == 0)
        return 0;
    if (errno != EINVAL && errno != ENOSYS)
        return -1;
#endif
    // File systems without the flag: a look first leaves only a short race.
    if (exists(to))
    {
        errno = EEXIST;
        return -1;
    }
    return ::rename(from.c_str(), to.c_str());
}

bool copyBytes(int from, int to)
{
    char buffer[1 << 15];
    while (true)
    {
        const ssize_t got = ::read(from, buffer, sizeof(buffer));
        if (got == 0)
            return true;
        if (got < 0)
        {
            if (errno == EINTR)
                continue;
            return false;
        }
        for (ssize_t written = 0; written < got;)
        {
            const ssize_t put = ::write(to, buffer + written, (size_t)(got - written));
            if (put < 0 && errno != EINTR)
                return false;
            written += put > 0 ? put : 0;
        }
    }
}

// Closes a descriptor on every way out.
struct Descriptor
{
    explicit Descriptor(int value) : fd(value) {}
    ~Descriptor()
    {
        if (fd >= 0)
            ::close(fd);
    }
    Descriptor(const Descriptor&) = delete;
    Descriptor& operator=(const Descriptor&) = delete;
    int fd;
};

// The whole of source in a new hidden file of folder; its path, or empty.
std::string copyToTemporary(const std::string& source, const std::string& folder)
{
    Descriptor in(::open(source.c_str(), O_RDONLY | O_CLOEXEC));
    if (in.fd < 0)
        return {};
    std::string temporary = folder + "/.copy-XXXXXX";
    Descriptor out(::mkostemp(&temporary[0], O_CLOEXEC));
    if (out.fd < 0)
        return {};
    const bool whole = copyBytes(in.fd, out.fd) && ::fchmod(out.fd, 0644) == 0 && ::fsync(out.fd) == 0;
    if (!whole)
    {
        ::unlink(temporary.c_str());
        return {};
    }
    return temporary;
}

FolderContents::Entry entryOf(const std::string& path, const struct stat& info)
{
    return {path, (unsigned long long)info.st_dev, (unsigned long long)info.st_ino};
}

bool stillSame(const FolderContents::Entry& entry)
{
    struct stat info
    {
    };
    return lstatOf(entry.path, info) && (unsigned long long)info.st_dev == entry.device &&
           (unsigned long long)info.st_ino == entry.inode;
}

// Adds what folder holds, then folder itself; false when something could not be read or
// the limits were passed.
bool collect(const std::string& folder, const struct stat& folderInfo, int depth, FolderContents& contents)
{
    if (depth > maxDepth)
        return false;
    DIR* directory = ::opendir(folder.c_str());
    if (directory == nullptr)
        return false;
    bool whole = true;
    while (const dirent* entry = ::readdir(directory))
    {
        const std::string name = entry->d_name;
        if (name == "." || name == "..")
            continue;
        const std::string path = folder + "/" + name;
        struct stat info
        {
        };
        if (!lstatOf(path, info))
            continue;
        if ((int)(contents.files.size() + contents.folders.size()) >= contentsLimit)
            whole = false;
        else if (S_ISDIR(info.st_mode))
            whole = collect(path, info, depth + 1, contents) && whole;
        else
            contents.files.push_back(entryOf(path, info));
        if (!whole)
            break;
    }
    ::closedir(directory);
    contents.folders.push_back(entryOf(folder, folderInfo));
    return whole;
}
} // namespace

bool isSafeName(const std::string& name)
{
    if (name.empty() || name.size() > 255 || name[0] == '.' || name.find('/') != std::string::npos ||
        name.find("..") != std::string::npos)
        return false;
    for (const char c : name)
        if ((unsigned char)c < 0x20 || c == 0x7f)
            return false;
    return true;
}

std::string tidy(const std::string& path)
{
    std::string result;
    for (const char c : path)
        if (c != '/' || result.empty() || result.back() != '/')
            result += c;
    if (result.size() > 1 && result.back() == '/')
        result.pop_back();
    return result;
}

std::string parentOf(const std::string& path)
{
    const auto clean = tidy(path);
    const auto slash = clean.rfind('/');
    if (slash == std::string::npos)
        return {};
    return slash == 0 ? std::string("/") : clean.substr(0, slash);
}

std::string nameOf(const std::string& path)
{
    const auto clean = tidy(path);
    const auto slash = clean.rfind('/');
    return slash == std::string::npos ? clean : clean.substr(slash + 1);
}

bool isWithin(const std::string& path, const std::string& root)
{
    const auto p = tidy(path), r = tidy(root);
    if (r.empty() || p.compare(0, r.size(), r) != 0)
        return false;
    return p.size() == r.size() || r == "/" || p[r.size()] == '/';
}

Result copyFile(const std::string& source, const std::string& target, bool replace)
{
    if (!SettingsPaths::isFile(source) || !SettingsPaths::isDirectory(parentOf(target)))
        return Result::vanished;
    if (SettingsPaths::isDirectory(target))
        return Result::refused;
    if (exists(target) && !replace)
        return Result::exists;
    if (sameEntry(source, target))
        return Result::done;
    const auto temporary = copyToTemporary(source, parentOf(target));
    if (temporary.empty())
        return Result::failed;
    const int moved =
        replace ? ::rename(temporary.c_str(), target.c_str()) : renameNoReplace(temporary, target);
    if (moved == 0)
        return Result::done;
    const auto result = fromErrno();
    ::unlink(temporary.c_str());
    return result;
}

Result removeFile(const std::string& path)
{
    struct stat info
    {
    };
    if (!lstatOf(path, info))
        return Result::vanished;
    if (S_ISDIR(info.st_mode))
        return Result::refused;
    return ::unlink(path.c_str()) == 0 ? Result::done : fromErrno();
}

Result rename(const std::string& from, const std::string& to)
{
    if (!exists(from))
        return Result::vanished;
    if (tidy(from) == tidy(to))
        return Result::done;
    return renameNoReplace(from, to) == 0 ? Result::done : fromErrno();
}

Result makeFolder(const std::string& path)
{
    if (!SettingsPaths::isDirectory(parentOf(path)))
        return Result::vanished;
    return ::mkdir(path.c_str(), 0755) == 0 ? Result::done : fromErrno();
}

std::string newFolderName(const std::string& folder)
{
    std::string name = "untitled folder";
    for (int n = 1; SettingsPaths::isDirectory(folder + "/" + name) && n <= contentsLimit; ++n)
        name = "untitled folder " + std::to_string(n);
    return name;
}

FolderContents listFolder(const std::string& folder)
{
    FolderContents contents;
    struct stat info
    {
    };
    if (!lstatOf(folder, info) || !S_ISDIR(info.st_mode))
        return contents;
    contents.complete = collect(folder, info, 0, contents);
    return contents;
}

Result removeListed(const FolderContents& contents)
{
    if (contents.folders.empty())
        return Result::vanished;
    for (const auto& file : contents.files)
        if (stillSame(file))
            ::unlink(file.path.c_str());
    for (const auto& folder : contents.folders)
        if (stillSame(folder))
            ::rmdir(folder.path.c_str());
    return exists(contents.folders.back().path) ? Result::failed : Result::done;
}
} // namespace PresetFileOps
