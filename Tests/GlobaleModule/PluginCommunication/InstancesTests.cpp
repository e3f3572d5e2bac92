// Several instances in one process, each made as a host makes it, against simulated units in
// the studio network: roles, numbers, the hand-out of units and closing in any state.
#include "GlobalData.h"
#include "MasterDeviceChecker.h"
#include "PluginCommunication.h"
#include "PluginProcessor.h"
#include "SettingsPaths.h"
#include "Studio.h"
#include "TCPIP.h"
#include "TestEnvironment.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <memory>
#include <set>
#include <string>
#include <vector>

namespace
{
constexpr int closeLimitMs = 5000;

struct IdleTimer : juce::Timer
{
    void timerCallback() override {}
};

class Instances : public ::testing::Test
{
protected:
    void SetUp() override
    {
        REQUIRE_STUDIO();
        TestEnvironment::newHome();
        MasterDeviceChecker::setIntervalMs(1500);
        PluginCommunication::setChoiceLimitMs(60000);
        // The framework's timer thread stays once made: make it before counting.
        IdleTimer timer;
        timer.startTimer(1);
        TestEnvironment::pumpUntil(
            [] { return Studio::threadNames().find("JUCE Timer") != std::string::npos; }, 2000);
        timer.stopTimer();
        threadsBefore = Studio::threadCount();
        namesBefore = Studio::threadNames();
    }

    void TearDown() override
    {
        while (!processors.empty())
            close(processors.back().get());
        units.clear();
        if (Studio::net() != nullptr)
        {
            EXPECT_TRUE(
                TestEnvironment::pumpUntil([&] { return Studio::threadCount() <= threadsBefore; }, 3000))
                << "threads left behind: " << Studio::threadCount() - threadsBefore << "\nbefore:\n"
                << namesBefore << "now:\n"
                << Studio::threadNames();
        }
        EXPECT_EQ(instanceMailbox().pluginCount, 0);
    }

    MorvaneProcessor* open()
    {
        processors.push_back(std::make_unique<MorvaneProcessor>());
        return processors.back().get();
    }

    // Closes one instance as the host does, and checks that it took no long.
    void close(MorvaneProcessor* p)
    {
        const auto it =
            std::find_if(processors.begin(), processors.end(), [p](auto& q) { return q.get() == p; });
        ASSERT_NE(it, processors.end());
        const auto start = std::chrono::steady_clock::now();
        processors.erase(it);
        const auto ms =
            std::chrono::duration_cast<std::chrono::milliseconds>(std::chrono::steady_clock::now() - start)
                .count();
        EXPECT_LT(ms, closeLimitMs) << "closing an instance took " << ms << " ms";
    }

    void startUnits(int count)
    {
        for (int k = 1; k <= count; ++k)
        {
            units.push_back(Studio::startUnit(k));
            ASSERT_NE(units.back(), nullptr) << "unit " << k;
        }
    }

    // The unit instance folder n is to come back to.
    static void storeUnit(int folder, int unit)
    {
        const auto path = SettingsPaths::makeFolders("Morvane/" + std::to_string(folder));
        TestEnvironment::writeFile(path + "/IP.txt", Studio::address(unit));
    }

    static std::string storedIp(int folder)
    {
        return TestEnvironment::readFile(SettingsPaths::applicationFolder() + "/Morvane/" +
                                         std::to_string(folder) + "/IP.txt");
    }

    static std::string log(const std::string& folder)
    {
        return TestEnvironment::readFile(SettingsPaths::applicationFolder() + "/" + folder + "/Log.txt");
    }

    // The log of folder holds text within timeoutMs.
    static bool logShows(const std::string& folder, const std::string& text, int timeoutMs)
    {
        return TestEnvironment::pumpUntil([&] { return log(folder).find(text) != std::string::npos; },
                                          timeoutMs);
    }

    static int countOf(const std::string& text, const std::string& part)
    {
        int found = 0;
        for (auto at = text.find(part); at != std::string::npos; at = text.find(part, at + 1))
            ++found;
        return found;
    }

    static GlobalData* g(MorvaneProcessor* p) { return p->getGlobalData(); }

    static bool drives(MorvaneProcessor* p, int unit)
    {
        return g(p)->connected.load() && g(p)->deviceIp.get() == Studio::address(unit);
    }

    static bool anyAlert(MorvaneProcessor* p)
    {
        auto* global = g(p);
        return global->alertMoreThenOne.load() || global->alertManyOthers.load() ||
               global->alertOneOther.load() || global->alertAllOccupied.load();
    }

    // The master drives its unit and has looked at the network once since.
    bool masterReady(MorvaneProcessor* master, int unit, int timeoutMs = 20000)
    {
        if (!TestEnvironment::pumpUntil([&] { return drives(master, unit) && master->isRunning(); },
                                        timeoutMs))
            return false;
        return waitForCheck(master);
    }

