#include "UnitTestSupport.h"

#include <arpa/inet.h>
#include <cstdio>
#include <fstream>
#include <iterator>
#include <netinet/in.h>
#include <poll.h>

namespace morvane::test
{
namespace
{
// Runs before main, while the process has one thread: as root, the whole process gets a network
// namespace with only its own loopback, so fixed ports are free.
const bool isolated = enterOwnNetwork();

sockaddr_in socketAddress(const std::string& address, uint16_t port)
{
    sockaddr_in sa{};
    sa.sin_family = AF_INET;
    sa.sin_port = htons(port);
    ::inet_pton(AF_INET, address.c_str(), &sa.sin_addr);
    return sa;
}

bool readable(int fd, int ms)
{
    pollfd p{fd, POLLIN, 0};
    return ::poll(&p, 1, ms) > 0;
}

int closed(int fd)
{
    ::close(fd);
    return -1;
}
} // namespace

int connectTo(const std::string& address, uint16_t port, int timeoutMs)
{
    const int fd = ::socket(AF_INET, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0);
    if (fd < 0)
        return -1;
    sockaddr_in sa = socketAddress(address, port);
    if (::connect(fd, reinterpret_cast<sockaddr*>(&sa), sizeof sa) != 0 && errno != EINPROGRESS)
        return closed(fd);
    pollfd p{fd, POLLOUT, 0};
    int err = 0;
    socklen_t len = sizeof err;
    if (::poll(&p, 1, timeoutMs) <= 0 || ::getsockopt(fd, SOL_SOCKET, SO_ERROR, &err, &len) != 0 || err != 0)
        return closed(fd);
    ::fcntl(fd, F_SETFL, ::fcntl(fd, F_GETFL) & ~O_NONBLOCK);
    return fd;
}

int sendGet(const std::string& address, uint16_t port, const std::string& path, int timeoutMs)
{
    const int fd = connectTo(address, port, timeoutMs);
    const std::string request =
        "GET " + path + " HTTP/1.1\r\nHost:" + address + "\r\nConnection: close\r\n\r\n";
    if (fd >= 0)
        ::send(fd, request.data(), request.size(), MSG_NOSIGNAL);
    return fd;
}

HttpReply httpGet(const std::string& address, uint16_t port, const std::string& path, bool singleRead,
                  int timeoutMs)
{
    const int fd = sendGet(address, port, path, timeoutMs);
    if (fd < 0)
        return {-6, {}};
    HttpReply reply;
    const auto end = std::chrono::steady_clock::now() + std::chrono::milliseconds(timeoutMs);
    while (std::chrono::steady_clock::now() < end)
    {
        if (!readable(fd, 20))
            continue;
        char buf[65536];
        const ssize_t n = ::recv(fd, buf, sizeof buf, 0);
        if (n <= 0)
            break;
        reply.text.append(buf, static_cast<size_t>(n));
        if (singleRead)
            break;
    }
    ::close(fd);
    reply.code = singleRead && reply.text.empty() ? -8 : 1;
    return reply;
}

std::string cut(const std::string& text, const std::string& pattern, size_t offset, size_t length)
{
    const size_t pos = text.find(pattern);
    if (pos == std::string::npos || pos + offset >= text.size())
        return {};
    return text.substr(pos + offset, length);
}

UdpPort::UdpPort(const std::string& address, uint16_t port, bool broadcast)
{
    fd_ = ::socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    const int one = 1;
    ::setsockopt(fd_, SOL_SOCKET, SO_REUSEADDR, &one, sizeof one);
    if (broadcast)
        ::setsockopt(fd_, SOL_SOCKET, SO_BROADCAST, &one, sizeof one);
    sockaddr_in sa = socketAddress(address, port);
    if (fd_ >= 0 && ::bind(fd_, reinterpret_cast<sockaddr*>(&sa), sizeof sa) != 0)
        fd_ = closed(fd_);
}

UdpPort::~UdpPort()
{
    if (fd_ >= 0)
        ::close(fd_);
}

std::optional<Datagram> UdpPort::receive(int timeoutMs)
{
    if (fd_ < 0 || !readable(fd_, timeoutMs))
        return std::nullopt;
    char buf[8192];
    sockaddr_in from{};
    socklen_t len = sizeof from;
    const ssize_t n =
        ::recvfrom(fd_, buf, sizeof buf, MSG_DONTWAIT, reinterpret_cast<sockaddr*>(&from), &len);
    if (n < 0)
        return std::nullopt;
    char text[INET_ADDRSTRLEN] = {};
    ::inet_ntop(AF_INET, &from.sin_addr, text, sizeof text);
    return Datagram{std::string(buf, static_cast<size_t>(n)), text};
}

void UdpPort::drain()
{
    while (receive(0))
    {
    }
}

bool UdpPort::sendTo(const std::string& address, uint16_t port, const std::string& data)
{
    sockaddr_in to = socketAddress(address, port);
    return ::sendto(fd_, data.data(), data.size(), 0, reinterpret_cast<sockaddr*>(&to), sizeof to) ==
           static_cast<ssize_t>(data.size());
}

bool waitUntil(const std::function<bool()>& condition, int timeoutMs)
{
    const auto end = std::chrono::steady_clock::now() + std::chrono::milliseconds(timeoutMs);
    while (!condition())
    {
        if (std::chrono::steady_clock::now() > end)
            return false;
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
    return true;
}

std::string readFile(const std::string& path)
{
    std::ifstream in(path);
    return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
}

uint16_t testPort(int offset)
{
    const int base = isolated ? 20000 : 20000 + static_cast<int>(::getpid() % 2000) * 20;
    return static_cast<uint16_t>(base + offset);
}

sim::UnitConfig loopbackConfig(int index)
{
    sim::UnitConfig c;
    c.address = "127.0.0." + std::to_string(10 + index);
    c.httpPort = testPort(index);
    c.statusPort = testPort(10 + index);
    c.discoveryPort = testPort(19);
    c.periodMs = 10;
    c.serial = "MORVAN" + std::string(index < 10 ? "000" : "00") + std::to_string(index);
    c.logPath = "/tmp/morvane-unit-test-" + std::to_string(::getpid()) + "-" + std::to_string(index) + ".log";
    std::remove(c.logPath.c_str());
    return c;
}

} // namespace morvane::test
