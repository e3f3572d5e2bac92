// Searches over real broadcasts in a studio network of simulated units: the finder runs on a
// thread of its own, exactly as the processor's finder thread does.
#include "DeviceFinder/DeviceFinder.h"
#include "Studio.h"

#include <chrono>
#include <optional>
#include <thread>
#include <tuple>

namespace
{
using Alert = std::atomic<bool> GlobalData::*;

std::vector<Alert> raised(const GlobalData& global)
{
    std::vector<Alert> up;
    for (const Alert alert : {&GlobalData::alertOneOther, &GlobalData::alertManyOthers,
                              &GlobalData::alertMoreThenOne, &GlobalData::alertAllOccupied})
        if (global.*alert)
            up.push_back(alert);
    return up;
}

// 0: nothing stored, -1: where a unit stood before, k: unit k's address.
void storeAddress(int unit)
{
    if (unit != 0)
        Studio::storeIp(1, unit < 0 ? "10.77.0.50" : Studio::address(unit));
}

// Runs a whole search on a thread of its own, as the finder thread does, until quit is raised.
void search(Computer& computer, int quitAfterMs = -1)
{
    computer.global.deviceFinderRunning = 1;
    std::thread running(
        [&] { runDeviceSearch(&computer.settings, &computer.tcp, &computer.broadcast, &computer.global); });
    if (quitAfterMs >= 0)
        std::this_thread::sleep_for(std::chrono::milliseconds(quitAfterMs));
    computer.global.quitRequested = quitAfterMs >= 0;
    running.join();
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
     {{"-4:::CheckAndLoad Result:::", 1}, {"35::: Mit Broadcast Device gefunden :::", 1},
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

void checkConnected(const Computer& computer, int k)
{
    const auto& g = computer.global;
    EXPECT_EQ(g.connected.load(), true);
    EXPECT_EQ(raised(g).empty(), true);
    EXPECT_EQ(g.checkMac.load(), true);
    EXPECT_EQ(g.deviceFinderBusy.load(), false);
    EXPECT_EQ(g.deviceCheckIdle.load(), true);
    EXPECT_EQ(g.devicePort.load(), 7000 + k);
    const auto address = Studio::address(k), serial = Studio::serial(k);
    EXPECT_EQ((std::vector<std::string>{g.deviceIp.get(), computer.tcp.getIp(), Studio::file(1, "IP.txt"),
                                        g.deviceSerial.get(), Studio::file(1, "GuiSettings.txt")}),
              (std::vector<std::string>{address, address, address, serial, defaultGuiSettings(serial)}));
}

void checkQuestion(const Search& c, const Computer& computer)
{
    const auto& global = computer.global;
    const auto& broadcast = computer.broadcast;
    EXPECT_FALSE(global.connected);
    EXPECT_EQ(raised(global), c.alert ? std::vector<Alert>{c.alert} : std::vector<Alert>{});
    EXPECT_EQ(global.deviceFinderBusy, c.alert != nullptr) << "only the user's answer ends a question";
    EXPECT_EQ(global.deviceSerial.get(), c.storedSerial != 0 ? Studio::serial(c.storedSerial) : "")
        << "only the answer may change the serial";
    if (c.alert == nullptr)
        return;
    ASSERT_EQ(global.alertIpCount, broadcast.count);
    for (int i = 1; i <= broadcast.count; ++i)
    {
        EXPECT_EQ(global.alertIps.get(i), broadcast.ips.get(i));
        // Units of ours with other serials are named.
        if (c.alert != &GlobalData::alertMoreThenOne)
        {
            EXPECT_EQ(global.wrongSerialNames.get(i - 1), broadcast.names.get(i));
        }
        if (c.alert == &GlobalData::alertManyOthers)
        {
            EXPECT_EQ(global.knownNames.get(i), broadcast.names.get(i));
        }
    }
}

void check(const Search& c, Computer& computer, morvane::sim::Unit& first)
{
    storeAddress(c.storedAddress);
    computer.global.deviceSerial = c.storedSerial != 0 ? Studio::serial(c.storedSerial) : "";
    search(computer);

    const auto& broadcast = computer.broadcast;
    EXPECT_EQ(computer.global.deviceFinderRunning, 0);
    const int ours = c.units - (c.firstSerial ? 1 : 0);
    EXPECT_EQ(broadcast.count, c.storedAddress > 0 && c.connectedTo == c.storedAddress ? 0 : ours);
    if (c.connectedTo != 0)
        checkConnected(computer, c.connectedTo > 0                            ? c.connectedTo
                                 : broadcast.ips.get(1) == Studio::address(1) ? 1
                                                                              : 2);
    else
        checkQuestion(c, computer);
    const auto log = Studio::log();
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
        EXPECT_EQ(first.discoveryReplies(), 1u) << "it did answer";
    }
}

using DeviceFinderStudio = StudioCase;
} // namespace

TEST_F(DeviceFinderStudio, EverySearchEndsConnectedOrWithTheRightQuestion)
{
    for (const auto& c : searches)
    {
        SCOPED_TRACE(c.name);
        TestEnvironment::newHome();
        Computer computer;
        units.clear();
        for (int k = 1; k <= c.units; ++k)
        {
            units.push_back(Studio::startUnit(k, k == 1 && c.firstSerial ? c.firstSerial : ""));
            ASSERT_NE(units.back(), nullptr);
            if (c.fault)
                unit(k).setFault(*c.fault, true);
        }
        check(c, computer, unit(1));
    }
}

TEST_F(DeviceFinderStudio, QuittingEndsTheSearchPromptly)
{
    // Inside the first one-second wait of the broadcast; during the connection tests, where
    // one test of at most a second may be under way.
    for (const auto& [storedAddress, quitAfterMs, boundMs] :
         {std::make_tuple(0, 400, 500), std::make_tuple(-1, 500, 1300)})
    {
        SCOPED_TRACE(storedAddress);
        TestEnvironment::newHome();
        Computer computer;
        units.clear();
        startUnits(1);
        storeAddress(storedAddress);
        const auto start = std::chrono::steady_clock::now();
        search(computer, quitAfterMs);
        EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(quitAfterMs + boundMs));
        EXPECT_EQ(computer.global.connected.load(), false);
        EXPECT_EQ(computer.global.deviceFinderRunning.load(), 0);
        EXPECT_EQ(computer.global.broadcastRunning.load(), false);
        EXPECT_EQ(Studio::log().find("Start Broadcast") == std::string::npos, storedAddress < 0);
    }
}
