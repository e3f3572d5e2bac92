// Searches over real broadcasts in a studio network of simulated units: the finder runs on a
// thread inside the computer's namespace, exactly as the processor's finder thread does.
#include "DeviceFinder.h"
#include "StudioUnits.h"

#include <chrono>
#include <thread>

using TestEnvironment::readFile;

namespace
{
const std::string defaultsWithSerial(const std::string& serial)
{
    return "Size = 0.1;\nKnob Resolution = 0;\nSerial = " + serial +
           ";\nFPS = 30;\nZeroPreset = 1;\nMonoMode = 0;\n";
}

void search(StudioUnits& studio, Computer& computer)
{
    computer.global.deviceFinderRunning = 1;
    ASSERT_TRUE(studio.onComputer(
        [&] { runDeviceSearch(&computer.settings, &computer.tcp, &computer.broadcast, &computer.global); }));
}

bool anyAlert(const GlobalData& global)
{
    return global.alertOneOther || global.alertManyOthers || global.alertMoreThenOne ||
           global.alertAllOccupied;
}

// A search on its own thread in the computer's namespace, for tests that interrupt it.
class BackgroundSearch
{
public:
    BackgroundSearch(StudioUnits& studio, Computer& computer)
        : thread(
              [&studio, &computer, this]
              {
                  morvane::test::ScopedNamespace in(studio.net.hostNamespace());
                  entered = in.ok();
                  if (entered)
                      runDeviceSearch(&computer.settings, &computer.tcp, &computer.broadcast,
                                      &computer.global);
                  done = true;
              })
    {
    }
    ~BackgroundSearch() { join(); }
    void join()
    {
        if (thread.joinable())
            thread.join();
    }
    std::atomic<bool> entered{false}, done{false};

private:
    std::thread thread;
};

long long msSince(std::chrono::steady_clock::time_point start)
{
    return std::chrono::duration_cast<std::chrono::milliseconds>(std::chrono::steady_clock::now() - start)
        .count();
}

class DeviceFinderStudio : public ::testing::Test
{
protected:
    void SetUp() override { TestEnvironment::newHome(); }
};
} // namespace

TEST_F(DeviceFinderStudio, FirstStartWithOneUnitFindsItByBroadcastAndRemembersIt)
{
    REQUIRE_STUDIO();
    StudioUnits studio(1);
    ASSERT_TRUE(studio.ok()) << studio.net.error();
    ASSERT_NE(studio.start(1, "MORVAN0001"), nullptr);
    Computer computer;

    search(studio, computer);

    const auto& global = computer.global;
    EXPECT_TRUE(global.connected);
    EXPECT_TRUE(global.checkMac);
    EXPECT_FALSE(global.deviceFinderBusy);
    EXPECT_EQ(global.deviceFinderRunning, 0);
    EXPECT_FALSE(anyAlert(global));
    EXPECT_EQ(global.deviceIp.get(), studio.net.unitAddress(1));
    EXPECT_EQ(computer.tcp.getIp(), studio.net.unitAddress(1));
    EXPECT_EQ(global.deviceSerial.get(), "MORVAN0001");
    EXPECT_EQ(global.devicePort, 7001);
    EXPECT_EQ(computer.broadcast.count, 1);

    const auto log = computer.log();
    EXPECT_EQ(countLines(log, "-4:::CheckAndLoad Result:::DeviceFinder.cpp:::"), 1) << log;
    EXPECT_EQ(countLines(log, "35::: Mit Broadcast Device gefunden :::"), 1) << log;
    EXPECT_EQ(countLines(log, "1:::Start Broadcast To All Interfaces:::"), 1) << log;

    EXPECT_EQ(readFile(computer.instanceFolder() + "/IP.txt"), studio.net.unitAddress(1));
    EXPECT_EQ(readFile(computer.instanceFolder() + "/GuiSettings.txt"), defaultsWithSerial("MORVAN0001"));
}

TEST_F(DeviceFinderStudio, TheStoredAddressIsTriedFirstAndNeedsNoBroadcast)
{
    REQUIRE_STUDIO();
    StudioUnits studio(2);
    ASSERT_TRUE(studio.ok()) << studio.net.error();
    ASSERT_NE(studio.start(1, "MORVAN0001"), nullptr);
    ASSERT_NE(studio.start(2, "MORVAN0002"), nullptr);
    Computer computer;
    computer.storeAddress(studio.net.unitAddress(2));
    computer.global.deviceSerial = "MORVAN0002";

    search(studio, computer);

    EXPECT_TRUE(computer.global.connected);
    EXPECT_TRUE(computer.global.deviceCheckIdle);
    EXPECT_EQ(computer.global.deviceIp.get(), studio.net.unitAddress(2));
    const auto log = computer.log();
    EXPECT_EQ(countLines(log, "1:::CheckAndLoad Result:::"), 1) << log;
    EXPECT_EQ(countLines(log, "35:::Device gefunden :::"), 1) << log;
    EXPECT_EQ(log.find("Start Broadcast"), std::string::npos) << "no broadcast when the stored unit answers";
}

