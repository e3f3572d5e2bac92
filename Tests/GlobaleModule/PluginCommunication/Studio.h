// The studio network of the studio test programs: units in namespaces of their own, and this
// whole process inside "the computer", entered by main before the framework starts.
#pragma once

#include "Broadcast/Broadcast.h"
#include "GlobalData/GlobalData.h"
#include "GlobalData/Settings.h"
#include "Ground/SettingsPaths.h"
#include "MorvaneUnit/Unit.h"
#include "SafeAndLoad/SafeAndLoad.h"
#include "StudioNet.h"
#include "TCPIP/TCPIP.h"
#include "TestEnvironment.h"

#include <gtest/gtest.h>

struct Studio
{
    // The network, or nullptr when it could not be made (no root).
    static morvane::test::StudioNet* net();
    // Unit k (1-based) in its own namespace: HTTP on 80, status on 7000 + k, so that instances in
    // this one process never share a status port. An empty serial is serial(k). nullptr on failure.
    static std::unique_ptr<morvane::sim::Unit> startUnit(int k, const std::string& serialText = {});
    static std::string address(int k) { return net() ? net()->unitAddress(k) : std::string(); }
    static std::string serial(int k) { return "MORVAN00" + std::to_string(10 + k); }

    // Instance folder n of the home, a file in it, an address stored there, and a product's log.
    static std::string folder(int n)
    {
        return SettingsPaths::applicationFolder() + "/Morvane/" + std::to_string(n);
    }
    static std::string file(int n, const std::string& name)
    {
        return TestEnvironment::readFile(folder(n) + "/" + name);
    }
    static void storeIp(int n, const std::string& address)
    {
        TestEnvironment::writeFile(SettingsPaths::makeFolders("Morvane/" + std::to_string(n)) + "/IP.txt",
                                   address);
    }
    static std::string log(const std::string& product = "Morvane")
    {
        return TestEnvironment::readFile(SettingsPaths::applicationFolder() + "/" + product + "/Log.txt");
    }
};

// "GuiSettings.txt" as a first start writes it.
inline std::string defaultGuiSettings(const std::string& serial)
{
    return "Size = 0.1;\nKnob Resolution = 0;\nSerial = " + serial +
           ";\nFPS = 30;\nZeroPreset = 1;\nMonoMode = 0;\n";
}

// Lines of a log that carry this message, whole, with the repeats the log counted.
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

    Settings settings;
    GlobalData global{&settings};
    SafeAndLoad store{&settings, &global};
    TCPIP tcp{&store, &global, &settings};
    Broadcast broadcast{&global, settings.deviceCode};
};

// A case with a home of its own and the units it starts; the studio network needs root, and on
// CI it must be there.
class StudioCase : public ::testing::Test
{
protected:
    void SetUp() override
    {
        if (Studio::net() == nullptr && TestEnvironment::onCi())
            FAIL() << "the studio network needs root and iproute2";
        if (Studio::net() == nullptr)
            GTEST_SKIP() << "the studio network needs root";
    }

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
