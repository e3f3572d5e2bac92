// Processor and simulated unit over real sockets: both stay in step, and nothing echoes.
#include "MyImageButton.h"
#include "SyncRig.h"

#include <gtest/gtest.h>

#include <chrono>

#include <algorithm>

namespace
{
bool holds(const std::string& line, const std::string& part)
{
    return line.find(part) != std::string::npos;
}

float knob(SyncRig& rig, int index)
{
    return (float)rig.processor->getKnob(index)->getValue();
}

class Sync : public ::testing::Test
{
protected:
    // Running, settled, and with nothing recorded yet.
    bool running()
    {
        if (!rig.connect())
            return false;
        rig.runCycles(4);
        rig.clearRequests();
        rig.clearHostHeard();
        return true;
    }
    // Waits for the n-th knob request and checks that it holds part.
    void expectRequest(std::size_t n, const std::string& part)
    {
        ASSERT_TRUE(rig.waitForRequests(n));
        const auto line = rig.knobRequests()[n - 1];
        EXPECT_TRUE(holds(line, part)) << line;
    }

    SyncRig rig;
};
} // namespace

TEST_F(Sync, FirstStatusTakesEveryKnobFromTheUnit)
{
    rig.unit->command("set 3 1023");
    rig.unit->command("set 8 150");
    rig.unit->command("mode 4");
    ASSERT_TRUE(rig.connect());
    EXPECT_NEAR(knob(rig, 0), 512.0f / 1023.0f, 0.006f);
    EXPECT_NEAR(knob(rig, 3), 1.0f, 1e-6f);
    EXPECT_NEAR(knob(rig, 4), 0.25f, 0.006f);
    EXPECT_EQ(knob(rig, 2), 4.0f);
    EXPECT_NEAR(rig.processor->getParameter(3), 1.0f, 1e-6f);
    // Taken from the unit, so nothing of it goes back.
    rig.runCycles(10);
    for (const auto& line : rig.knobRequests())
    {
        EXPECT_FALSE(holds(line, "/knob?3/")) << line;
        EXPECT_FALSE(holds(line, "/knob?2/")) << line;
    }
}

TEST_F(Sync, HostChangeReachesTheUnitAsOneRequest)
{
    ASSERT_TRUE(running());

    rig.processor->setParameter(3, 0.5f);
    ASSERT_TRUE(rig.waitForRequests(1));
    rig.runCycles(4);
    const auto requests = rig.knobRequests();
    ASSERT_EQ(requests.size(), 1u);
    EXPECT_TRUE(holds(requests[0], "/knob?3/511.5 ")) << requests[0];
    EXPECT_TRUE(TestEnvironment::pumpUntil([&] { return rig.unit->row(3).value == 512; }, 2000));
    EXPECT_NEAR(knob(rig, 3), 0.5f, 1e-6f);
}

TEST_F(Sync, TwoKnobsInOneCycleGoInOneUrl)
{
    ASSERT_TRUE(running());

    rig.processor->setParameter(3, 0.5f);
    rig.processor->setParameter(4, 0.25f);
    ASSERT_TRUE(rig.waitForRequests(1));
    rig.runCycles(3);
    const auto requests = rig.knobRequests();
    ASSERT_EQ(requests.size(), 1u);
    EXPECT_TRUE(holds(requests[0], "/knob?3/511.5/8/150 ")) << requests[0];
}

TEST_F(Sync, ARestoredSessionGoesOutWholeAndValuesComeBackUnchanged)
{
    rig.unit->command("set 3 191");
    rig.unit->command("set 18 190");
    rig.unit->command("set 12 91");
    ASSERT_TRUE(rig.connect());
    rig.runCycles(4);

    juce::MemoryBlock state;
    rig.processor->getStateInformation(state);
    rig.clearRequests();
    rig.processor->setStateInformation(state.getData(), (int)state.getSize());
    ASSERT_TRUE(rig.waitForRequests(1));
    rig.runCycles(3);
    const auto requests = rig.knobRequests();
    ASSERT_GE(requests.size(), 1u);
    const auto& push = requests[0];
    // Knob 0 first, as a decimal without float noise; then knobs 1 to 16 as integers.
    EXPECT_TRUE(holds(push, "/knob?2/512/0/30/10/0/3/191/8/300/1/300/11/80/12/91/")) << push;
    EXPECT_TRUE(holds(push, "/18/190/")) << push;
    const auto path = push.substr(0, push.find(" HTTP/"));
    EXPECT_EQ(std::count(path.begin(), path.end(), '/'), 34) << push;
}

TEST_F(Sync, ATurnOnThePanelMovesKnobAndHostAndSendsNothingBack)
{
    ASSERT_TRUE(running());

    rig.unit->command("turn 3 800 400");
    ASSERT_TRUE(TestEnvironment::pumpUntil([&] { return rig.global->deviceHeld[3].load(); }, 3000));
    ASSERT_TRUE(TestEnvironment::pumpUntil([&] { return rig.unit->row(3).value == 800; }, 3000));
    rig.unit->command("release 3");
    rig.runCycles(6);
    EXPECT_FALSE(rig.global->deviceHeld[3]);
    EXPECT_NEAR(knob(rig, 3), 800.0f / 1023.0f, 0.006f);
    const auto heard = rig.hostHeard(3);
    ASSERT_FALSE(heard.empty());
    EXPECT_NEAR(heard.back(), 800.0f / 1023.0f, 0.001f);
    EXPECT_TRUE(rig.knobRequests().empty());
    EXPECT_EQ(rig.unit->row(3).value, 800);
}

