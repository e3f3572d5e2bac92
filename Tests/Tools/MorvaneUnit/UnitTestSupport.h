// Test helpers for the simulated unit: the plug-in's GET request and fixed-offset cut, a UDP port.
#pragma once

#include "MorvaneUnit/Unit.h"
#include "StudioNet.h"

#include <gtest/gtest.h>

#include <arpa/inet.h>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <optional>
#include <poll.h>

namespace morvane::test
{
// Made before main, while the process has one thread: fixed ports are then free.
inline const bool isolated = enterOwnNetwork();

inline sockaddr_in socketAddress(const std::string& address, uint16_t port)
{
    return sockaddr_in{AF_INET, htons(port), {::inet_addr(address.c_str())}, {}};
}

inline bool readable(int fd, int ms)
{
    pollfd p{fd, POLLIN, 0};
    return ::poll(&p, 1, ms) > 0;
}

// Connects within timeoutMs and sends the plug-in's GET request: the socket, or -1.
inline int sendGet(const std::string& address, uint16_t port, const std::string& path, int timeoutMs = 1000)
{
    int fd = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    const timeval bound{timeoutMs / 1000, timeoutMs % 1000 * 1000};
    ::setsockopt(fd, SOL_SOCKET, SO_SNDTIMEO, &bound, sizeof bound); // bounds connect() too
    const sockaddr_in sa = socketAddress(address, port);
    if (fd >= 0 && ::connect(fd, reinterpret_cast<const sockaddr*>(&sa), sizeof sa) != 0)
        fd = (::close(fd), -1);
    const std::string request =
        "GET " + path + " HTTP/1.1\r\nHost:" + address + "\r\nConnection: close\r\n\r\n";
    if (fd >= 0)
        ::send(fd, request.data(), request.size(), MSG_NOSIGNAL);
    return fd;
}

// One recv (singleRead) or all until the server closes, within timeoutMs; nothing without a connection.
inline std::optional<std::string> httpGet(const std::string& address, uint16_t port, const std::string& path,
                                          bool singleRead = false, int timeoutMs = 3000)
{
    const int fd = sendGet(address, port, path, timeoutMs);
    if (fd < 0)
        return std::nullopt;
    std::string text;
    const auto end = std::chrono::steady_clock::now() + std::chrono::milliseconds(timeoutMs);
    for (ssize_t n = 1; n > 0 && !(singleRead && !text.empty()) && std::chrono::steady_clock::now() < end;)
    {
        char buf[65536];
        if (readable(fd, 20) && (n = ::recv(fd, buf, sizeof buf, 0)) > 0)
            text.append(buf, static_cast<size_t>(n));
    }
    ::close(fd);
    return text;
}

// The plug-in's cut: up to length bytes from offset behind the first pattern; empty when missing.
inline std::string cut(const std::string& text, const std::string& pattern, size_t offset, size_t length)
{
    const size_t pos = text.find(pattern);
    return pos == std::string::npos || pos + offset >= text.size() ? "" : text.substr(pos + offset, length);
}

inline std::string serialIn(const std::string& dinfo)
{
    return cut(dinfo, "{SNR: ", 7, 10);
}

struct Datagram // empty when none came
{
    std::string data, from;
    explicit operator bool() const { return !data.empty(); }
};

class UdpPort
{
public:
    UdpPort(const std::string& address, uint16_t port)
    {
        const int one = 1;
        for (int option : {SO_REUSEADDR, SO_BROADCAST})
            ::setsockopt(fd_, SOL_SOCKET, option, &one, sizeof one);
        const sockaddr_in sa = socketAddress(address, port);
        if (fd_ >= 0 && ::bind(fd_, reinterpret_cast<const sockaddr*>(&sa), sizeof sa) != 0)
            fd_ = (::close(fd_), -1);
    }
    ~UdpPort() { ::close(fd_); }
    Datagram receive(int timeoutMs)
    {
        char buf[8192], text[INET_ADDRSTRLEN] = {};
        sockaddr_in from{};
        socklen_t len = sizeof from;
        const ssize_t n = readable(fd_, timeoutMs) ? ::recvfrom(fd_, buf, sizeof buf, MSG_DONTWAIT,
                                                                reinterpret_cast<sockaddr*>(&from), &len)
                                                   : -1;
        ::inet_ntop(AF_INET, &from.sin_addr, text, sizeof text);
        return n > 0 ? Datagram{std::string(buf, static_cast<size_t>(n)), text} : Datagram{};
    }
    void drain()
    {
        for (int i = 0; i < 10000 && receive(0);)
            ++i;
    }
    bool sendTo(const std::string& address, uint16_t port, const std::string& data)
    {
        const sockaddr_in to = socketAddress(address, port);
        return ::sendto(fd_, data.data(), data.size(), 0, reinterpret_cast<const sockaddr*>(&to),
                        sizeof to) == static_cast<ssize_t>(data.size());
    }

private:
    int fd_ = ::socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
};

inline bool waitUntil(const std::function<bool()>& condition, int timeoutMs)
{
    const auto end = std::chrono::steady_clock::now() + std::chrono::milliseconds(timeoutMs);
    for (; !condition(); std::this_thread::sleep_for(std::chrono::milliseconds(5)))
        if (std::chrono::steady_clock::now() > end)
            return false;
    return true;
}

inline bool fileHolds(const std::string& path, const std::string& text)
{
    std::ifstream in(path);
    return std::string(std::istreambuf_iterator<char>(in), {}).find(text) != std::string::npos;
}

// Fixed ports when isolated, else spread by pid.
inline uint16_t testPort(int offset)
{
    return static_cast<uint16_t>(20000 + (isolated ? 0 : ::getpid() % 2000 * 20) + offset);
}

// One folder per test program for the units' files, removed when the program ends.
inline const std::string& scratchFolder()
{
    struct Folder
    {
        std::string path = "/tmp/morvane-unit-test-XXXXXX";
        Folder()
        {
            if (::mkdtemp(path.data()) == nullptr)
                path = "/tmp";
        }
        ~Folder()
        {
            std::error_code ignored;
            if (path != "/tmp")
                std::filesystem::remove_all(path, ignored);
        }
    };
    static const Folder folder;
    return folder.path;
}

// Unit index on 127.0.0.(10+index): HTTP on testPort(index), status to testPort(10+index), discovery on
// testPort(19).
inline sim::UnitConfig loopbackConfig(int index, int clientMemoryMs = 300000)
{
    sim::UnitConfig c;
    c.address = "127.0.0." + std::to_string(10 + index);
    c.httpPort = testPort(index);
    c.statusPort = testPort(10 + index);
    c.discoveryPort = testPort(19);
    c.periodMs = 10;
    c.clientMemoryMs = clientMemoryMs;
    c.serial = "MORVAN000" + std::to_string(index);
    c.logPath = scratchFolder() + "/unit-" + std::to_string(index) + ".log";
    std::remove(c.logPath.c_str());
    return c;
}

template <int index, int clientMemoryMs = 300000> class UnitCase : public ::testing::Test
{
protected:
    void SetUp() override { ASSERT_TRUE(unit.start()) << unit.startError(); }
    std::optional<std::string> get(const std::string& path, bool singleRead = false)
    {
        return httpGet(cfg.address, cfg.httpPort, path, singleRead);
    }
    std::string text(const std::string& path, bool once = false) { return get(path, once).value_or(""); }
    bool logged(const std::string& line) { return fileHolds(cfg.logPath, line); }

    sim::UnitConfig cfg = loopbackConfig(index, clientMemoryMs);
    sim::Unit unit{cfg};
};
} // namespace morvane::test
