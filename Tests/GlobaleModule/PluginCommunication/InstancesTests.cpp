// Several instances in one process, each made as a host makes it, against simulated units in
// the studio network: roles, numbers, the hand-out of units and closing in any state.
#include "MasterDeviceChecker.h"
#include "PluginCommunication.h"
#include "PluginProcessor.h"
#include "SettingsPaths.h"
#include "Studio.h"

#include <algorithm>
#include <chrono>
#include <set>

namespace
{
int threadCount()
{
    const auto names = Studio::threadNames();
    return (int)std::count(names.begin(), names.end(), '\n');
}

struct IdleTimer : juce::Timer
{
    void timerCallback() override {}
};

class Instances : public StudioCase
{
protected:
    void SetUp() override
    {
        StudioCase::SetUp();
        MasterDeviceChecker::setIntervalMs(1500);
        PluginCommunication::setChoiceLimitMs(60000);
        // The framework's timer thread stays once made: make it before counting.
        IdleTimer timer;
        timer.startTimer(1);
        TestEnvironment::pumpUntil(
            [] { return Studio::threadNames().find("JUCE Timer") != std::string::npos; }, 2000);
        timer.stopTimer();
        threadsBefore = threadCount();
        namesBefore = Studio::threadNames();
    }

    void TearDown() override
    {
        while (!processors.empty())
            close(processors.back().get());
        units.clear();
        if (Studio::net() != nullptr)
        {
            EXPECT_TRUE(TestEnvironment::pumpUntil([&] { return threadCount() <= threadsBefore; }, 3000))
                << "threads left behind:\nbefore:\n"
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

    // Closes one instance as the host does; it must not take long.
    void close(MorvaneProcessor* p)
    {
        const auto it =
            std::find_if(processors.begin(), processors.end(), [p](auto& q) { return q.get() == p; });
        ASSERT_NE(it, processors.end());
        const auto start = std::chrono::steady_clock::now();
        processors.erase(it);
        EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(5));
    }

    static std::string folder(int number)
    {
        return SettingsPaths::applicationFolder() + "/Morvane/" + std::to_string(number);
    }
    // The unit instance folder n is to come back to.
    static void storeUnit(int number, int unit)
    {
        const auto path = SettingsPaths::makeFolders("Morvane/" + std::to_string(number));
        TestEnvironment::writeFile(path + "/IP.txt", Studio::address(unit));
    }
    static std::string storedIp(int number) { return TestEnvironment::readFile(folder(number) + "/IP.txt"); }
    static std::string log(const std::string& name)
    {
        return TestEnvironment::readFile(SettingsPaths::applicationFolder() + "/" + name + "/Log.txt");
    }
    static bool logShows(const std::string& name, const std::string& text, int timeoutMs)
    {
        return TestEnvironment::pumpUntil([&] { return log(name).find(text) != std::string::npos; },
                                          timeoutMs);
    }

    static GlobalData* g(MorvaneProcessor* p) { return p->getGlobalData(); }
    static bool drives(MorvaneProcessor* p, int unit)
    {
        return g(p)->connected.load() && g(p)->deviceIp.get() == Studio::address(unit);
    }
    static bool anyAlert(MorvaneProcessor* p)
    {
        return g(p)->alertMoreThenOne.load() || g(p)->alertManyOthers.load() || g(p)->alertOneOther.load() ||
               g(p)->alertAllOccupied.load();
    }
    static bool awaitDrive(MorvaneProcessor* p, int unit, int timeoutMs = 20000)
    {
        return TestEnvironment::pumpUntil([&] { return drives(p, unit) && p->isRunning(); }, timeoutMs);
    }

    // The master drives its unit and has looked at the network once since.
    static bool masterReady(MorvaneProcessor* master, int unit)
    {
        return awaitDrive(master, unit) && waitForCheck(master);
    }

    // One whole device check that started after this call.
    static bool waitForCheck(MorvaneProcessor* master)
    {
        const int before = MasterDeviceChecker::completedChecks();
        return TestEnvironment::pumpUntil(
            [&] {
                return MasterDeviceChecker::completedChecks() >= before + 2 &&
                       g(master)->deviceCheckIdle.load();
            },
            15000);
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

    std::vector<std::unique_ptr<MorvaneProcessor>> processors;
    int threadsBefore = 0;
    std::string namesBefore;
};
} // namespace

TEST_F(Instances, RolesAndNumbersAndTheLastToCloseClearsTheMailbox)
{
    startUnits(1);
    storeUnit(1, 1);
    auto* master = open();
    auto* two = open();
    auto* three = open();
    EXPECT_TRUE(g(master)->isMaster.load());
    EXPECT_FALSE(g(two)->isMaster.load());
    EXPECT_EQ(g(two)->slaveIndex.load(), 2);
    EXPECT_EQ(g(two)->takenIpCount.load(), 2);
    EXPECT_EQ(g(two)->settingsFolder.get(), folder(2));
    ASSERT_TRUE(masterReady(master, 1));
    EXPECT_EQ(g(master)->settingsFolder.get(), folder(1));
    // The slaves register: 1 goes to the master, 11 comes back, 3 asks for a unit.
    EXPECT_TRUE(logShows("Morvane", "Accept Register Thread ended", 5000));
    EXPECT_NE(log("Morvane").find("Me is master"), std::string::npos);
    EXPECT_NE(log("Morvane").find("Plugin Count ist : 2"), std::string::npos);
    EXPECT_NE(log("PluginCommunication").find("Register me as: 2"), std::string::npos);
    // The master's units reach the slaves through the mailbox.
    EXPECT_TRUE(
        TestEnvironment::pumpUntil([&] { return g(three)->knownIps.get(1) == Studio::address(1); }, 3000));
    EXPECT_EQ(g(three)->knownIpCount.load(), 1);
    EXPECT_EQ(g(three)->slaveIndex.load(), 3);

    close(two);
    auto* newcomer = open();
    EXPECT_EQ(g(newcomer)->slaveIndex.load(), 3) << "the number of a closed slave is given again";
    EXPECT_EQ(g(newcomer)->settingsFolder.get(), folder(3));
    {
        auto& box = instanceMailbox();
        std::lock_guard<std::mutex> lock(box.lock);
        EXPECT_TRUE(box.slotOwned[2]) << "but not the slot of the living instance 3";
        EXPECT_EQ(box.pluginCount, 3);
    }
    // Through its own slot it is answered: the one unit, held by the master, is all there is.
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
    EXPECT_TRUE(g(open())->isMaster.load());
}

TEST_F(Instances, ASecondUnitIsFreeWithinOneCheckAndANewSlaveTakesItWithoutAQuestion)
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

