// Processor and simulated unit over real sockets: both stay in step, and nothing echoes.
#include "Components/MyImageButton.h"
#include "SyncRig.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <cmath>

namespace
{
bool holds(const std::string& line, const std::string& part)
{
    return line.find(part) != std::string::npos;
}

class Sync : public ::testing::Test
{
protected:
    float knob(int index) { return (float)rig.processor->getKnob(index)->getValue(); }
    bool until(const std::function<bool()>& done) { return TestEnvironment::pumpUntil(done, 3000); }
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
    // Waits for the next knob request and checks that it holds part; with settleCycles, also
    // that no other request follows within them.
    void expectSent(const std::string& part, int settleCycles = 0)
    {
        ASSERT_TRUE(rig.waitForRequests(1)) << part;
        rig.runCycles(settleCycles);
        const auto requests = rig.knobRequests();
        EXPECT_TRUE(settleCycles == 0 || requests.size() == 1) << requests.size() << " requests for " << part;
        EXPECT_TRUE(holds(requests[0], part)) << requests[0];
        rig.clearRequests();
    }
    void expectNoRequestFor(const std::string& part)
    {
        for (const auto& line : rig.knobRequests())
            EXPECT_FALSE(holds(line, part)) << line;
    }

    SyncRig rig;
};
} // namespace

TEST_F(Sync, TheUnitLeadsFromTheFirstStatusOnAndNothingEchoes)
{
    for (const char* command : {"set 2 191", "set 3 1023", "set 8 150", "set 12 91", "set 18 190", "mode 4"})
        rig.unit->command(command);
    ASSERT_TRUE(rig.connect());
    EXPECT_NEAR(knob(0), 191.0f / 1023.0f, 0.006f);
    EXPECT_NEAR(knob(3), 1.0f, 1e-6f);
    EXPECT_NEAR(knob(4), 0.25f, 0.006f);
    EXPECT_EQ(knob(2), 4.0f);
    EXPECT_NEAR(rig.processor->getParameter(3), 1.0f, 1e-6f);
    rig.runCycles(10);
    expectNoRequestFor("/knob?3/");
    expectNoRequestFor("/knob?2/");

    // A turn on the panel moves knob, host value and held mark, and sends nothing back.
    rig.clearRequests();
    rig.clearHostHeard();
    rig.unit->command("turn 3 800 400");
    ASSERT_TRUE(until([&] { return rig.global->deviceHeld[3].load(); }));
    // Released only once a held status has brought the end of the turn: the unit's later
    // statuses say "not held", and those values are not taken.
    ASSERT_TRUE(until([&] { return std::abs(knob(3) - 800.0f / 1023.0f) < 0.0005f; }));
    rig.runCycles(2);
    rig.unit->command("release 3");
    EXPECT_TRUE(until([&] { return !rig.global->deviceHeld[3].load(); }));
    EXPECT_NEAR(knob(3), 800.0f / 1023.0f, 0.006f);
    const auto heard = rig.hostHeard(3);
    ASSERT_FALSE(heard.empty());
    EXPECT_NEAR(heard.back(), 800.0f / 1023.0f, 0.001f);
    EXPECT_TRUE(rig.knobRequests().empty());
    EXPECT_EQ(rig.unit->row(3).value, 800);

    // A knob the unit holds is put back.
    rig.unit->command("touch 8");
    ASSERT_TRUE(until([&] { return rig.global->deviceHeld[4].load(); }));
    rig.processor->getKnob(4)->setValue(0.9);
    rig.runCycles(4);
    EXPECT_NEAR(knob(4), 0.25f, 0.006f);
    expectNoRequestFor("/knob?8/");
    rig.unit->command("release 8");

    // Into dual mono with the unit, where a later mode move keeps it, and back.
    rig.unit->command("dual on");
    rig.unit->command("touch 10");
    ASSERT_TRUE(until([&] { return rig.global->dualMono.load(); }));
    rig.unit->command("release 10");
    rig.runCycles(4);
    rig.clearRequests();
    rig.processor->getKnob(2)->setValue(5.0);
    expectSent("/knob?10/17 ");
    rig.unit->command("dual off");
    rig.unit->command("touch 10");
    EXPECT_TRUE(until([&] { return !rig.global->dualMono.load(); }));
    rig.unit->command("release 10");
    rig.runCycles(4);

    // A restored session goes out whole, and values taken from the unit come back unchanged:
    // knob 0 first as a decimal without float noise, then knobs 1 to 16 as integers.
    juce::MemoryBlock state;
    rig.processor->getStateInformation(state);
    rig.clearRequests();
    rig.processor->setStateInformation(state.getData(), (int)state.getSize());
    ASSERT_TRUE(rig.waitForRequests(1));
    const auto push = rig.knobRequests()[0];
    EXPECT_TRUE(holds(push, "/knob?2/191/0/30/10/5/3/800/8/150/1/300/11/80/12/91/")) << push;
    EXPECT_TRUE(holds(push, "/18/190/")) << push;
    const auto path = push.substr(0, push.find(" HTTP/"));
    EXPECT_EQ(std::count(path.begin(), path.end(), '/'), 34) << push;

    // The session's stereo request, unserved without an editor, does not undo the unit's
    // next move into dual mono.
    rig.unit->command("dual on");
    rig.unit->command("touch 10");
    EXPECT_TRUE(until([&] { return rig.global->dualMono.load(); }));
    rig.unit->command("release 10");
}

