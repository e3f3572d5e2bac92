// Searches over real broadcasts in a studio network of simulated units: the finder runs on a
// thread inside the computer's namespace, exactly as the processor's finder thread does.
#include "DeviceFinder.h"
#include "StudioUnits.h"

#include <chrono>
#include <thread>

using TestEnvironment::readFile;

namespace
{
std::string defaultsWithSerial(const std::string& serial)
{
    return "Size = 0.1;\nKnob Resolution = 0;\nSerial = " + serial +
           ";\nFPS = 30;\nZeroPreset = 1;\nMonoMode = 0;\n";
}

bool anyAlert(const GlobalData& global)
{
    return global.alertOneOther || global.alertManyOthers || global.alertMoreThenOne ||
           global.alertAllOccupied;
}

class DeviceFinderStudio : public StudioTest
{
protected:
    void search()
    {
        computer.global.deviceFinderRunning = 1;
        ASSERT_TRUE(studio->onComputer([this] { runSearch(); }));
    }
    void runSearch()
    {
        runDeviceSearch(&computer.settings, &computer.tcp, &computer.broadcast, &computer.global);
    }
    void expectConnectedTo(int k, const std::string& serial)
    {
        EXPECT_TRUE(computer.global.connected);
        EXPECT_FALSE(anyAlert(computer.global));
        EXPECT_EQ(computer.global.deviceIp.get(), address(k));
        EXPECT_EQ(computer.global.deviceSerial.get(), serial);
        EXPECT_EQ(readFile(computer.instanceFolder() + "/IP.txt"), address(k));
    }
    // Quits a search on its own thread after `afterMs`; returns how long the rest took.
    std::chrono::milliseconds quitSearchAfter(int afterMs)
    {
        computer.global.deviceFinderRunning = 1;
        std::atomic<bool> entered{false};
        std::thread running(
            [this, &entered]
            {
                morvane::test::ScopedNamespace in(studio->net.hostNamespace());
                entered = in.ok();
                if (entered)
                    runSearch();
            });
        std::this_thread::sleep_for(std::chrono::milliseconds(afterMs));
        const auto quitAt = std::chrono::steady_clock::now();
        computer.global.quitRequested = true;
        running.join();
        EXPECT_TRUE(entered);
        EXPECT_FALSE(computer.global.connected);
        EXPECT_EQ(computer.global.deviceFinderRunning, 0);
        return std::chrono::duration_cast<std::chrono::milliseconds>(std::chrono::steady_clock::now() -
                                                                     quitAt);
    }
};
} // namespace

TEST_F(DeviceFinderStudio, FirstStartWithOneUnitFindsItByBroadcastAndRemembersIt)
{
    REQUIRE_STUDIO();
    ASSERT_TRUE(startStudio({"MORVAN0001"}));
    search();

    expectConnectedTo(1, "MORVAN0001");
    const auto& global = computer.global;
    EXPECT_TRUE(global.checkMac);
    EXPECT_FALSE(global.deviceFinderBusy);
    EXPECT_EQ(global.deviceFinderRunning, 0);
    EXPECT_EQ(computer.tcp.getIp(), address(1));
    EXPECT_EQ(global.devicePort, 7001);
    EXPECT_EQ(computer.broadcast.count, 1);

    const auto log = computer.log();
    EXPECT_EQ(countLines(log, "-4:::CheckAndLoad Result:::DeviceFinder.cpp:::"), 1) << log;
    EXPECT_EQ(countLines(log, "35::: Mit Broadcast Device gefunden :::"), 1) << log;
    EXPECT_EQ(countLines(log, "1:::Start Broadcast To All Interfaces:::"), 1) << log;
    EXPECT_EQ(readFile(computer.instanceFolder() + "/GuiSettings.txt"), defaultsWithSerial("MORVAN0001"));
}

TEST_F(DeviceFinderStudio, TheStoredAddressIsTriedFirstAndNeedsNoBroadcast)
{
    REQUIRE_STUDIO();
    ASSERT_TRUE(startStudio({"MORVAN0001", "MORVAN0002"}));
    computer.storeAddress(address(2));
    computer.global.deviceSerial = "MORVAN0002";
    search();

    expectConnectedTo(2, "MORVAN0002");
    EXPECT_TRUE(computer.global.deviceCheckIdle);
    const auto log = computer.log();
    EXPECT_EQ(countLines(log, "1:::CheckAndLoad Result:::"), 1) << log;
    EXPECT_EQ(countLines(log, "35:::Device gefunden :::"), 1) << log;
    EXPECT_EQ(log.find("Start Broadcast"), std::string::npos) << "no broadcast when the stored unit answers";
}

TEST_F(DeviceFinderStudio, FirstStartWithTwoUnitsTakesTheFirstThatAnswersWithoutAsking)
{
    REQUIRE_STUDIO();
    ASSERT_TRUE(startStudio({"MORVAN0001", "MORVAN0002"}));
    search();

    ASSERT_EQ(computer.broadcast.count, 2);
    const int first = computer.broadcast.ips.get(1) == address(1) ? 1 : 2;
    const std::string serial = first == 1 ? "MORVAN0001" : "MORVAN0002";
    expectConnectedTo(first, serial);
    EXPECT_EQ(readFile(computer.instanceFolder() + "/GuiSettings.txt"), defaultsWithSerial(serial));
}

