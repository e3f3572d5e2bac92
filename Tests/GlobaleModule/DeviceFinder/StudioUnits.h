// Simulated units in a studio network of namespaces, and the plug-in's side of one instance
// (the objects a processor hands to its finder), for discovery tests.
#pragma once

#include "Broadcast.h"
#include "GlobalData.h"
#include "MorvaneUnit/Unit.h"
#include "SafeAndLoad.h"
#include "Settings.h"
#include "StudioNet.h"
#include "TCPIP.h"
#include "TestEnvironment.h"

#include <algorithm>
#include <functional>
#include <gtest/gtest.h>
#include <memory>
#include <string>
#include <vector>

// The studio network needs root; CI runs as root and must never skip these.
#define REQUIRE_STUDIO()                                                                                     \
    do                                                                                                       \
    {                                                                                                        \
        if (!morvane::test::StudioNet::usable())                                                             \
        {                                                                                                    \
            if (TestEnvironment::onCi())                                                                     \
                FAIL() << "the studio network needs root and iproute2, and CI has both";                     \
            GTEST_SKIP() << "needs root and iproute2 for network namespaces";                                \
        }                                                                                                    \
    } while (false)

class StudioUnits
{
public:
    explicit StudioUnits(int namespaces) : net(namespaces) {}
    ~StudioUnits()
    {
        for (auto& unit : units)
            unit->stop();
    }

    bool ok() const { return net.ok(); }

    // A unit in namespace k (1-based) at its own address. An empty name is the serial.
    morvane::sim::Unit* start(int k, const std::string& serial, const std::string& name = {})
    {
        morvane::sim::UnitConfig config;
        config.address = net.unitAddress(k);
        config.foreignAddress = net.foreignAddress(k);
        config.serial = serial;
        config.name = name;
        config.periodMs = 40;
        units.push_back(std::make_unique<morvane::sim::Unit>(config));
        auto* unit = units.back().get();
        bool started = false;
        net.runIn(net.unitNamespace(k), [&] { started = unit->start(); });
        return started ? unit : nullptr;
    }

    // Runs work on a thread inside the computer's namespace and waits for it.
    bool onComputer(const std::function<void()>& work) const { return net.runIn(net.hostNamespace(), work); }

    // A second interface of the computer on the same network, so every unit is reached twice.
    bool addSecondComputerInterface(const std::string& address)
    {
        using morvane::test::StudioNet;
        const std::string host = net.hostNamespace();
        const std::string sw = host.substr(0, host.size() - std::string("-host").size()) + "-sw";
        return StudioNet::run({"ip", "-n", sw, "link", "add", "host2", "type", "veth", "peer", "name", "eth1",
                               "netns", host}) &&
               StudioNet::run({"ip", "-n", sw, "link", "set", "host2", "master", "br0", "up"}) &&
               StudioNet::run({"ip", "-n", host, "addr", "add", address + "/24", "broadcast",
                               net.broadcastAddress(), "dev", "eth1"}) &&
               StudioNet::run({"ip", "-n", host, "link", "set", "eth1", "up"});
    }

    morvane::test::StudioNet net;
    std::vector<std::unique_ptr<morvane::sim::Unit>> units;
};

// What a master instance hands to its finder, with a home of its own.
struct Computer
{
    Computer() { global.isMaster = true; }

    std::string productFolder() const
    {
        return TestEnvironment::home() + "/.config/Velmora Audio Works/" + settings.productFolder;
    }
    std::string instanceFolder(int number = 1) const
    {
        return productFolder() + "/" + std::to_string(number);
    }
    std::string log() const { return TestEnvironment::readFile(productFolder() + "/Log.txt"); }
    void storeAddress(const std::string& address)
    {
        std::stringstream content;
        content << address;
        store.SafeFiles("IP", content);
    }

    Settings settings;
    GlobalData global{&settings};
    SafeAndLoad store{&settings, &global};
    TCPIP tcp{&store, &global, &settings};
    Broadcast broadcast{&global, settings.deviceCode};
};

// A case with a home of its own, one master's objects, and the studio once started.
class StudioTest : public ::testing::Test
{
protected:
    // Units with these serials in namespaces 1..n of a studio of at least `namespaces`.
    ::testing::AssertionResult startStudio(const std::vector<std::string>& serials, int namespaces = 0)
    {
        studio = std::make_unique<StudioUnits>(std::max(namespaces, (int)serials.size()));
        if (!studio->ok())
            return ::testing::AssertionFailure() << studio->net.error();
        for (std::size_t k = 1; k <= serials.size(); ++k)
            if (studio->start((int)k, serials[k - 1]) == nullptr)
                return ::testing::AssertionFailure() << "unit " << k << " did not start";
        return ::testing::AssertionSuccess();
    }
    morvane::sim::Unit& unit(int k) { return *studio->units[(std::size_t)k - 1]; }
    std::string address(int k) const { return studio->net.unitAddress(k); }

    struct FreshHome
    {
        FreshHome() { TestEnvironment::newHome(); }
    } home; // before every object that reads it
    std::unique_ptr<StudioUnits> studio;
    Computer computer;
};

// Lines of a log that carry this message, whole.
inline int countLines(const std::string& log, const std::string& line)
{
    int found = 0;
    for (std::size_t at = log.find(line); at != std::string::npos; at = log.find(line, at + 1))
        if (at == 0 || log[at - 1] == '\n')
            ++found;
    return found;
}