TEST_F(DeviceFinderStudio, FirstStartWithTwoUnitsTakesTheFirstThatAnswersWithoutAsking)
{
    REQUIRE_STUDIO();
    StudioUnits studio(2);
    ASSERT_TRUE(studio.ok()) << studio.net.error();
    ASSERT_NE(studio.start(1, "MORVAN0001"), nullptr);
    ASSERT_NE(studio.start(2, "MORVAN0002"), nullptr);
    Computer computer;

    search(studio, computer);

    ASSERT_EQ(computer.broadcast.count, 2);
    const std::string first = computer.broadcast.ips.get(1);
    EXPECT_TRUE(computer.global.connected);
    EXPECT_FALSE(anyAlert(computer.global));
    EXPECT_EQ(computer.global.deviceIp.get(), first);
    const std::string serial = first == studio.net.unitAddress(1) ? "MORVAN0001" : "MORVAN0002";
    EXPECT_EQ(computer.global.deviceSerial.get(), serial);
    EXPECT_EQ(readFile(computer.instanceFolder() + "/IP.txt"), first);
    EXPECT_EQ(readFile(computer.instanceFolder() + "/GuiSettings.txt"), defaultsWithSerial(serial));
}

TEST_F(DeviceFinderStudio, AUnitThatMovedIsTriedThreeTimesThenFoundByBroadcast)
{
    REQUIRE_STUDIO();
    StudioUnits studio(1);
    ASSERT_TRUE(studio.ok()) << studio.net.error();
    ASSERT_NE(studio.start(1, "MORVAN0001"), nullptr);
    Computer computer;
    computer.storeAddress("10.77.0.50"); // where the unit stood before
    computer.global.deviceSerial = "MORVAN0001";

    search(studio, computer);

    EXPECT_TRUE(computer.global.connected);
    EXPECT_FALSE(anyAlert(computer.global));
    EXPECT_EQ(computer.global.deviceIp.get(), studio.net.unitAddress(1));
    EXPECT_EQ(readFile(computer.instanceFolder() + "/IP.txt"), studio.net.unitAddress(1));
    const auto log = computer.log();
    EXPECT_EQ(countLines(log, "-2:::CheckAndLoad Result:::"), 1) << log;
    const int failedTests = countLines(log, "2:::Timeout or error():::") +
                            countLines(log, "1:::Error in connection:::") +
                            countLines(log, "3:::Error connecting:::");
    EXPECT_EQ(failedTests, 3) << log;
    EXPECT_LT(log.find("-2:::CheckAndLoad Result"), log.find("Start Broadcast"))
        << "the broadcast comes after";
}

TEST_F(DeviceFinderStudio, AStoredAddressNowHeldByAnotherUnitAsksWhetherToTakeIt)
{
    REQUIRE_STUDIO();
    StudioUnits studio(1);
    ASSERT_TRUE(studio.ok()) << studio.net.error();
    ASSERT_NE(studio.start(1, "MORVAN0002"), nullptr);
    Computer computer;
    computer.storeAddress(studio.net.unitAddress(1));
    computer.global.deviceSerial = "MORVAN0001";

    search(studio, computer);

    const auto& global = computer.global;
    EXPECT_TRUE(global.alertOneOther);
    EXPECT_FALSE(global.alertManyOthers || global.alertMoreThenOne);
    EXPECT_FALSE(global.connected);
    EXPECT_TRUE(global.deviceFinderBusy) << "the user's answer ends this search";
    EXPECT_EQ(global.deviceFinderRunning, 0) << "the thread itself has ended";
    EXPECT_EQ(global.deviceSerial.get(), "MORVAN0001") << "only the answer may change the serial";
    EXPECT_EQ(global.wrongSerialNames.get(0), "MORVAN0002");
    EXPECT_EQ(computer.broadcast.names.get(1), "MORVAN0002");
    EXPECT_EQ(computer.broadcast.lastIp.get(), studio.net.unitAddress(1));
    EXPECT_EQ(countLines(computer.log(), "-1:::CheckAndLoad Result:::"), 1) << computer.log();
}

TEST_F(DeviceFinderStudio, SeveralUnitsNoneWithTheStoredSerialOfferTheChoice)
{
    REQUIRE_STUDIO();
    StudioUnits studio(2);
    ASSERT_TRUE(studio.ok()) << studio.net.error();
    ASSERT_NE(studio.start(1, "MORVAN0002"), nullptr);
    ASSERT_NE(studio.start(2, "MORVAN0003"), nullptr);
    Computer computer;
    computer.global.deviceSerial = "MORVAN0001";

    search(studio, computer);

    const auto& global = computer.global;
    EXPECT_TRUE(global.alertManyOthers);
    EXPECT_FALSE(global.alertOneOther || global.alertMoreThenOne);
    EXPECT_FALSE(global.connected);
    EXPECT_TRUE(global.deviceFinderBusy);
    ASSERT_EQ(global.alertIpCount, 2);
    for (int i = 1; i <= 2; ++i)
    {
        const std::string name = computer.broadcast.names.get(i);
        EXPECT_EQ(global.knownNames.get(i), name);
        EXPECT_EQ(global.wrongSerialNames.get(i - 1), name);
        EXPECT_EQ(global.alertIps.get(i), computer.broadcast.ips.get(i));
    }
    EXPECT_EQ(global.deviceSerial.get(), "MORVAN0001");
}

