// Several instances in one process, each made as a host makes it, against simulated units in
// the studio network: roles, numbers, the hand-out of units and closing in any state.
#include "MasterDeviceChecker/MasterDeviceChecker.h"
#include "PluginCommunication/PluginCommunication.h"
#include "PluginProcessor.h"
#include "Studio.h"

#include <algorithm>
#include <chrono>
#include <random>
#include <set>
#include <sys/wait.h>
#include <thread>
#include <tuple>

namespace
{
// The names of this process's threads, one a line.
std::string threadNames()
{
    std::string names;
    for (const auto& task : juce::File("/proc/self/task").findChildFiles(juce::File::findDirectories, false))
        names += TestEnvironment::readFile(task.getFullPathName().toStdString() + "/comm");
    return names;
}

class Instances : public StudioCase
{
protected:
    void SetUp() override
    {
        StudioCase::SetUp();
        MasterDeviceChecker::setIntervalMs(1500);
        PluginCommunication::setChoiceLimitMs(60000);
        // The framework's timer thread stays once made: make it before counting.
        juce::Timer::callAfterDelay(1, [] {});
        TestEnvironment::pumpUntil([] { return threadNames().find("JUCE Timer") != std::string::npos; },
                                   2000);
        namesBefore = threadNames();
    }

    void TearDown() override
    {
        while (!processors.empty())
            close(processors.back().get());
        units.clear();
        EXPECT_EQ(instanceMailbox().pluginCount, 0);
        if (Studio::net() == nullptr)
            return;
        const auto lines = [](const std::string& text)
        {
            return std::count(text.begin(), text.end(), '\n');
        };
        EXPECT_TRUE(
            TestEnvironment::pumpUntil([&] { return lines(threadNames()) <= lines(namesBefore); }, 3000))
            << "threads left behind:\nbefore:\n"
            << namesBefore << "now:\n"
            << threadNames();
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

    static GlobalData* g(MorvaneProcessor* p) { return p->getGlobalData(); }
    static auto role(MorvaneProcessor* p)
    {
        return std::make_tuple(g(p)->isMaster.load(), g(p)->slaveIndex.load(), g(p)->settingsFolder.get());
    }
    static bool logShows(const std::string& text, int timeoutMs = 0, const std::string& product = "Morvane")
    {
        return TestEnvironment::pumpUntil(
            [&] { return Studio::log(product).find(text) != std::string::npos; }, timeoutMs);
    }
    static bool drives(MorvaneProcessor* p, int unit)
    {
        return g(p)->connected.load() && g(p)->deviceIp.get() == Studio::address(unit);
    }
    static bool anyAlert(MorvaneProcessor* p)
    {
        return g(p)->alertMoreThenOne.load() || g(p)->alertManyOthers.load() || g(p)->alertOneOther.load() ||
               g(p)->alertAllOccupied.load();
    }

    // One whole device check that started after this call.
    static bool waitForCheck(MorvaneProcessor* master)
    {
        const int before = g(master)->checksCompleted.load();
        return TestEnvironment::pumpUntil(
            [&]
            { return g(master)->checksCompleted.load() >= before + 2 && g(master)->deviceCheckIdle.load(); },
            15000);
    }
    // The instance runs on its unit and, for a master, has looked at the network once since.
    static bool ready(MorvaneProcessor* p, int unit)
    {
        return TestEnvironment::pumpUntil([&] { return drives(p, unit) && p->isRunning(); }, 20000) &&
               (!g(p)->isMaster.load() || waitForCheck(p));
    }

    std::vector<std::unique_ptr<MorvaneProcessor>> processors;
    std::string namesBefore;
};
} // namespace

TEST_F(Instances, RolesAndNumbersAndTheLastToCloseClearsTheMailbox)
{
    startUnits(1);
    Studio::storeIp(1, Studio::address(1));
    auto* master = open();
    auto* two = open();
    auto* three = open();
    EXPECT_EQ(role(two), std::make_tuple(false, 2, Studio::folder(2)));
    EXPECT_EQ(g(two)->takenIpCount.load(), 2);
    ASSERT_TRUE(ready(master, 1));
    EXPECT_EQ(role(master), std::make_tuple(true, 0, Studio::folder(1)));
    // The slaves register: 1 goes to the master, 11 comes back, 3 asks for a unit.
    EXPECT_TRUE(logShows("Accept Register Thread ended", 5000));
    EXPECT_TRUE(logShows("Me is master") && logShows("Plugin Count ist : 2"));
    EXPECT_TRUE(logShows("Register me as: 2", 0, "PluginCommunication"));
    // The master's units reach the slaves through the mailbox.
    EXPECT_TRUE(
        TestEnvironment::pumpUntil([&] { return g(three)->knownIps.get(1) == Studio::address(1); }, 3000));
    EXPECT_EQ(g(three)->knownIpCount.load(), 1);
    EXPECT_EQ(role(three), std::make_tuple(false, 3, Studio::folder(3)));

    close(two);
    auto* newcomer = open();
    EXPECT_EQ(role(newcomer), std::make_tuple(false, 2, Studio::folder(2)))
        << "the closed slave's number, never that of the living instance 3";
    {
        auto& box = instanceMailbox();
        std::lock_guard<std::mutex> lock(box.lock);
        EXPECT_EQ(box.numbers, (std::set<int>{1, 2, 3}));
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
        EXPECT_EQ(box.allIps.get(1), std::string());
        EXPECT_EQ(box.IPChange.get(1), std::string());
        for (int i = 0; i < InstanceMailbox::slotCount; ++i)
            EXPECT_EQ(box.flagMessage[i].load(), 0) << "slot " << i;
    }
    EXPECT_TRUE(g(open())->isMaster.load());
}

TEST_F(Instances, ASecondUnitIsFreeWithinOneCheckAndANewSlaveTakesItWithoutAQuestion)
{
    startUnits(1);
    Studio::storeIp(1, Studio::address(1));
    auto* master = open();
    ASSERT_TRUE(ready(master, 1));
    EXPECT_EQ(g(master)->freeIpCount.load(), 0);
    EXPECT_EQ(g(master)->foundIps.get(1), Studio::address(1));
    EXPECT_EQ(g(master)->knownNames.get(1), Studio::serial(1));

    units.push_back(Studio::startUnit(2));
    ASSERT_NE(units.back(), nullptr);
    // One period of the watch and one broadcast.
    EXPECT_TRUE(TestEnvironment::pumpUntil(
        [&]
        {
            return g(master)->freeIpCount.load() == 1 && g(master)->freeIps.get(1) == Studio::address(2) &&
                   g(master)->knownIpCount.load() == 2;
        },
        MasterDeviceChecker::intervalMs() + 4000));

    auto* slave = open();
    ASSERT_TRUE(ready(slave, 2));
    EXPECT_FALSE(anyAlert(slave) || g(slave)->deviceFinderBusy.load());
    EXPECT_EQ(Studio::file(2, "IP.txt"), Studio::address(2));
    EXPECT_TRUE(TestEnvironment::pumpUntil(
        [&]
        { return g(master)->takenIps.get(2) == Studio::address(2) && g(master)->takenIpCount.load() == 2; },
        5000));
    ASSERT_TRUE(waitForCheck(master));
    EXPECT_EQ(g(master)->freeIpCount.load(), 0) << "the unit is the slave's now";

    // The slave's unit goes, and the slave is Lost (as the connection test after eleven
    // silent rounds leaves it); it keeps looking by itself, never for the master's unit.
    units.back()->command("vanish");
    g(slave)->connected = false;
    TestEnvironment::pump(4000);
    EXPECT_FALSE(g(slave)->connected.load());
    EXPECT_TRUE(drives(master, 1));
    units.back()->command("return");
    const auto back = std::chrono::steady_clock::now();
    ASSERT_TRUE(TestEnvironment::pumpUntil([&] { return drives(slave, 2) && slave->isRunning(); }, 15000));
    EXPECT_LE(std::chrono::steady_clock::now() - back, std::chrono::milliseconds(5000));
    EXPECT_FALSE(anyAlert(slave));

    // The master closes promptly (close() bounds it) while its check runs.
    ASSERT_TRUE(TestEnvironment::pumpUntil([&] { return !g(master)->deviceCheckIdle.load(); }, 10000));
    close(master);
}

TEST_F(Instances, SlavesGetTheirStoredUnitsBackInAnyOrder)
{
    startUnits(3);
    Studio::storeIp(1, Studio::address(1));
    Studio::storeIp(2, Studio::address(3));
    Studio::storeIp(3, Studio::address(2));
    // A session: all made at once, before the master looked at the network; then the master
    // settled first and both slaves asking in the same moment.
    for (const bool masterFirst : {false, true})
    {
        SCOPED_TRACE(masterFirst);
        auto* master = open();
        if (masterFirst)
        {
            ASSERT_TRUE(ready(master, 1));
        }
        auto* two = open();
        auto* three = open();
        ASSERT_TRUE(TestEnvironment::pumpUntil([&] { return drives(two, 3) && drives(three, 2); }, 30000));
        EXPECT_TRUE(drives(master, 1));
        EXPECT_FALSE(anyAlert(two) || anyAlert(three));
        EXPECT_EQ(Studio::file(2, "IP.txt"), Studio::address(3));
        EXPECT_EQ(Studio::file(3, "IP.txt"), Studio::address(2));
        // The taken list is every living slave's, whichever reported last; a closed one's goes.
        EXPECT_TRUE(TestEnvironment::pumpUntil(
            [&] {
                return g(master)->takenIps.get(2) == Studio::address(3) &&
                       g(master)->takenIpCount.load() == 3;
            },
            3000));
        EXPECT_EQ(g(master)->takenIps.get(3), Studio::address(2));
        close(three);
        EXPECT_TRUE(TestEnvironment::pumpUntil([&] { return g(master)->takenIpCount.load() == 2; }, 3000));
        EXPECT_EQ(g(master)->takenIps.get(3), "");
        close(two);
        close(master);
    }
}

TEST_F(Instances, ThreeFreeUnitsAndNothingStoredLeaveTheChoiceToTheUser)
{
    startUnits(4);
    Studio::storeIp(1, Studio::address(1));
    auto* master = open();
    ASSERT_TRUE(ready(master, 1));
    ASSERT_EQ(g(master)->freeIpCount.load(), 3);

    auto* slave = open();
    ASSERT_TRUE(TestEnvironment::pumpUntil([&] { return g(slave)->alertMoreThenOne.load(); }, 10000));
    EXPECT_EQ(g(slave)->alertOpen.load(), true);
    EXPECT_EQ(g(slave)->connected.load(), false);
    EXPECT_EQ(g(slave)->alertIpCount.load(), 3);
    std::set<std::string> offered;
    for (int i = 1; i <= 3; ++i)
        offered.insert(g(slave)->alertIps.get(i));
    EXPECT_EQ(offered, (std::set<std::string>{Studio::address(2), Studio::address(3), Studio::address(4)}));

    // The editor's answer: the second address of the list.
    const auto chosen = g(slave)->alertIps.get(2);
    slave->getTcp()->SetIP(chosen);
    g(slave)->SetIp(chosen);
    g(slave)->checkMac = true;
    g(slave)->connected = true;
    g(slave)->SetDeviceFinderDone();
    g(slave)->deviceFinderRunning = 0;
    g(slave)->alertOpen = false;
    EXPECT_TRUE(TestEnvironment::pumpUntil([&] { return g(master)->takenIps.get(2) == chosen; }, 5000));
    EXPECT_TRUE(TestEnvironment::pumpUntil([&] { return slave->isRunning(); }, 15000));
    EXPECT_EQ(Studio::file(2, "IP.txt"), chosen);

    // Another slave meets the same question, and is closed with it unanswered.
    ASSERT_TRUE(waitForCheck(master));
    EXPECT_EQ(g(master)->freeIpCount.load(), 2);
    auto* undecided = open();
    ASSERT_TRUE(TestEnvironment::pumpUntil([&] { return g(undecided)->alertMoreThenOne.load(); }, 10000));
    close(undecided);
}

TEST_F(Instances, ASlaveStartedBeforeTheFirstCheckIsAnsweredFromTheFirstCheck)
{
    startUnits(2);
    // The master's stored unit has gone: three connection attempts of a second each, then
    // the broadcast. The slave asks long before the master's first check has ended.
    Studio::storeIp(1, "10.77.0.99");
    auto* master = open();
    auto* slave = open();
    // Whichever unit the master's broadcast took, the slave comes to the other one.
    ASSERT_TRUE(TestEnvironment::pumpUntil([&] { return drives(master, 1) || drives(master, 2); }, 20000));
    ASSERT_TRUE(TestEnvironment::pumpUntil([&] { return drives(slave, drives(master, 1) ? 2 : 1); }, 30000));
    EXPECT_FALSE(anyAlert(slave));
    // The request waited for the lists: no answer before the first check ended.
    const auto log = Studio::log();
    const auto checked = log.find("0:::Check Device Thread ended:::");
    const auto answered = log.find("IP's zur abgabe bereit, geht an : 2");
    ASSERT_NE(answered, std::string::npos);
    EXPECT_LT(checked, answered);
}

// A master that has no unit of its own (its serial names none here, so it asks its user)
// watches the network all the same, and its slaves come to their units.
TEST_F(Instances, SlavesOfAMasterWithoutAUnitGetTheTwoFreeUnits)
{
    startUnits(2);
    TestEnvironment::writeFile(SettingsPaths::makeFolders("Morvane/1") + "/GuiSettings.txt",
                               defaultGuiSettings("MORVAN0099"));
    Studio::storeIp(2, Studio::address(2));
    Studio::storeIp(3, Studio::address(1));
    const auto start = std::chrono::steady_clock::now();
    auto* master = open();
    auto* two = open();
    auto* three = open();
    ASSERT_TRUE(TestEnvironment::pumpUntil([&] { return drives(two, 2) && drives(three, 1); }, 15000));
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(15));
    EXPECT_TRUE(g(master)->alertManyOthers.load());
    EXPECT_FALSE(g(master)->connected.load() || anyAlert(two) || anyAlert(three));
}

