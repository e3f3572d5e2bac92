#include "Ground/AtomicFile.h"

#include <atomic>
#include <cerrno>
#include <cstdio>
#include <fcntl.h>
#include <unistd.h>

namespace AtomicFile
{
namespace
{
std::string folderOf(const std::string& path)
{
    const auto slash = path.rfind('/');
    if (slash == std::string::npos)
        return ".";
    return slash == 0 ? "/" : path.substr(0, slash);
}

std::string nameOf(const std::string& path)
{
    const auto slash = path.rfind('/');
    return slash == std::string::npos ? path : path.substr(slash + 1);
}

// Unique among the threads and processes that may write the same file at once.
std::string temporaryFor(const std::string& path)
{
    static std::atomic<unsigned> serial{0};
    return folderOf(path) + "/." + nameOf(path) + ".tmp" + std::to_string(::getpid()) + "-" +
           std::to_string(serial++);
}

bool writeAll(int descriptor, const std::string& bytes)
{
    std::size_t done = 0;
    while (done < bytes.size())
    {
        const auto written = ::write(descriptor, bytes.data() + done, bytes.size() - done);
        if (written < 0 && errno == EINTR)
            continue;
        if (written <= 0)
            return false;
        done += (std::size_t)written;
    }
    return true;
}

// The rename itself must reach the disk too, or a power cut may bring back the old name.
void flushFolder(const std::string& folder)
{
    const int descriptor = ::open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (descriptor < 0)
        return;
    (void)::fsync(descriptor);
    ::close(descriptor);
}
} // namespace

std::string writeTemporary(const std::string& path, const std::string& bytes)
{
    if (path.empty() || nameOf(path).empty())
        return {};
    const auto temporary = temporaryFor(path);
    const int descriptor = ::open(temporary.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0644);
    if (descriptor < 0)
        return {};
    const bool whole = writeAll(descriptor, bytes) && ::fsync(descriptor) == 0;
    const bool closed = ::close(descriptor) == 0;
    if (!whole || !closed)
    {
        std::remove(temporary.c_str());
        return {};
    }
    return temporary;
}

bool replace(const std::string& temporary, const std::string& path)
{
    if (temporary.empty())
        return false;
    if (std::rename(temporary.c_str(), path.c_str()) != 0)
    {
        std::remove(temporary.c_str());
        return false;
    }
    flushFolder(folderOf(path));
    return true;
}

bool write(const std::string& path, const std::string& bytes)
{
    return replace(writeTemporary(path, bytes), path);
}
} // namespace AtomicFile
