// The master's watch over the network, on its own against simulated units in the studio
// network: which units are found, which are free, and how a check ends.
#include "Broadcast.h"
#include "GlobalData.h"
#include "MasterDeviceChecker.h"
#include "Settings.h"
#include "SettingsPaths.h"
#include "Studio.h"
#include "TestEnvironment.h"

#include <gtest/gtest.h>

#include <chrono>
#include <memory>
#include <vector>

namespace
{
class DeviceWatch : public ::testing::Test
{
protected:
    void SetUp() override
    {
        REQUIRE_STUDIO();
        TestEnvironment::newHome();
        MasterDeviceChecker::setIntervalMs(10000);
        global = std::make_unique<GlobalData>(&settings);
        broadcast = std::make_unique<Broadcast>(global.get(), settings.deviceCode);
    }

    void TearDown() override
    {
        checker.reset();
        broadcast.reset();
        global.reset();
        units.clear();
    }

    void startUnits(int count)
    {
        for (int k = 1; k <= count; ++k)
        {
            units.push_back(Studio::startUnit(k));
            ASSERT_NE(units.back(), nullptr) << "unit " << k;
        }
    }

    MasterDeviceChecker& watch()
    {
        if (!checker)
            checker = std::make_unique<MasterDeviceChecker>(global.get(), broadcast.get(), &settings);
        return *checker;
    }

    // One whole check, started here.
    bool check()
    {
        const int before = MasterDeviceChecker::completedChecks();
        watch().startCheck();
        return TestEnvironment::pumpUntil(
            [&] { return MasterDeviceChecker::completedChecks() > before && global->deviceCheckIdle.load(); },
            10000);
    }

    static std::string log()
    {
        return TestEnvironment::readFile(SettingsPaths::applicationFolder() + "/Morvane/Log.txt");
    }

    Settings settings;
    std::unique_ptr<GlobalData> global;
    std::unique_ptr<Broadcast> broadcast;
    std::unique_ptr<MasterDeviceChecker> checker;
    std::vector<std::unique_ptr<morvane::sim::Unit>> units;
};
} // namespace

TEST_F(DeviceWatch, NoAnswerLeavesOneEmptyEntryAndNothingFree)
{
    ASSERT_TRUE(check());
    EXPECT_EQ(global->knownIpCount.load(), 0);
    EXPECT_EQ(global->foundIpCount.load(), 1);
    EXPECT_EQ(global->foundIps.get(1), "");
    EXPECT_EQ(global->freeIpCount.load(), 0);
    EXPECT_NE(log().find("0:::Check Device Thread started"), std::string::npos);
    EXPECT_NE(log().find("0:::Check Device Thread ended"), std::string::npos);
}

// The master holds takenIps[1]; its own unit is never free.
TEST_F(DeviceWatch, TheFreeListLeavesOutWhatInstancesHold)
{
    startUnits(3);
    global->takenIps.set(1, Studio::address(1));
    global->takenIps.set(2, Studio::address(3));
    global->takenIpCount = 2;
    ASSERT_TRUE(check());
    ASSERT_EQ(global->foundIpCount.load(), 3);
    for (int i = 1; i <= 3; ++i)
    {
        // Found, known and the names speak of the same unit at the same index.
        EXPECT_EQ(global->knownIps.get(i), global->foundIps.get(i));
        EXPECT_EQ(global->knownNames.get(i), "MORVAN00" + global->foundIps.get(i).substr(8));
    }
    EXPECT_EQ(global->freeIpCount.load(), 1);
    EXPECT_EQ(global->freeIps.get(1), Studio::address(2));
    EXPECT_EQ(global->freeIps.get(2), "") << "no stale entry behind the count";

    // Only takenIps[1] to takenIps[takenIpCount] are looked at.
    global->takenIpCount = 1;
    ASSERT_TRUE(check());
    EXPECT_EQ(global->freeIpCount.load(), 2);

    // With no count at all, every unit is free.
    global->takenIpCount = 0;
    ASSERT_TRUE(check());
    EXPECT_EQ(global->freeIpCount.load(), 3);
}

TEST_F(DeviceWatch, ACheckWaitsForARunningSearch)
{
    startUnits(1);
    global->deviceFinderRunning = 1;
    const int before = MasterDeviceChecker::completedChecks();
    watch().startCheck();
    EXPECT_FALSE(global->deviceCheckIdle.load()) << "the lists are not to be read now";
    TestEnvironment::pump(600);
    EXPECT_EQ(log().find("Start Broadcast To All Interfaces"), std::string::npos);
    EXPECT_EQ(MasterDeviceChecker::completedChecks(), before);

    global->deviceFinderRunning = 0;
    EXPECT_TRUE(TestEnvironment::pumpUntil(
        [&] { return MasterDeviceChecker::completedChecks() > before && global->deviceCheckIdle.load(); },
        10000));
    EXPECT_EQ(global->foundIps.get(1), Studio::address(1));
}

TEST_F(DeviceWatch, TheTimerRepeatsTheCheckAndNeverRunsTwoAtOnce)
{
    startUnits(1);
    MasterDeviceChecker::setIntervalMs(100);
    const int before = MasterDeviceChecker::completedChecks();
    watch();
    EXPECT_TRUE(TestEnvironment::pumpUntil(
        [&] { return MasterDeviceChecker::completedChecks() >= before + 3; }, 15000));
    const auto lines = log();
    size_t starts = 0, ends = 0;
    for (size_t at = 0; (at = lines.find("Check Device Thread started", at)) != std::string::npos; ++at)
        ++starts;
    for (size_t at = 0; (at = lines.find("Check Device Thread ended", at)) != std::string::npos; ++at)
        ++ends;
    EXPECT_LE(starts, ends + 1) << "one check at a time";
}

TEST_F(DeviceWatch, ACheckEndsByItsFlagWithoutTouchingTheLists)
{
    startUnits(2);
    global->freeIpCount = 7;
    watch().startCheck();
    ASSERT_TRUE(TestEnvironment::pumpUntil([&] { return global->broadcastRunning.load(); }, 5000));
    global->quitRequested = true;
    const auto start = std::chrono::steady_clock::now();
    checker.reset();
    const auto ms =
        std::chrono::duration_cast<std::chrono::milliseconds>(std::chrono::steady_clock::now() - start)
            .count();
    EXPECT_LT(ms, 1000);
    EXPECT_EQ(global->freeIpCount.load(), 7);
    EXPECT_TRUE(global->deviceCheckIdle.load());
    EXPECT_FALSE(global->broadcastRunning.load());
}