    // One whole device check that started after this call.
    static bool waitForCheck(MorvaneProcessor* master, int timeoutMs = 15000)
    {
        const int before = MasterDeviceChecker::completedChecks();
        return TestEnvironment::pumpUntil(
            [&] {
                return MasterDeviceChecker::completedChecks() >= before + 2 &&
                       g(master)->deviceCheckIdle.load();
            },
            timeoutMs);
    }

    // The editor's answer to a choice alert: the address at index (from 1) of the list.
    static void chooseInAlert(MorvaneProcessor* p, int index)
    {
        auto* global = g(p);
        const auto ip = global->alertIps.get(index);
        p->getTcp()->SetIP(ip);
        global->SetIp(ip);
        global->checkMac = true;
        global->connected = true;
        global->SetDeviceFinderDone();
        global->deviceFinderRunning = 0;
        global->alertOpen = false;
    }

    std::vector<std::unique_ptr<morvane::sim::Unit>> units;
    std::vector<std::unique_ptr<MorvaneProcessor>> processors;
    int threadsBefore = 0;
    std::string namesBefore;
};
} // namespace

TEST_F(Instances, TheFirstIsMasterInFolderOneAndTheSecondIsSlaveTwo)
{
    auto* first = open();
    auto* second = open();
    EXPECT_TRUE(g(first)->isMaster.load());
    EXPECT_FALSE(g(second)->isMaster.load());
    EXPECT_EQ(g(second)->slaveIndex.load(), 2);
    EXPECT_EQ(g(second)->takenIpCount.load(), 2);
    EXPECT_EQ(g(second)->settingsFolder.get(), SettingsPaths::applicationFolder() + "/Morvane/2");
    TestEnvironment::pumpUntil([&] { return g(first)->deviceFinderRunning.load() == 0; }, 10000);
    EXPECT_EQ(g(first)->settingsFolder.get(), SettingsPaths::applicationFolder() + "/Morvane/1");

    // The slave registers: 1 goes to the master, 11 comes back, 3 asks for a unit.
    EXPECT_TRUE(logShows("Morvane", "Accept Register Thread ended", 5000));
    const auto lines = log("Morvane");
    EXPECT_NE(lines.find("Me is master"), std::string::npos);
    EXPECT_NE(lines.find("Plugin Count ist : 2"), std::string::npos);
    EXPECT_NE(log("PluginCommunication").find("Register me as: 2"), std::string::npos);
    EXPECT_EQ(instanceMailbox().pluginCount, 2);
}

TEST_F(Instances, NumbersRepeatAfterAClosedSlaveAndTheLastToCloseClearsTheMailbox)
{
    startUnits(1);
    storeUnit(1, 1);
    auto* master = open();
    auto* two = open();
    auto* three = open();
    ASSERT_TRUE(masterReady(master, 1));
    // The master's units reach the slaves through the mailbox.
    EXPECT_TRUE(
        TestEnvironment::pumpUntil([&] { return g(three)->knownIps.get(1) == Studio::address(1); }, 3000));
    EXPECT_EQ(g(three)->knownIpCount.load(), 1);
    EXPECT_EQ(g(three)->slaveIndex.load(), 3);

    close(two);
    auto* newcomer = open();
    EXPECT_EQ(g(newcomer)->slaveIndex.load(), 3) << "the number of a closed slave is given again";
    EXPECT_EQ(g(newcomer)->settingsFolder.get(), SettingsPaths::applicationFolder() + "/Morvane/3");
    {
        auto& box = instanceMailbox();
        std::lock_guard<std::mutex> lock(box.lock);
        EXPECT_TRUE(box.slotOwned[2]) << "but not the slot of the living instance 3";
        EXPECT_EQ(box.pluginCount, 3);
    }
    // The newcomer registers through its own slot and is answered: the one unit, held by
    // the master, is all there is to offer.
    EXPECT_TRUE(TestEnvironment::pumpUntil([&] { return drives(newcomer, 1); }, 15000));

    close(master);
    close(three);
    close(newcomer);
    {
        auto& box = instanceMailbox();
        std::lock_guard<std::mutex> lock(box.lock);
        EXPECT_EQ(box.pluginCount, 0);
        EXPECT_EQ(box.AllIpCount.load(), 0);
        EXPECT_EQ(box.allIps.get(1), "");
        EXPECT_EQ(box.IPChange.get(1), "");
        for (int i = 0; i < InstanceMailbox::slotCount; ++i)
            EXPECT_EQ(box.flagMessage[i].load(), 0) << "slot " << i;
    }
    auto* next = open();
    EXPECT_TRUE(g(next)->isMaster.load());
}

