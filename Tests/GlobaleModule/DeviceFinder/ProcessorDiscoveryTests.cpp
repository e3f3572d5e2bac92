// The whole instance on the computer of a studio network.
#include "DeviceFinder.h"
#include "PluginEditor.h"
#include "PluginProcessor.h"
#include "Studio.h"

#include <cmath>
#include <thread>

using ProcessorDiscovery = ComputerCase;

// A first start also writes nothing until the unit is found; then both files stand in folder 1.
TEST_F(ProcessorDiscovery, WithNoStoredAddressTheMasterFindsItsUnitAndRunsByItself)
{
    startUnits(1);
    ASSERT_EQ(unit(1).command("set 3 768").rfind("ok", 0), 0u);
    ASSERT_EQ(unit(1).command("set 0 250").rfind("ok", 0), 0u);

    auto processor = std::make_unique<MorvaneProcessor>();
    auto* global = processor->getGlobalData();
    ASSERT_TRUE(global->isMaster);
    const std::string folder = computer.instanceFolder();
    // The search needs at least a second per interface before it can write anything.
    EXPECT_FALSE(juce::File(folder + "/IP.txt").exists());
    EXPECT_FALSE(juce::File(folder + "/GuiSettings.txt").exists());
    EXPECT_TRUE(juce::File(folder).isDirectory()) << "the folders are made at once";

    const bool running =
        TestEnvironment::pumpUntil([&] { return global->connected.load() && processor->isRunning(); }, 20000);
    ASSERT_TRUE(running) << "connected " << global->connected << ", busy " << global->deviceFinderBusy;
    EXPECT_FALSE(global->deviceFinderBusy);
    EXPECT_EQ(global->deviceIp.get(), Studio::address(1));
    EXPECT_EQ(global->deviceSerial.get(), Studio::serial(1));
    EXPECT_EQ(global->devicePort, 7001);
    EXPECT_EQ(computer.file("IP.txt"), Studio::address(1));
    EXPECT_EQ(computer.file("GuiSettings.txt"), defaultGuiSettings(Studio::serial(1)));
    EXPECT_FALSE(juce::File(computer.instanceFolder(2)).exists());

    // First status: the knobs take the unit's values.
    ASSERT_TRUE(TestEnvironment::pumpUntil(
        [&] { return std::fabs(processor->getParameter(3) - 768.0f / 1023.0f) < 0.011f; }, 5000))
        << processor->getParameter(3);
    const auto attack = unit(1).row(0);
    EXPECT_NEAR(processor->getParameter(1), float(attack.value - attack.min) / float(attack.max - attack.min),
                0.011f);

    processor.reset();
}

TEST_F(ProcessorDiscovery, ASearchFromTheEditorEndsLikeTheLoopsOwn)
{

    auto processor = std::make_unique<MorvaneProcessor>();
    auto* global = processor->getGlobalData();
    // Nobody on the network yet: the loop's search ends and the not-found page would show.
    ASSERT_TRUE(TestEnvironment::pumpUntil(
        [&] { return !global->deviceFinderBusy.load() && global->deviceFinderRunning.load() == 0; }, 15000));
    EXPECT_FALSE(global->connected);

    startUnits(1);
    std::unique_ptr<juce::AudioProcessorEditor> editor(processor->createEditor());
    // What the OK button does with all four fields empty on the master.
    global->connected = false;
    global->deviceFinderBusy = true;
    global->deviceFinderRunning = 1;
    std::thread search([&] { delegatorFindDeviceFromEditor(static_cast<MorvaneEditor*>(editor.get())); });
    const bool ended = TestEnvironment::pumpUntil([&] { return !global->deviceFinderBusy.load(); }, 15000);
    search.join();
    ASSERT_TRUE(ended);
    EXPECT_TRUE(global->connected);
    EXPECT_EQ(global->deviceFinderRunning, 0);
    EXPECT_EQ(global->deviceIp.get(), Studio::address(1));
    const auto log = computer.log();
    EXPECT_EQ(countLines(log, "0:::Find device from Editor started:::DeviceFinder.cpp:::"), 1) << log;
    EXPECT_TRUE(TestEnvironment::pumpUntil([&] { return processor->isRunning(); }, 10000));

    editor.reset();
    processor.reset();
}

TEST_F(ProcessorDiscovery, AnInstanceWaitingForTheUsersAnswerClosesAtOnce)
{
    startUnits(1);
    computer.global.deviceSerial = Studio::serial(2);
    computer.global.safeGuiSettings();

    auto processor = std::make_unique<MorvaneProcessor>();
    auto* global = processor->getGlobalData();
    EXPECT_EQ(global->deviceSerial.get(), Studio::serial(2));
    ASSERT_TRUE(TestEnvironment::pumpUntil([&] { return global->alertOneOther.load(); }, 15000));
    TestEnvironment::pump(200);
    EXPECT_TRUE(global->deviceFinderBusy) << "the question is open";
    EXPECT_EQ(global->deviceFinderRunning, 0);
    EXPECT_FALSE(global->connected);

    const auto start = std::chrono::steady_clock::now();
    processor.reset();
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(3));
    EXPECT_NE(computer.file("GuiSettings.txt").find("Serial = " + Studio::serial(2) + ";"), std::string::npos)
        << "an unanswered question changes no setting";
}
