// The whole instance on the computer of a studio network.
#include "DeviceFinder/DeviceFinder.h"
#include "EditorSearch.h"
#include "PluginEditor.h"
#include "PluginProcessor.h"
#include "Studio.h"

#include <cmath>
#include <thread>

using ProcessorDiscovery = StudioCase;

// A first start writes nothing until the unit is found; then both files stand in folder 1.
TEST_F(ProcessorDiscovery, WithNoStoredAddressTheMasterFindsItsUnitAndRunsByItself)
{
    startUnits(1);
    ASSERT_EQ(unit(1).command("set 3 768").rfind("ok", 0), 0u);
    auto processor = std::make_unique<MorvaneProcessor>();
    auto* global = processor->getGlobalData();
    ASSERT_TRUE(global->isMaster);
    // The search needs at least a second per interface before it can write anything.
    EXPECT_EQ(Studio::file(1, "IP.txt") + Studio::file(1, "GuiSettings.txt"), "");
    EXPECT_TRUE(juce::File(Studio::folder(1)).isDirectory()) << "the folders are made at once";

    ASSERT_TRUE(TestEnvironment::pumpUntil([&] { return global->connected.load() && processor->isRunning(); },
                                           20000));
    EXPECT_EQ(global->deviceFinderBusy.load(), false);
    EXPECT_EQ(global->deviceIp.get(), Studio::address(1));
    EXPECT_EQ(global->devicePort.load(), 7001);
    EXPECT_EQ(Studio::file(1, "GuiSettings.txt"), defaultGuiSettings(Studio::serial(1)));
    EXPECT_FALSE(juce::File(Studio::folder(2)).exists());
    // First status: the knobs take the unit's values.
    EXPECT_TRUE(TestEnvironment::pumpUntil(
        [&] { return std::fabs(processor->getParameter(3) - 768.0f / 1023.0f) < 0.011f; }, 5000))
        << processor->getParameter(3);
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
    global->deviceFinderRunning = 1;
    global->deviceFinderBusy = true;
    std::thread search([&] { delegatorFindDeviceFromEditor(processor.get()); });
    const bool ended = TestEnvironment::pumpUntil([&] { return !global->deviceFinderBusy.load(); }, 15000);
    search.join();
    ASSERT_TRUE(ended);
    EXPECT_EQ(global->connected.load(), true);
    EXPECT_EQ(global->deviceFinderRunning.load(), 0);
    EXPECT_EQ(global->deviceIp.get(), Studio::address(1));
    EXPECT_EQ(countLines(Studio::log(), "0:::Find device from Editor started:::"), 1);
    EXPECT_TRUE(TestEnvironment::pumpUntil([&] { return processor->isRunning(); }, 10000));
    editor.reset();
}

TEST_F(ProcessorDiscovery, AnInstanceWaitingForTheUsersAnswerClosesAtOnce)
{
    startUnits(1);
    TestEnvironment::writeFile(SettingsPaths::makeFolders("Morvane/1") + "/GuiSettings.txt",
                               defaultGuiSettings(Studio::serial(2)));
    auto processor = std::make_unique<MorvaneProcessor>();
    auto* global = processor->getGlobalData();
    EXPECT_EQ(global->deviceSerial.get(), Studio::serial(2));
    ASSERT_TRUE(TestEnvironment::pumpUntil([&] { return global->alertOneOther.load(); }, 15000));
    TestEnvironment::pump(200);
    // The question is open.
    EXPECT_EQ(global->deviceFinderBusy.load(), true);
    EXPECT_EQ(global->deviceFinderRunning.load(), 0);
    EXPECT_EQ(global->connected.load(), false);

    const auto start = std::chrono::steady_clock::now();
    processor.reset();
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(3));
    EXPECT_NE(Studio::file(1, "GuiSettings.txt").find("Serial = " + Studio::serial(2) + ";"),
              std::string::npos)
        << "an unanswered question changes no setting";
}