TEST_F(Instances, ANewSlaveTakesTheOnlyFreeUnitWithoutAQuestion)
{
    startUnits(2);
    storeUnit(1, 1);
    auto* master = open();
    ASSERT_TRUE(masterReady(master, 1));
    EXPECT_EQ(g(master)->freeIpCount.load(), 1);
    EXPECT_EQ(g(master)->freeIps.get(1), Studio::address(2));

    auto* slave = open();
    ASSERT_TRUE(
        TestEnvironment::pumpUntil([&] { return drives(slave, 2) && slave->isRunning(); }, 20000));
    EXPECT_FALSE(anyAlert(slave));
    EXPECT_FALSE(g(slave)->deviceFinderBusy.load());
    EXPECT_EQ(storedIp(2), Studio::address(2));
    EXPECT_TRUE(
        TestEnvironment::pumpUntil([&] { return g(master)->takenIps.get(2) == Studio::address(2); }, 5000));
    EXPECT_EQ(g(master)->takenIpCount.load(), 2);
    ASSERT_TRUE(waitForCheck(master));
    EXPECT_EQ(g(master)->freeIpCount.load(), 0) << "the unit is the slave's now";
}

TEST_F(Instances, SlavesGetTheirStoredUnitsBackInAnyOrder)
{
    startUnits(3);
    storeUnit(1, 1);
    storeUnit(2, 3);
    storeUnit(3, 2);

    // A session: all instances made at once, before the master has looked at the network.
    {
        auto* master = open();
        auto* two = open();
        auto* three = open();
        ASSERT_TRUE(TestEnvironment::pumpUntil([&] { return drives(two, 3) && drives(three, 2); }, 30000));
        EXPECT_TRUE(drives(master, 1));
        EXPECT_FALSE(anyAlert(two));
        EXPECT_FALSE(anyAlert(three));
        close(three);
        close(two);
        close(master);
    }

    // The master settled first, then both slaves asking in the same moment.
    auto* master = open();
    ASSERT_TRUE(masterReady(master, 1));
    auto* two = open();
    auto* three = open();
    ASSERT_TRUE(TestEnvironment::pumpUntil([&] { return drives(two, 3) && drives(three, 2); }, 20000));
    EXPECT_FALSE(anyAlert(two));
    EXPECT_FALSE(anyAlert(three));
    EXPECT_EQ(storedIp(2), Studio::address(3));
    EXPECT_EQ(storedIp(3), Studio::address(2));
}

TEST_F(Instances, ThreeFreeUnitsAndNothingStoredLeaveTheChoiceToTheUser)
{
    startUnits(4);
    storeUnit(1, 1);
    auto* master = open();
    ASSERT_TRUE(masterReady(master, 1));
    ASSERT_EQ(g(master)->freeIpCount.load(), 3);

    auto* slave = open();
    ASSERT_TRUE(TestEnvironment::pumpUntil([&] { return g(slave)->alertMoreThenOne.load(); }, 10000));
    EXPECT_TRUE(g(slave)->alertOpen.load());
    EXPECT_FALSE(g(slave)->connected.load());
    ASSERT_EQ(g(slave)->alertIpCount.load(), 3);
    std::set<std::string> offered, expected{Studio::address(2), Studio::address(3), Studio::address(4)};
    for (int i = 1; i <= 3; ++i)
        offered.insert(g(slave)->alertIps.get(i));
    EXPECT_EQ(offered, expected);

    const auto chosen = g(slave)->alertIps.get(2);
    chooseInAlert(slave, 2);
    EXPECT_TRUE(TestEnvironment::pumpUntil([&] { return g(master)->takenIps.get(2) == chosen; }, 5000));
    EXPECT_TRUE(TestEnvironment::pumpUntil([&] { return slave->isRunning(); }, 15000));
    EXPECT_EQ(storedIp(2), chosen);

    // Another slave meets the same question, and is closed with it unanswered.
    ASSERT_TRUE(waitForCheck(master));
    EXPECT_EQ(g(master)->freeIpCount.load(), 2);
    auto* undecided = open();
    ASSERT_TRUE(TestEnvironment::pumpUntil([&] { return g(undecided)->alertMoreThenOne.load(); }, 10000));
    close(undecided);
}

TEST_F(Instances, ASecondUnitOnTheNetworkIsFreeWithinOneCheck)
{
    startUnits(1);
    storeUnit(1, 1);
    auto* master = open();
    ASSERT_TRUE(masterReady(master, 1));
    EXPECT_EQ(g(master)->freeIpCount.load(), 0);
    EXPECT_EQ(g(master)->foundIps.get(1), Studio::address(1));
    EXPECT_EQ(g(master)->knownNames.get(1), Studio::serial(1));

    units.push_back(Studio::startUnit(2));
    ASSERT_NE(units.back(), nullptr);
    // One period of the watch and one broadcast.
    EXPECT_TRUE(TestEnvironment::pumpUntil(
        [&] { return g(master)->freeIpCount.load() == 1 && g(master)->freeIps.get(1) == Studio::address(2); },
        MasterDeviceChecker::intervalMs() + 4000));
    EXPECT_EQ(g(master)->knownIpCount.load(), 2);
}