TEST_F(DeviceFinderStudio, AUnitThatMovedIsTriedThreeTimesThenFoundByBroadcast)
{
    REQUIRE_STUDIO();
    ASSERT_TRUE(startStudio({"MORVAN0001"}));
    computer.storeAddress("10.77.0.50"); // where the unit stood before
    computer.global.deviceSerial = "MORVAN0001";
    search();

    expectConnectedTo(1, "MORVAN0001");
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
    ASSERT_TRUE(startStudio({"MORVAN0002"}));
    computer.storeAddress(address(1));
    computer.global.deviceSerial = "MORVAN0001";
    search();

    const auto& global = computer.global;
    EXPECT_TRUE(global.alertOneOther);
    EXPECT_FALSE(global.alertManyOthers || global.alertMoreThenOne);
    EXPECT_FALSE(global.connected);
    EXPECT_TRUE(global.deviceFinderBusy) << "the user's answer ends this search";
    EXPECT_EQ(global.deviceFinderRunning, 0) << "the thread itself has ended";
    EXPECT_EQ(global.deviceSerial.get(), "MORVAN0001") << "only the answer may change the serial";
    EXPECT_EQ(global.wrongSerialNames.get(0), "MORVAN0002");
    EXPECT_EQ(computer.broadcast.names.get(1), "MORVAN0002");
    EXPECT_EQ(computer.broadcast.lastIp.get(), address(1));
    EXPECT_EQ(countLines(computer.log(), "-1:::CheckAndLoad Result:::"), 1) << computer.log();
}

TEST_F(DeviceFinderStudio, SeveralUnitsNoneWithTheStoredSerialOfferTheChoice)
{
    REQUIRE_STUDIO();
    ASSERT_TRUE(startStudio({"MORVAN0002", "MORVAN0003"}));
    computer.global.deviceSerial = "MORVAN0001";
    search();

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
    ASSERT_TRUE(startStudio({"MORVAN0001", "MORVAN0002"}));
    for (int k = 1; k <= 2; ++k)
        unit(k).setFault(morvane::sim::Fault::Product,
                         true); // answers the broadcast, its page is another product
    search();

    EXPECT_TRUE(computer.global.alertMoreThenOne);
    EXPECT_FALSE(computer.global.connected);
    EXPECT_EQ(computer.global.alertIpCount, 2);
}

TEST_F(DeviceFinderStudio, AForeignDeviceWithoutTheCodeIsIgnored)
{
    REQUIRE_STUDIO();
    ASSERT_TRUE(startStudio({}, 2));
    auto* foreign = studio->start(1, "VLMEQ00007", "VELMORA EQ-2 00007");
    ASSERT_NE(foreign, nullptr);
    search();
    EXPECT_EQ(foreign->discoveryReplies(), 1u) << "it did answer";
    EXPECT_EQ(computer.broadcast.count, 0);
    EXPECT_FALSE(computer.global.connected);
    EXPECT_FALSE(computer.global.deviceFinderBusy) << "nothing found: the not-found page shows";
    EXPECT_FALSE(anyAlert(computer.global));

    ASSERT_NE(studio->start(2, "MORVAN0002"), nullptr);
    search();
    EXPECT_EQ(computer.broadcast.count, 1);
    expectConnectedTo(2, "MORVAN0002");
}

TEST_F(DeviceFinderStudio, OneUnitWithAShortPageEndsTheSearchWithoutAQuestion)
{
    REQUIRE_STUDIO();
    ASSERT_TRUE(startStudio({"MORVAN0001"}));
    unit(1).setFault(morvane::sim::Fault::ShortDinfo, true);
    search();

    EXPECT_FALSE(computer.global.connected);
    EXPECT_FALSE(anyAlert(computer.global));
    EXPECT_FALSE(computer.global.deviceFinderBusy);
    EXPECT_EQ(computer.global.deviceFinderRunning, 0);
    EXPECT_NE(computer.log().find("101:::Error in CheckRightDevice, length is "), std::string::npos);
}

TEST_F(DeviceFinderStudio, QuittingDuringTheBroadcastEndsTheSearchPromptly)
{
    REQUIRE_STUDIO();
    ASSERT_TRUE(startStudio({"MORVAN0001"}));
    // Inside the first one-second wait.
    EXPECT_LT(quitSearchAfter(400), std::chrono::milliseconds(500));
    EXPECT_FALSE(computer.global.broadcastRunning);
}

TEST_F(DeviceFinderStudio, QuittingDuringTheConnectionTestsEndsTheSearchPromptly)
{
    REQUIRE_STUDIO();
    ASSERT_TRUE(startStudio({"MORVAN0001"}));
    computer.storeAddress("10.77.0.50");
    // One connection test of at most a second may be under way.
    EXPECT_LT(quitSearchAfter(500), std::chrono::milliseconds(1300));
    EXPECT_EQ(computer.log().find("Start Broadcast"), std::string::npos);
}