TEST_F(Sync, HostAndEditorChangesGoOutOnce)
{
    ASSERT_TRUE(running());
    rig.processor->setParameter(3, 0.5f);
    expectSent("/knob?3/511.5 ", 4);
    EXPECT_TRUE(until([&] { return rig.unit->row(3).value == 512; }));
    EXPECT_NEAR(knob(3), 0.5f, 1e-6f);

    rig.processor->setParameter(3, 0.25f);
    rig.processor->setParameter(4, 0.25f);
    expectSent("/knob?3/255.75/8/150 ", 3);

    // The host hears the inputs four cycles of at least a tick each after High Gain; a slow
    // machine only makes that longer.
    rig.clearHostHeard();
    const auto raised = std::chrono::steady_clock::now();
    rig.global->highGainValue = true;
    rig.global->highGainRequest = true;
    expectSent("/knob?22/1 ");
    ASSERT_TRUE(until([&] { return !rig.hostHeard(9).empty(); }));
    EXPECT_GE(std::chrono::steady_clock::now() - raised, std::chrono::milliseconds(120));
    ASSERT_FALSE(rig.hostHeard(0).empty());
    EXPECT_NEAR(rig.hostHeard(0).back(), 512.0f / 1023.0f, 0.001f);

    rig.global->autoGainValue = true;
    rig.global->autoGainRequest = true;
    expectSent("/knob?5/255 ", 6);
    EXPECT_EQ(rig.unit->row(5).value, 255);

    // The lamp goes once and holds for five cycles: the unit refuses the change while its own
    // lamp button is held, so it keeps reporting 0, and a second click inside the hold is dropped.
    rig.unit->command("touch 14");
    auto* lamp = rig.processor->getLampTop();
    lamp->imageButtonState = 1;
    rig.global->lampValue = 1;
    rig.global->lampChanged = true;
    expectSent("/knob?14/1 ");
    rig.global->lampChanged = true;
    rig.runCycles(2);
    EXPECT_EQ(lamp->imageButtonState, 1);
    rig.runCycles(2);
    EXPECT_TRUE(rig.knobRequests().empty());
    // After the hold the lamp follows the unit's own changes again.
    rig.unit->command("release 14");
    rig.runCycles(6);
    rig.unit->command("set 14 1");
    rig.runCycles(3);
    rig.unit->command("set 14 0");
    EXPECT_TRUE(until([&] { return lamp->imageButtonState.load() == 0; }));

    rig.clearRequests();
    rig.processor->getKnob(2)->setValue(3.0);
    expectSent("/knob?10/3 ");
    rig.global->dualMono = true;
    rig.global->dualMonoEntered = true;
    expectSent("/knob?10/15 ");
    EXPECT_TRUE(until([&] { return rig.unit->row(10).value == 15; }));
}

// The host's automation lanes follow the unit from the first status on, in every format,
// and the host's display shows the controls in the unit's own figures.
TEST_F(Sync, TheHostHearsTheUnitsValuesAndShowsItsFigures)
{
    for (const char* command : {"set 3 700", "mode 4"})
        rig.unit->command(command);
    ASSERT_TRUE(rig.connect());
    for (int i = 0; i < 16; ++i)
        EXPECT_FALSE(rig.hostHeard(i).empty()) << i;
    ASSERT_FALSE(rig.hostHeard(3).empty());
    EXPECT_NEAR(rig.hostHeard(3).back(), 700.0f / 1023.0f, 1e-4f);
    EXPECT_FLOAT_EQ(rig.hostHeard(2).back(), 4.0f / 11.0f);
    EXPECT_FLOAT_EQ(rig.processor->getParameter(2), 4.0f / 11.0f);

    const std::pair<int, const char*> texts[] = {{3, "700"}, {2, "5"}, {1, "30"}, {0, "512"}};
    for (const auto& [index, text] : texts)
        EXPECT_EQ(rig.processor->getParameterText(index), text) << index;
    rig.runCycles(4);
    rig.clearRequests();
    rig.processor->setParameter(3, 0.25f);
    expectSent("/knob?3/255.75 ", 3);
    EXPECT_EQ(rig.processor->getParameterText(3), "256");
}

// A session prepared away from the studio: what the host wrote before the unit was there wins
// over the unit's values and goes out in one request, as a restored session does.
TEST(SyncWithoutUnit, HostWritesWaitForTheUnitAndGoOutWithTheRestorePush)
{
    SyncRig rig("127.0.0.2", 7101, "MORVAN0001", false);
    rig.unit->command("set 3 700");
    rig.processor->setParameter(3, 0.25f);
    ASSERT_TRUE(TestEnvironment::pumpUntil([&] { return rig.processor->getParameter(3) == 0.25f; }, 1000));
    ASSERT_TRUE(rig.connect());
    ASSERT_TRUE(rig.waitForRequests(1));
    const auto push = rig.knobRequests()[0];
    EXPECT_TRUE(holds(push, "/3/255/")) << push;
    const auto path = push.substr(0, push.find(" HTTP/"));
    EXPECT_EQ(std::count(path.begin(), path.end(), '/'), 34) << push;
    rig.runCycles(6);
    EXPECT_EQ(rig.knobRequests().size(), 1u);
    EXPECT_EQ(rig.processor->getParameter(3), 0.25f);
    EXPECT_EQ(rig.unit->row(3).value, 255);
}

TEST_F(Sync, AChangeOfAddressSyncsFromTheNewUnit)
{
    ASSERT_TRUE(rig.connect());
    auto secondUnit = SyncRig::secondUnit();
    ASSERT_TRUE(secondUnit->start());
    auto& second = *secondUnit;
    second.command("set 3 0");

    rig.global->SetIp("127.0.0.3");
    rig.global->ipChanged = true;
    ASSERT_TRUE(TestEnvironment::pumpUntil([&] { return rig.global->devicePort.load() == 7102; }, 5000));
    EXPECT_EQ(rig.global->deviceSerial.get(), "MORVAN0002");
    EXPECT_TRUE(TestEnvironment::pumpUntil([&] { return knob(3) == 0.0f; }, 5000));
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