// Two slaves opened within 100 ms while one unit is free: the first to ask gets it, and the
// other is not given the same unit: it is asked (the only free unit is held).
TEST_F(Instances, TwoSlavesOpenedTogetherNeverGetTheSameFreeUnit)
{
    startUnits(2);
    Studio::storeIp(1, Studio::address(1));
    auto* master = open();
    ASSERT_TRUE(ready(master, 1));
    ASSERT_EQ(g(master)->freeIpCount.load(), 1);
    auto* a = open();
    auto* b = open();
    ASSERT_TRUE(TestEnvironment::pumpUntil([&] { return drives(a, 2) || drives(b, 2); }, 15000));
    auto* other = drives(a, 2) ? b : a;
    EXPECT_TRUE(TestEnvironment::pumpUntil([&] { return g(other)->alertAllOccupied.load(); }, 10000));
    EXPECT_FALSE(drives(other, 2));
    EXPECT_EQ(g(other)->alertIpCount.load(), 2);
    EXPECT_EQ(g(master)->freeIpCount.load(), 0) << "message 5 took the unit off the free list";
}

TEST_F(Instances, WithoutAMasterSlavesWorkAloneAndCloseAtOnce)
{
    // No unit: the master never connects, so the slave waits for an offer.
    auto* master = open();
    auto* slave = open();
    ASSERT_TRUE(logShows("IP's zur abgabe bereit, geht an : 2", 10000));
    close(master);
    EXPECT_TRUE(logShows("Work alone, the master has gone", 3000, "PluginCommunication"));
    EXPECT_TRUE(TestEnvironment::pumpUntil([&] { return g(slave)->deviceFinderRunning.load() == 1; }, 3000));

    // A later instance takes the free number 1 and the role; it searches from its first tick.
    // (Its search may end at once while another runs, so the start is read from the log.)
    const auto searches = []
    {
        return countLines(Studio::log(), "0:::Find device Thread started:::");
    };
    const auto before = searches();
    auto* late = open();
    EXPECT_EQ(role(late), std::make_tuple(true, 0, Studio::folder(1))) << "number 1 is free: the master";
    EXPECT_TRUE(TestEnvironment::pumpUntil([&] { return searches() > before; }, 3000));
}