TEST_F(Instances, ASlaveStartedBeforeTheFirstCheckStillGetsItsUnit)
{
    startUnits(2);
    // The master's stored unit has gone: three connection attempts of a second each, then
    // the broadcast. The slave's first request comes long before the master's first check.
    TestEnvironment::writeFile(SettingsPaths::makeFolders("Morvane/1") + "/IP.txt", "10.77.0.99");
    const int checksBefore = MasterDeviceChecker::completedChecks();
    auto* master = open();
    auto* slave = open();
    ASSERT_TRUE(logShows("Morvane", "Receive Ip Thread ended", 10000));
    EXPECT_EQ(MasterDeviceChecker::completedChecks(), checksBefore);
    EXPECT_FALSE(g(slave)->connected.load()) << "nothing was offered yet";
    EXPECT_TRUE(g(slave)->deviceFinderBusy.load());

    // Whichever unit the master's broadcast took, the slave comes to the other one.
    ASSERT_TRUE(TestEnvironment::pumpUntil([&] { return drives(master, 1) || drives(master, 2); }, 20000));
    const int other = drives(master, 1) ? 2 : 1;
    ASSERT_TRUE(TestEnvironment::pumpUntil([&] { return drives(slave, other); }, 30000));
    EXPECT_FALSE(anyAlert(slave));
    EXPECT_NE(log("PluginCommunication").find("Ask again for a device"), std::string::npos);
}

TEST_F(Instances, WithoutAMasterSlavesWorkAloneAndCloseAtOnce)
{
    // No unit: the master never connects, so the slave waits for an offer.
    auto* master = open();
    auto* slave = open();
    ASSERT_TRUE(logShows("Morvane", "IP's zur abgabe bereit, geht an : 2", 10000));
    close(master);
    EXPECT_TRUE(logShows("PluginCommunication", "Work alone, the master has gone", 3000));
    // The slave now searches itself.
    EXPECT_TRUE(TestEnvironment::pumpUntil([&] { return g(slave)->deviceFinderRunning.load() == 1; }, 3000));

    // A later instance does not wait for the master either; it searches from its first tick.
    // (Its search may end at once while another runs, so the start is read from the log.)
    const auto searchesStarted = []
    {
        return countOf(log("Morvane"), "Find device Thread started");
    };
    const auto startedBefore = searchesStarted();
    auto* late = open();
    EXPECT_FALSE(g(late)->isMaster.load());
    EXPECT_EQ(g(late)->slaveIndex.load(), 2) << "one instance alive: the newcomer counts 2";
    EXPECT_NE(log("PluginCommunication").find("Work alone, no master in this process"), std::string::npos);
    EXPECT_TRUE(TestEnvironment::pumpUntil([&] { return searchesStarted() > startedBefore; }, 3000));
    close(late);
    close(slave);
}

TEST_F(Instances, FromNumberTwentyOnInstancesWorkAlone)
{
    std::vector<MorvaneProcessor*> opened;
    for (int i = 0; i < 20; ++i)
        opened.push_back(open());
    auto* twentieth = opened.back();
    EXPECT_EQ(g(twentieth)->slaveIndex.load(), 20);
    EXPECT_FALSE(g(twentieth)->isMaster.load());
    EXPECT_EQ(g(twentieth)->settingsFolder.get(), SettingsPaths::applicationFolder() + "/Morvane/20");
    EXPECT_NE(log("PluginCommunication").find("Work alone, instance number beyond the mailbox"),
              std::string::npos);
    // The nineteen others still register with the master.
    EXPECT_TRUE(logShows("Morvane", "IP's zur abgabe bereit, geht an : 19", 20000));
    TestEnvironment::pump(200);
    // Closed in the order of making: the master first.
    while (!processors.empty())
        close(processors.front().get());
}

TEST_F(Instances, TheMasterClosesPromptlyWhileItsCheckRuns)
{
    startUnits(1);
    storeUnit(1, 1);
    MasterDeviceChecker::setIntervalMs(200);
    auto* master = open();
    ASSERT_TRUE(TestEnvironment::pumpUntil([&] { return drives(master, 1); }, 20000));
    ASSERT_TRUE(TestEnvironment::pumpUntil([&] { return !g(master)->deviceCheckIdle.load(); }, 10000));
    close(master);
}