TEST_F(Sync, AKnobTheUnitHoldsIsPutBack)
{
    ASSERT_TRUE(rig.connect());
    rig.unit->command("touch 8");
    ASSERT_TRUE(TestEnvironment::pumpUntil([&] { return rig.global->deviceHeld[4].load(); }, 3000));
    rig.clearRequests();
    rig.processor->getKnob(4)->setValue(0.9);
    rig.runCycles(4);
    EXPECT_NEAR(knob(rig, 4), 300.0f / 600.0f, 0.006f);
    for (const auto& line : rig.knobRequests())
        EXPECT_FALSE(holds(line, "/knob?8/")) << line;
    rig.unit->command("release 8");
}

TEST_F(Sync, LampClickGoesOnceAndHoldsForFiveCycles)
{
    ASSERT_TRUE(running());
    // The unit refuses the change while its own lamp button is held, so it keeps reporting 0.
    rig.unit->command("touch 14");
    auto* lamp = rig.processor->getLampTop();
    lamp->imageButtonState = 1;
    rig.global->lampValue = 1;
    rig.global->lampChanged = true;
    expectRequest(1, "/knob?14/1 ");

    // A second click inside the hold is dropped.
    rig.global->lampChanged = true;
    rig.runCycles(2);
    EXPECT_EQ(lamp->imageButtonState, 1);
    rig.runCycles(2);
    EXPECT_EQ(rig.knobRequests().size(), 1u);
    // After the hold the lamp follows the unit's own changes again.
    rig.unit->command("release 14");
    rig.runCycles(6);
    rig.unit->command("set 14 1");
    rig.runCycles(3);
    rig.unit->command("set 14 0");
    EXPECT_TRUE(TestEnvironment::pumpUntil([&] { return lamp->imageButtonState.load() == 0; }, 3000));
}

TEST_F(Sync, HighGainGoesOutAndTheHostHearsTheInputsLater)
{
    ASSERT_TRUE(running());
    const auto raised = std::chrono::steady_clock::now();
    rig.global->highGainValue = true;
    rig.global->highGainRequest = true;
    expectRequest(1, "/knob?22/1 ");
    ASSERT_TRUE(TestEnvironment::pumpUntil([&] { return !rig.hostHeard(9).empty(); }, 3000));
    // Four cycles of at least a tick each lie between the toggle and the host's news; a slow
    // machine only makes that longer.
    EXPECT_GE(std::chrono::steady_clock::now() - raised, std::chrono::milliseconds(120));
    EXPECT_FALSE(rig.hostHeard(0).empty());
    EXPECT_NEAR(rig.hostHeard(0).back(), 512.0f / 1023.0f, 0.001f);
}

TEST_F(Sync, ModeGoesOutWithTheChannelMode)
{
    ASSERT_TRUE(running());

    rig.processor->getKnob(2)->setValue(3.0);
    expectRequest(1, "/knob?10/3 ");

    rig.global->dualMono = true;
    rig.global->dualMonoEntered = true;
    expectRequest(2, "/knob?10/15 ");
    EXPECT_TRUE(TestEnvironment::pumpUntil([&] { return rig.unit->row(10).value == 15; }, 2000));
}

TEST_F(Sync, TheProcessorFollowsTheUnitIntoDualMonoAndBack)
{
    ASSERT_TRUE(rig.connect());
    rig.runCycles(4);
    rig.unit->command("dual on");
    rig.unit->command("touch 10");
    ASSERT_TRUE(TestEnvironment::pumpUntil([&] { return rig.global->dualMono.load(); }, 3000));
    rig.unit->command("release 10");
    rig.runCycles(4);
    rig.clearRequests();
    // A later mode move keeps the unit in dual mono.
    rig.processor->getKnob(2)->setValue(5.0);
    expectRequest(1, "/knob?10/17 ");

    rig.unit->command("dual off");
    rig.unit->command("touch 10");
    EXPECT_TRUE(TestEnvironment::pumpUntil([&] { return !rig.global->dualMono.load(); }, 3000));
    rig.unit->command("release 10");
}

TEST_F(Sync, AutoGainGoesOutAsTheRowsSwitchAndStays)
{
    ASSERT_TRUE(running());
    rig.global->autoGainValue = true;
    rig.global->autoGainRequest = true;
    expectRequest(1, "/knob?5/255 ");
    rig.runCycles(6);
    EXPECT_EQ(rig.knobRequests().size(), 1u);
    EXPECT_EQ(rig.unit->row(5).value, 255);
}

TEST_F(Sync, AChangeOfAddressSyncsFromTheNewUnit)
{
    ASSERT_TRUE(rig.connect());
    morvane::sim::UnitConfig other;
    other.address = "127.0.0.3";
    other.statusPort = 7102;
    other.serial = "MORVAN0002";
    morvane::sim::Unit second(other);
    ASSERT_TRUE(second.start());
    second.command("set 3 0");

    rig.global->SetIp("127.0.0.3");
    rig.global->ipChanged = true;
    ASSERT_TRUE(TestEnvironment::pumpUntil([&] { return rig.global->devicePort.load() == 7102; }, 5000));
    EXPECT_EQ(rig.global->deviceSerial.get(), "MORVAN0002");
    EXPECT_TRUE(TestEnvironment::pumpUntil([&] { return knob(rig, 3) == 0.0f; }, 5000));
    second.stop();
}

TEST_F(Sync, ASilentUnitStaysConnectedAndAVanishedOneIsLost)
{
    ASSERT_TRUE(rig.connect());
    rig.unit->command("fault silent on");
    // Eleven misses of two seconds, then a connection test that passes.
    TestEnvironment::pump(24000);
    EXPECT_TRUE(rig.global->connected);
    rig.unit->command("vanish");
    EXPECT_TRUE(TestEnvironment::pumpUntil([&] { return !rig.global->connected.load(); }, 26000));
    rig.unit->command("return");
}