TEST_F(Instances, FromNumberTwentyOnInstancesWorkAlone)
{
    for (int i = 0; i < 20; ++i)
        open();
    EXPECT_EQ(role(processors.back().get()), std::make_tuple(false, 20, Studio::folder(20)));
    EXPECT_TRUE(logShows("Work alone, instance number beyond the mailbox", 0, "PluginCommunication"));
    // The nineteen others still register with the master.
    EXPECT_TRUE(logShows("IP's zur abgabe bereit, geht an : 19", 20000));
    TestEnvironment::pump(200);
    // Closed in the order of making: the master first.
    while (!processors.empty())
        close(processors.front().get());
}

// Hosts that run every plug-in in a process of its own: three processes that know their
// units by serial only search at the same moment, and port 4028 is one for the computer.
TEST_F(Instances, ThreeHostProcessesSearchingAtOnceAllFindTheirUnits)
{
    startUnits(3);
    const std::string caseHome = TestEnvironment::home();
    std::vector<std::string> homes;
    for (int k = 1; k <= 3; ++k)
    {
        homes.push_back(TestEnvironment::newHome());
        TestEnvironment::writeFile(SettingsPaths::makeFolders("Morvane/1") + "/GuiSettings.txt",
                                   defaultGuiSettings(Studio::serial(k)));
    }
    ::setenv("Home", caseHome.c_str(), 1);
    ::setenv("MORVANE_PRESET_ROOT", (caseHome + "/presets").c_str(), 1);
    std::vector<pid_t> hosts;
    for (const auto& home : homes)
        hosts.push_back(Studio::net()->spawnIn(Studio::net()->hostNamespace(),
                                               {MORVANE_HOST_PROCESS, home, "40000"}, home + "/out.txt"));
    for (const pid_t host : hosts)
    {
        int status = -1;
        for (int i = 0; i < 600 && ::waitpid(host, &status, WNOHANG) == 0; ++i)
            std::this_thread::sleep_for(std::chrono::milliseconds(100));
        Studio::net()->stop(host);
    }
    for (int k = 1; k <= 3; ++k)
        EXPECT_EQ(TestEnvironment::readFile(homes[(size_t)k - 1] + "/out.txt"), Studio::address(k) + "\n")
            << "host process " << k;
}

