// The studio network of the studio test programs: units in namespaces of their own, and this
// whole process inside "the computer", entered by main before the framework starts.
#pragma once

#include "Broadcast.h"
#include "GlobalData.h"
#include "MorvaneUnit/Unit.h"
#include "SafeAndLoad.h"
#include "Settings.h"
#include "StudioNet.h"
#include "TCPIP.h"
#include "TestEnvironment.h"

#include <gtest/gtest.h>

#include <memory>
#include <sstream>
#include <string>
#include <vector>

namespace Studio
{
constexpr int unitCount = 4;

// The network, or nullptr when it could not be made (no root).
morvane::test::StudioNet* net();

// Unit k (1-based) in its own namespace: HTTP on 80, status on 7000 + k, so that instances in
// this one process never share a status port. An empty serial is serial(k); an empty name is
// the serial. nullptr when it failed.
std::unique_ptr<morvane::sim::Unit> startUnit(int k, const std::string& serialText = {});
std::string address(int k);
std::string serial(int k);

// The names of this process's threads, one a line.
std::string threadNames();
} // namespace Studio

// The studio network needs root; on CI it must be there.
#define REQUIRE_STUDIO()                                                                                     \
    do                                                                                                       \
    {                                                                                                        \
        if (Studio::net() == nullptr)                                                                        \
        {                                                                                                    \
            if (TestEnvironment::onCi())                                                                     \
                FAIL() << "the studio network needs root and iproute2";                                      \
            GTEST_SKIP() << "the studio network needs root";                                                 \
        }                                                                                                    \
    } while (false)

// "GuiSettings.txt" as a first start writes it.
inline std::string defaultGuiSettings(const std::string& serial)
{
    return "Size = 0.1;\nKnob Resolution = 0;\nSerial = " + serial +
           ";\nFPS = 30;\nZeroPreset = 1;\nMonoMode = 0;\n";
}

// Lines of a log that carry this message, whole.
int countLines(const std::string& log, const std::string& line);

// A home of its own for a case, made before every object that reads it.
struct FreshHome
{
    FreshHome() { TestEnvironment::newHome(); }
};

// What a master instance hands to its finder and its watch.
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
    std::string file(const std::string& name) const
    {
        return TestEnvironment::readFile(instanceFolder() + "/" + name);
    }
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

// A case with a home of its own and the units it starts.
class StudioCase : public ::testing::Test
{
protected:
    void SetUp() override { REQUIRE_STUDIO(); }

    void startUnits(int count)
    {
        for (int k = 1; k <= count; ++k)
        {
            units.push_back(Studio::startUnit(k));
            ASSERT_NE(units.back(), nullptr) << "unit " << k;
        }
    }
    morvane::sim::Unit& unit(int k) { return *units[(std::size_t)k - 1]; }

    FreshHome home;
    std::vector<std::unique_ptr<morvane::sim::Unit>> units;
};

// The same with one master's objects.
class ComputerCase : public StudioCase
{
protected:
    Computer computer;
};
