// Test helpers for the simulated unit: a raw client that sends exactly what the plug-in sends, the
// plug-in's fixed-offset cut, a UDP port for status and discovery replies.
#pragma once

#include "MorvaneUnit/Unit.h"
#include "StudioNet.h"

#include <gtest/gtest.h>

#include <functional>
#include <optional>
#include <string>

namespace morvane::test
{

struct HttpReply
{
    int code = 0; // 1 good, -6 no connection, -8 nothing came (single read)
    std::string text;
};

// -1 when refused or not connected within timeoutMs.
int connectTo(const std::string& address, uint16_t port, int timeoutMs = 1000);
// Connects and sends the plug-in's GET request; the socket, or -1.
int sendGet(const std::string& address, uint16_t port, const std::string& path, int timeoutMs = 1000);
// One recv (singleRead) or everything until the server closes.
HttpReply httpGet(const std::string& address, uint16_t port, const std::string& path, bool singleRead = false,
                  int timeoutMs = 3000);

// The plug-in's cut: up to length bytes from offset behind the first pattern; empty when missing.
std::string cut(const std::string& text, const std::string& pattern, size_t offset, size_t length);

struct Datagram
{
    std::string data, from;
};

class UdpPort
{
public:
    UdpPort(const std::string& address, uint16_t port, bool broadcast = false);
    ~UdpPort();
    bool ok() const { return fd_ >= 0; }
    std::optional<Datagram> receive(int timeoutMs);
    void drain();
    bool sendTo(const std::string& address, uint16_t port, const std::string& data);

private:
    int fd_ = -1;
};

bool waitUntil(const std::function<bool()>& condition, int timeoutMs);
std::string readFile(const std::string& path);

// A unit config on a loopback address of its own; ports fixed when isolated, else spread by pid.
sim::UnitConfig loopbackConfig(int index);
uint16_t testPort(int offset);

template <int index> class UnitCase : public ::testing::Test
{
protected:
    void SetUp() override { ASSERT_TRUE(unit.start()) << unit.startError(); }
    HttpReply get(const std::string& path, bool singleRead = false)
    {
        return httpGet(cfg.address, cfg.httpPort, path, singleRead);
    }

    sim::UnitConfig cfg = loopbackConfig(index);
    sim::Unit unit{cfg};
};

} // namespace morvane::test

// Network namespaces need root. In CI (CI set) their tests must run, so missing root fails there.
#define REQUIRE_STUDIO_NET()                                                                                 \
    if (!morvane::test::StudioNet::usable())                                                                 \
    {                                                                                                        \
        if (std::getenv("CI"))                                                                               \
            FAIL() << "the studio network needs root and iproute2";                                          \
        GTEST_SKIP() << "the studio network needs root";                                                     \
    }