namespace
{
int numberOf(MorvaneProcessor* p)
{
    auto* g = p->getGlobalData();
    return g->isMaster.load() ? 1 : g->slaveIndex.load();
}

// A question answered as a user would who trusts the list: with the first unit offered.
void answerQuestion(MorvaneProcessor* p)
{
    auto* g = p->getGlobalData();
    std::atomic<bool>* raised = nullptr;
    for (auto* alert : {&g->alertMoreThenOne, &g->alertAllOccupied, &g->alertManyOthers, &g->alertOneOther})
        if (alert->load())
            raised = alert;
    if (raised == nullptr)
        return;
    const std::string chosen = g->alertIps.get(1);
    *raised = false;
    p->getTcp()->SetIP(chosen);
    g->SetIp(chosen);
    g->checkMac = true;
    g->connected = true;
    g->deviceFinderRunning = 0;
    g->SetDeviceFinderDone();
    g->alertOpen = false;
}

// Numbers and units of the living instances, each at most once; the text names a clash.
std::string clash(const std::vector<MorvaneProcessor*>& living)
{
    std::set<int> numbers;
    std::set<std::string> driven;
    for (auto* p : living)
    {
        if (!numbers.insert(numberOf(p)).second)
            return "number " + std::to_string(numberOf(p)) + " twice";
        const auto* g = p->getGlobalData();
        if (g->connected.load() && !driven.insert(g->deviceIp.get()).second)
            return "unit " + g->deviceIp.get() + " twice";
    }
    return {};
}
} // namespace

