#include "Net.h"

#include <arpa/inet.h>
#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

namespace morvane::sim::net
{
namespace
{
sockaddr_in socketAddress(uint32_t address, uint16_t port)
{
    sockaddr_in sa{};
    sa.sin_family = AF_INET;
    sa.sin_addr.s_addr = address;
    sa.sin_port = htons(port);
    return sa;
}

int boundSocket(int type, uint32_t address, uint16_t port, bool shared, std::string& err)
{
    int fd = ::socket(AF_INET, type | SOCK_CLOEXEC, 0);
    if (fd < 0)
    {
        err = std::string("socket: ") + std::strerror(errno);
        return -1;
    }
    const int one = 1;
    ::setsockopt(fd, SOL_SOCKET, SO_REUSEADDR, &one, sizeof one);
    if (shared)
        ::setsockopt(fd, SOL_SOCKET, SO_REUSEPORT, &one, sizeof one);
    sockaddr_in sa = socketAddress(address, port);
    if (::bind(fd, reinterpret_cast<sockaddr*>(&sa), sizeof sa) != 0)
    {
        err = "bind " + addressText(address) + ":" + std::to_string(port) + ": " + std::strerror(errno);
        ::close(fd);
        return -1;
    }
    return fd;
}

bool waitFor(int fd, short events, int ms)
{
    pollfd p{fd, events, 0};
    int r;
    do
        r = ::poll(&p, 1, ms);
    while (r < 0 && errno == EINTR);
    return r > 0;
}
} // namespace

bool parseAddress(const std::string& text, uint32_t& address)
{
    in_addr a{};
    if (::inet_pton(AF_INET, text.c_str(), &a) != 1)
        return false;
    address = a.s_addr;
    return true;
}

std::string addressText(uint32_t address)
{
    char buf[INET_ADDRSTRLEN] = {};
    in_addr a{};
    a.s_addr = address;
    ::inet_ntop(AF_INET, &a, buf, sizeof buf);
    return buf;
}

int udpSocket(uint32_t address, uint16_t port, bool shared, std::string& err)
{
    return boundSocket(SOCK_DGRAM, address, port, shared, err);
}

int tcpListener(uint32_t address, uint16_t port, std::string& err)
{
    int fd = boundSocket(SOCK_STREAM, address, port, false, err);
    if (fd >= 0 && ::listen(fd, 16) != 0)
    {
        err = std::string("listen: ") + std::strerror(errno);
        ::close(fd);
        return -1;
    }
    return fd;
}

void closeFd(int& fd)
{
    if (fd >= 0)
        ::close(fd);
    fd = -1;
}

bool waitReadable(int fd, int ms)
{
    return waitFor(fd, POLLIN, ms);
}

bool waitWritable(int fd, int ms)
{
    return waitFor(fd, POLLOUT, ms);
}

bool sendAll(int fd, const char* data, size_t size, int timeoutMs)
{
    size_t done = 0;
    for (int rounds = 0; done < size && rounds < 1000; ++rounds)
    {
        if (!waitWritable(fd, timeoutMs))
            return false;
        const ssize_t n = ::send(fd, data + done, size - done, MSG_NOSIGNAL | MSG_DONTWAIT);
        if (n < 0 && errno != EAGAIN && errno != EINTR)
            return false;
        if (n > 0)
            done += static_cast<size_t>(n);
    }
    return done == size;
}

unsigned long currentNetnsInode()
{
    struct stat st
    {
    };
    if (::stat("/proc/thread-self/ns/net", &st) != 0)
        return 0;
    return static_cast<unsigned long>(st.st_ino);
}

int openCurrentNetns()
{
    return ::open("/proc/thread-self/ns/net", O_RDONLY | O_CLOEXEC);
}

} // namespace morvane::sim::net
