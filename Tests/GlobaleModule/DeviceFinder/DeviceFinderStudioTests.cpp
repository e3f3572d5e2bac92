// Searches over real broadcasts in a studio network of simulated units: the finder runs on a
// thread of its own, exactly as the processor's finder thread does.
#include "DeviceFinder.h"
#include "Studio.h"

#include <chrono>
#include <optional>
#include <thread>

namespace
{
using Alert = std::atomic<bool> GlobalData::*;
const Alert alerts[] = {&GlobalData::alertOneOther, &GlobalData::alertManyOthers,
                        &GlobalData::alertMoreThenOne, &GlobalData::alertAllOccupied};
const std::string movedFrom = "10.77.0.50"; // where a unit stood before

void runSearch(Computer& computer)
{
    runDeviceSearch(&computer.settings, &computer.tcp, &computer.broadcast, &computer.global);
}

// 0: nothing stored, -1: movedFrom, k: unit k's address.
void storeAddress(Computer& computer, int unit)
{
    if (unit != 0)
        computer.storeAddress(unit < 0 ? movedFrom : Studio::address(unit));
}

void expectConnectedTo(const Computer& computer, int k)
{
    const auto& global = computer.global;
    EXPECT_TRUE(global.connected);
    for (const auto alert : alerts)
        EXPECT_FALSE(global.*alert);
    EXPECT_TRUE(global.checkMac);
    EXPECT_FALSE(global.deviceFinderBusy);
    EXPECT_TRUE(global.deviceCheckIdle);
    EXPECT_EQ(global.deviceIp.get(), Studio::address(k));
    EXPECT_EQ(computer.tcp.getIp(), Studio::address(k));
    EXPECT_EQ(global.deviceSerial.get(), Studio::serial(k));
    EXPECT_EQ(global.devicePort, 7000 + k);
    EXPECT_EQ(computer.file("IP.txt"), Studio::address(k));
    EXPECT_EQ(computer.file("GuiSettings.txt"), defaultGuiSettings(Studio::serial(k)));
}

struct Search
{
    const char* name;
    int units;                                      // units 1..units with their own serials
    const char* firstSerial;                        // unit 1's when it is not its own
    std::optional<morvane::sim::Fault> fault;       // on every unit
    int storedAddress;                              // see storeAddress
    int storedSerial;                               // of unit k; 9: of no unit here; 0: none
    int connectedTo;                                // 0: none; -1: the first that answered
    Alert alert;                                    // raised for the user's answer
    std::vector<std::pair<const char*, int>> lines; // whole log lines and how often
};

// clang-format off
const Search searches[] = {
    {"first start with one unit", 1, nullptr, {}, 0, 0, 1, nullptr,
     {{"-4:::CheckAndLoad Result:::DeviceFinder.cpp:::", 1}, {"35::: Mit Broadcast Device gefunden :::", 1},
      {"1:::Start Broadcast To All Interfaces:::", 1}}},
    {"the stored address is tried first", 2, nullptr, {}, 2, 2, 2, nullptr,
     {{"1:::CheckAndLoad Result:::", 1}, {"35:::Device gefunden :::", 1}, {"1:::Start Broadcast", 0}}},
    {"first start with two units takes the first without asking", 2, nullptr, {}, 0, 0, -1, nullptr, {}},
    {"a unit that moved is tried three times, then broadcast", 1, nullptr, {}, -1, 1, 1, nullptr,
     {{"-2:::CheckAndLoad Result:::", 1}}},
    {"a foreign device without the code is ignored", 2, "VLMEQ00007", {}, 0, 0, 2, nullptr, {}},
    {"the stored address now held by another unit", 1, nullptr, {}, 1, 9, 0, &GlobalData::alertOneOther,
     {{"-1:::CheckAndLoad Result:::", 1}}},
    {"several units, none with the stored serial", 2, nullptr, {}, 0, 9, 0, &GlobalData::alertManyOthers, {}},
    {"several units without a usable page", 2, nullptr, morvane::sim::Fault::Product, 0, 0, 0,
     &GlobalData::alertMoreThenOne, {}},
    {"one unit with a short page ends without a question", 1, nullptr, morvane::sim::Fault::ShortDinfo, 0, 0, 0,
     nullptr, {{"101:::Error in CheckRightDevice, length is ", 1}}},
};
// clang-format on

class DeviceFinderStudio : public StudioCase
{
protected:
    void startUnitsFor(const Search& c)
    {
        units.clear();
        for (int k = 1; k <= c.units; ++k)
        {
            units.push_back(Studio::startUnit(k, k == 1 && c.firstSerial ? c.firstSerial : ""));
            ASSERT_NE(units.back(), nullptr);
            if (c.fault)
                unit(k).setFault(*c.fault, true);
        }
    }