// Instances closed and opened (one or two at once) in random order, 50 times, one unit more
// than the most instances alive, often before the last step has settled: no two living instances ever
// share a number or a unit, and after every fifth step each runs on a unit of its own.
TEST_F(Instances, FiftyRandomClosesAndReopensNeverShareANumberOrAUnit)
{
    startUnits(4);
    std::mt19937 random(1);
    std::vector<MorvaneProcessor*> living;
    std::string firstClash;
    const auto settle = [&](int timeoutMs)
    {
        return TestEnvironment::pumpUntil(
            [&]
            {
                for (auto* p : living)
                    answerQuestion(p);
                if (firstClash.empty())
                    firstClash = clash(living);
                return std::all_of(living.begin(), living.end(), [](auto* p) { return p->isRunning(); });
            },
            timeoutMs);
    };
    for (int step = 1; step <= 50; ++step)
    {
        SCOPED_TRACE("step " + std::to_string(step));
        const bool opening = living.empty() || (living.size() < 3 && random() % 2 == 0);
        if (opening)
        {
            // Now and then two at once, as a host that loads a session does.
            living.push_back(open());
            if (living.size() < 3 && random() % 2 == 0)
                living.push_back(open());
        }
        else
        {
            const auto at = living.begin() + (long)(random() % living.size());
            close(*at);
            living.erase(at);
        }
        if (step % 5 == 0)
            ASSERT_TRUE(settle(40000)) << "every instance on a unit of its own";
        else
            settle((int)(random() % 400));
        ASSERT_EQ(firstClash, "");
    }
}