    auto* slave = open();
    ASSERT_TRUE(awaitDrive(slave, 2));
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
    // A session: all made at once, before the master looked at the network; then the master
    // settled first and both slaves asking in the same moment.
    for (const bool masterFirst : {false, true})
    {
        SCOPED_TRACE(masterFirst);
        auto* master = open();
        if (masterFirst)
        {
            ASSERT_TRUE(masterReady(master, 1));
        }
        auto* two = open();
        auto* three = open();
        ASSERT_TRUE(TestEnvironment::pumpUntil([&] { return drives(two, 3) && drives(three, 2); }, 30000));
        EXPECT_TRUE(drives(master, 1));
        EXPECT_FALSE(anyAlert(two));
        EXPECT_FALSE(anyAlert(three));
        EXPECT_EQ(storedIp(2), Studio::address(3));
        EXPECT_EQ(storedIp(3), Studio::address(2));
        close(three);
        close(two);
        close(master);
    }
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
    ASSERT_TRUE(TestEnvironment::pumpUntil([&] { return drives(slave, drives(master, 1) ? 2 : 1); }, 30000));
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
    EXPECT_TRUE(TestEnvironment::pumpUntil([&] { return g(slave)->deviceFinderRunning.load() == 1; }, 3000));

    // A later instance does not wait for the master either; it searches from its first tick.
    // (Its search may end at once while another runs, so the start is read from the log.)
    const auto searches = []
    {
        return countLines(log("Morvane"), "0:::Find device Thread started:::");
    };
    const auto before = searches();
    auto* late = open();
    EXPECT_FALSE(g(late)->isMaster.load());
    EXPECT_EQ(g(late)->slaveIndex.load(), 2) << "one instance alive: the newcomer counts 2";
    EXPECT_NE(log("PluginCommunication").find("Work alone, no master in this process"), std::string::npos);
    EXPECT_TRUE(TestEnvironment::pumpUntil([&] { return searches() > before; }, 3000));
}

TEST_F(Instances, FromNumberTwentyOnInstancesWorkAlone)
{
    for (int i = 0; i < 20; ++i)
        open();
    auto* twentieth = processors.back().get();
    EXPECT_EQ(g(twentieth)->slaveIndex.load(), 20);
    EXPECT_FALSE(g(twentieth)->isMaster.load());
    EXPECT_EQ(g(twentieth)->settingsFolder.get(), folder(20));
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