TEST_F(DeviceFinderStudio, SeveralUnitsWithoutAUsablePageAndNoSerialOfferTheChoice)
{
    REQUIRE_STUDIO();
    StudioUnits studio(2);
    ASSERT_TRUE(studio.ok()) << studio.net.error();
    for (int k = 1; k <= 2; ++k)
    {
        auto* unit = studio.start(k, "MORVAN000" + std::to_string(k));
        ASSERT_NE(unit, nullptr);
        unit->setFault(morvane::sim::Fault::Product,
                       true); // answers the broadcast, its page is another product
    }
    Computer computer;

    search(studio, computer);

    EXPECT_TRUE(computer.global.alertMoreThenOne);
    EXPECT_FALSE(computer.global.connected);
    EXPECT_EQ(computer.global.alertIpCount, 2);
}

TEST_F(DeviceFinderStudio, AForeignDeviceWithoutTheCodeIsIgnored)
{
    REQUIRE_STUDIO();
    StudioUnits studio(2);
    ASSERT_TRUE(studio.ok()) << studio.net.error();
    auto* foreign = studio.start(1, "VLMEQ00007", "VELMORA EQ-2 00007");
    ASSERT_NE(foreign, nullptr);
    Computer computer;

    search(studio, computer);
    EXPECT_EQ(foreign->discoveryReplies(), 1u) << "it did answer";
    EXPECT_EQ(computer.broadcast.count, 0);
    EXPECT_FALSE(computer.global.connected);
    EXPECT_FALSE(computer.global.deviceFinderBusy) << "nothing found: the not-found page shows";
    EXPECT_FALSE(anyAlert(computer.global));

    ASSERT_NE(studio.start(2, "MORVAN0002"), nullptr);
    search(studio, computer);
    EXPECT_EQ(computer.broadcast.count, 1);
    EXPECT_TRUE(computer.global.connected);
    EXPECT_EQ(computer.global.deviceIp.get(), studio.net.unitAddress(2));
}

TEST_F(DeviceFinderStudio, OneUnitWithAShortPageEndsTheSearchWithoutAQuestion)
{
    REQUIRE_STUDIO();
    StudioUnits studio(1);
    ASSERT_TRUE(studio.ok()) << studio.net.error();
    auto* unit = studio.start(1, "MORVAN0001");
    ASSERT_NE(unit, nullptr);
    unit->setFault(morvane::sim::Fault::ShortDinfo, true);
    Computer computer;

    search(studio, computer);

    EXPECT_FALSE(computer.global.connected);
    EXPECT_FALSE(anyAlert(computer.global));
    EXPECT_FALSE(computer.global.deviceFinderBusy);
    EXPECT_EQ(computer.global.deviceFinderRunning, 0);
    EXPECT_NE(computer.log().find("101:::Error in CheckRightDevice, length is "), std::string::npos);
}

TEST_F(DeviceFinderStudio, QuittingDuringTheBroadcastEndsTheSearchPromptly)
{
    REQUIRE_STUDIO();
    StudioUnits studio(1);
    ASSERT_TRUE(studio.ok()) << studio.net.error();
    ASSERT_NE(studio.start(1, "MORVAN0001"), nullptr);
    Computer computer;
    computer.global.deviceFinderRunning = 1;
    BackgroundSearch running(studio, computer);
    std::this_thread::sleep_for(std::chrono::milliseconds(400)); // inside the first one-second wait

    const auto quitAt = std::chrono::steady_clock::now();
    computer.global.quitRequested = true;
    running.join();
    EXPECT_TRUE(running.entered);
    EXPECT_LT(msSince(quitAt), 500);
    EXPECT_FALSE(computer.global.connected);
    EXPECT_FALSE(computer.global.broadcastRunning);
    EXPECT_EQ(computer.global.deviceFinderRunning, 0);
}

TEST_F(DeviceFinderStudio, QuittingDuringTheConnectionTestsEndsTheSearchPromptly)
{
    REQUIRE_STUDIO();
    StudioUnits studio(1);
    ASSERT_TRUE(studio.ok()) << studio.net.error();
    ASSERT_NE(studio.start(1, "MORVAN0001"), nullptr);
    Computer computer;
    computer.storeAddress("10.77.0.50");
    computer.global.deviceFinderRunning = 1;
    BackgroundSearch running(studio, computer);
    std::this_thread::sleep_for(std::chrono::milliseconds(500));

    const auto quitAt = std::chrono::steady_clock::now();
    computer.global.quitRequested = true;
    running.join();
    // One connection test of at most a second may be under way.
    EXPECT_LT(msSince(quitAt), 1300);
    EXPECT_EQ(computer.log().find("Start Broadcast"), std::string::npos);
    EXPECT_FALSE(computer.global.connected);
    EXPECT_EQ(computer.global.deviceFinderRunning, 0);
}
