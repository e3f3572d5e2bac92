// Test helpers for the simulated unit: a raw client that sends exactly what the plug-in sends, the
// plug-in's fixed-offset cuts, a UDP port to receive status and discovery replies, and per-process
// network isolation so that test processes running side by side never share ports.
#pragma once

#include "MorvaneUnit/Unit.h"
#include "StudioNet.h"

#include <gtest/gtest.h>

#include <chrono>
#include <functional>
#include <optional>
#include <string>

namespace morvane::test
{

// True when this process runs in a network namespace of its own (root): fixed ports are then free.
bool isolatedNetwork();

struct HttpReply
{
    int code = 0; // 1 good, -6 no connection, -8 nothing came (single read)
    std::string text;
};

// GET path the way the plug-in does: one recv (singleRead) or everything until the server closes.
HttpReply httpGet(const std::string& address, uint16_t port, const std::string& path, bool singleRead = false,
                  int timeoutMs = 3000);
// -1 when refused or not connected within timeoutMs.
int connectTo(const std::string& address, uint16_t port, int timeoutMs = 1000);

// The plug-in's cut: up to length bytes from offset behind the first pattern; empty when missing.
std::string cut(const std::string& text, const std::string& pattern, size_t offset, size_t length);

struct Datagram
{
    std::string data;
    std::string from;
    uint16_t fromPort = 0;
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

// A unit config on a loopback address of its own; ports fixed when isolated, else spread by pid.
sim::UnitConfig loopbackConfig(int index);
uint16_t testPort(int offset);

std::string readFile(const std::string& path);

// A case with one started unit on loopback address number index.
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
    do                                                                                                       \
    {                                                                                                        \
        if (!morvane::test::StudioNet::usable())                                                             \
        {                                                                                                    \
            if (std::getenv("CI"))                                                                           \
                FAIL() << "the studio network needs root and iproute2";                                      \
            GTEST_SKIP() << "the studio network needs root";                                                 \
        }                                                                                                    \
    } while (false)