    // The searches that end connected, or the others.
    void run(bool connecting)
    {
        for (const auto& c : searches)
            if ((c.connectedTo != 0) == connecting)
            {
                SCOPED_TRACE(c.name);
                TestEnvironment::newHome();
                Computer computer;
                startUnitsFor(c);
                check(c, computer);
            }
    }

    void check(const Search& c, Computer& computer);
};
} // namespace

void DeviceFinderStudio::check(const Search& c, Computer& computer)
{
    storeAddress(computer, c.storedAddress);
    const std::string storedSerial = c.storedSerial != 0 ? Studio::serial(c.storedSerial) : "";
    computer.global.deviceSerial = storedSerial;
    computer.global.deviceFinderRunning = 1;
    std::thread running([&] { runSearch(computer); });
    running.join();

    const auto& global = computer.global;
    const auto& broadcast = computer.broadcast;
    EXPECT_EQ(global.deviceFinderRunning, 0);
    const int ours = c.units - (c.firstSerial ? 1 : 0);
    EXPECT_EQ(broadcast.count, c.storedAddress > 0 && c.connectedTo == c.storedAddress ? 0 : ours);
    if (c.connectedTo != 0)
        expectConnectedTo(computer, c.connectedTo > 0                            ? c.connectedTo
                                    : broadcast.ips.get(1) == Studio::address(1) ? 1
                                                                                 : 2);
    else
    {
        EXPECT_FALSE(global.connected);
        for (const auto alert : alerts)
            EXPECT_EQ(global.*alert, alert == c.alert);
        EXPECT_EQ(global.deviceFinderBusy, c.alert != nullptr) << "only the user's answer ends a question";
        EXPECT_EQ(global.deviceSerial.get(), storedSerial) << "only the answer may change the serial";
    }
    if (c.alert != nullptr)
    {
        ASSERT_EQ(global.alertIpCount, broadcast.count);
        for (int i = 1; i <= broadcast.count; ++i)
        {
            EXPECT_EQ(global.alertIps.get(i), broadcast.ips.get(i));
            if (c.alert != &GlobalData::alertMoreThenOne) // units of ours with other serials
            {
                EXPECT_EQ(global.wrongSerialNames.get(i - 1), broadcast.names.get(i));
            }
            if (c.alert == &GlobalData::alertManyOthers)
            {
                EXPECT_EQ(global.knownNames.get(i), broadcast.names.get(i));
            }
        }
    }
    const auto log = computer.log();
    for (const auto& [line, count] : c.lines)
        EXPECT_EQ(countLines(log, line), count) << line << "\n" << log;
    if (c.storedAddress < 0)
    {
        EXPECT_EQ(countLines(log, "2:::Timeout or error():::") +
                      countLines(log, "1:::Error in connection:::") +
                      countLines(log, "3:::Error connecting:::"),
                  3)
            << log;
        EXPECT_LT(log.find("-2:::CheckAndLoad Result"), log.find("Start Broadcast"))
            << "the broadcast comes after";
    }
    if (c.firstSerial)
    {
        EXPECT_EQ(unit(1).discoveryReplies(), 1u) << "it did answer";
    }
}

TEST_F(DeviceFinderStudio, SearchesThatEndConnected)
{
    run(true);
}

TEST_F(DeviceFinderStudio, SearchesThatEndWithoutAUnitOrWithTheRightQuestion)
{
    run(false);
}

TEST_F(DeviceFinderStudio, QuittingEndsTheSearchPromptly)
{
    struct Case
    {
        int storedAddress, quitAfterMs, boundMs;
    };
    // Inside the first one-second wait of the broadcast; during the connection tests, where
    // one test of at most a second may be under way.
    for (const Case c : {Case{0, 400, 500}, Case{-1, 500, 1300}})
    {
        SCOPED_TRACE(c.storedAddress);
        TestEnvironment::newHome();
        Computer computer;
        units.clear();
        startUnits(1);
        storeAddress(computer, c.storedAddress);
        computer.global.deviceFinderRunning = 1;
        std::thread running([&] { runSearch(computer); });
        std::this_thread::sleep_for(std::chrono::milliseconds(c.quitAfterMs));
        const auto quitAt = std::chrono::steady_clock::now();
        computer.global.quitRequested = true;
        running.join();
        EXPECT_LT(std::chrono::steady_clock::now() - quitAt, std::chrono::milliseconds(c.boundMs));
        EXPECT_FALSE(computer.global.connected);
        EXPECT_EQ(computer.global.deviceFinderRunning, 0);
        EXPECT_FALSE(computer.global.broadcastRunning);
        if (c.storedAddress < 0)
        {
            EXPECT_EQ(computer.log().find("Start Broadcast"), std::string::npos);
        }
    }
}
