// The master's watch over the network, on its own against simulated units in the studio
// network: which units are found, which are free, and how a check ends.
#include "MasterDeviceChecker/MasterDeviceChecker.h"
#include "Studio.h"

#include <chrono>
#include <tuple>

namespace
{
const std::string started = "0:::Check Device Thread started:::";
const std::string ended = "0:::Check Device Thread ended:::";

class DeviceWatch : public ComputerCase
{
protected:
    void SetUp() override
    {
        ComputerCase::SetUp();
        MasterDeviceChecker::setIntervalMs(10000);
        checker = std::make_unique<MasterDeviceChecker>(&global, &computer.broadcast, &computer.settings);
    }

    bool checkDoneSince(int before)
    {
        return TestEnvironment::pumpUntil(
            [&] { return global.checksCompleted.load() > before && global.deviceCheckIdle.load(); }, 10000);
    }
    // One whole check, started here.
    bool check()
    {
        const int before = global.checksCompleted.load();
        checker->startCheck();
        return checkDoneSince(before);
    }

    GlobalData& global = computer.global;
    std::unique_ptr<MasterDeviceChecker> checker;
};
} // namespace

TEST_F(DeviceWatch, TheFreeListLeavesOutWhatInstancesHoldAndTheTimerRepeatsOneCheckAtATime)
{
    ASSERT_TRUE(check());
    // No answer.
    EXPECT_EQ(global.knownIpCount.load(), 0);
    EXPECT_EQ(global.foundIpCount.load(), 1);
    EXPECT_EQ(global.foundIps.get(1), std::string());
    EXPECT_EQ(global.freeIpCount.load(), 0);
    EXPECT_EQ(countLines(Studio::log(), started), 1);
    EXPECT_EQ(countLines(Studio::log(), ended), 1);

    // The master holds takenIps[1]; only takenIps[1..takenIpCount] are looked at.
    startUnits(3);
    global.takenIps.set(1, Studio::address(1));
    global.takenIps.set(2, Studio::address(3));
    for (const int taken : {2, 1, 0})
    {
        SCOPED_TRACE(taken);
        global.takenIpCount = taken;
        ASSERT_TRUE(check());
        ASSERT_EQ(global.foundIpCount.load(), 3);
        // Found, known and the names speak of the same unit at the same index.
        for (int i = 1; i <= 3; ++i)
        {
            EXPECT_EQ(global.knownIps.get(i), global.foundIps.get(i));
            EXPECT_EQ(global.knownNames.get(i), "MORVAN00" + global.foundIps.get(i).substr(8));
        }
        EXPECT_EQ(global.freeIpCount.load(), 3 - taken);
        EXPECT_EQ(global.freeIps.get(4 - taken), "") << "no stale entry behind the count";
        EXPECT_TRUE(taken != 2 || global.freeIps.get(1) == Studio::address(2));
    }

    checker.reset();
    MasterDeviceChecker::setIntervalMs(100);
    const int before = global.checksCompleted.load();
    checker = std::make_unique<MasterDeviceChecker>(&global, &computer.broadcast, &computer.settings);
    EXPECT_TRUE(
        TestEnvironment::pumpUntil([&] { return global.checksCompleted.load() >= before + 3; }, 15000));
    const auto log = Studio::log();
    EXPECT_LE(countLines(log, started), countLines(log, ended) + 1) << "one check at a time";
}

TEST_F(DeviceWatch, ACheckWaitsForARunningSearchAndEndsByItsFlag)
{
    startUnits(2);
    global.deviceFinderRunning = 1;
    const int before = global.checksCompleted.load();
    checker->startCheck();
    EXPECT_FALSE(global.deviceCheckIdle.load()) << "the lists are not to be read now";
    TestEnvironment::pump(600);
    EXPECT_EQ(Studio::log().find("Start Broadcast To All Interfaces"), std::string::npos);
    EXPECT_EQ(global.checksCompleted.load(), before);
    global.deviceFinderRunning = 0;
    EXPECT_TRUE(checkDoneSince(before));
    EXPECT_EQ(global.foundIpCount.load(), 2);

    // Quitting in the middle of the broadcast leaves the lists alone.
    global.freeIpCount = 7;
    checker->startCheck();
    ASSERT_TRUE(TestEnvironment::pumpUntil([&] { return global.broadcastRunning.load(); }, 5000));
    global.quitRequested = true;
    const auto start = std::chrono::steady_clock::now();
    checker.reset();
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(1000));
    EXPECT_EQ(global.freeIpCount.load(), 7);
    EXPECT_EQ(global.deviceCheckIdle.load(), true);
    EXPECT_EQ(global.broadcastRunning.load(), false);
}
