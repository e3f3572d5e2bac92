// The processor's knobs, its mailbox and its life. What it answers a host is checked through
// a host (Tests/Plugin).
#include "GlobalData/GlobalData.h"
#include "PluginProcessor.h"
#include "TestEnvironment.h"

#include <gtest/gtest.h>

#include <chrono>
#include <limits>

// What a host shows beside the values: before the unit reports its figures a knob shows its
// own value, the mode its number; the mode selector alone has steps.
TEST(ProcessorHost, TextsAndSteps)
{
    MorvaneProcessor p;
    p.getKnob(3)->setValue(0.25);
    p.getKnob(2)->setValue(11.0);
    const std::pair<int, const char*> texts[] = {{3, "0.25"}, {8, "0.00"}, {2, "12"}, {16, ""}, {-1, ""}};
    for (const auto& [index, text] : texts)
        EXPECT_EQ(p.getParameterText(index), text) << "text of " << index;
    EXPECT_EQ(p.getParameterNumSteps(2), 12);
    EXPECT_EQ(p.getParameterNumSteps(3), 1);
    for (int index : {-1, 16, 20, 21})
        EXPECT_EQ(p.getParameterName(index), "") << "name of " << index;
}

TEST(ProcessorKnobs, MadeOnceInTheConstructorWithTheirRanges)
{
    MorvaneProcessor p;
    auto* first = p.getKnob(0);
    ASSERT_NE(first, nullptr);
    p.CreateTheKnobs();
    EXPECT_EQ(p.getKnob(0), first);
    ASSERT_NE(p.getKnob(40), nullptr);
    EXPECT_EQ(p.getKnob(41), nullptr);
    for (int i : {2, 19})
    {
        EXPECT_EQ(p.getKnob(i)->getMaximum(), 11.0);
        EXPECT_EQ(p.getKnob(i)->getInterval(), 1.0);
    }
    EXPECT_EQ(p.getKnob(18)->getMaximum(), 1.0);
    EXPECT_LT(p.getKnob(18)->getInterval(), 1e-6);
    EXPECT_EQ(p.getKnob(25)->getInterval(), 0.01);
    p.getKnob(2)->setValue(12.0);
    EXPECT_EQ(p.getParameter(2), 1.0f) << "the mode's last position";
    p.getKnob(2)->setValue(4.0);
    EXPECT_FLOAT_EQ(p.getParameter(2), 4.0f / 11.0f);
}

TEST(ProcessorMailbox, AcceptanceRules)
{
    MorvaneProcessor p;
    auto* g = p.getGlobalData();
    const std::pair<int, float> refused[] = {
        {2, 0.5f}, {3, -0.1f}, {3, std::numeric_limits<float>::quiet_NaN()}, {40, 0.5f}, {-1, 0.5f}};
    for (const auto& [slot, value] : refused)
    {
        p.setParameter(slot, value);
        EXPECT_FALSE(slot >= 0 && slot < 40 && g->hostChanged[slot]) << slot << " " << value;
    }
    EXPECT_FALSE(g->anyHostChange);
    for (int slot : {8, 9, 16, 19, 35})
    {
        p.setParameter(slot, -0.25f);
        EXPECT_TRUE(g->hostChanged[slot]) << slot;
        EXPECT_FLOAT_EQ(g->hostValue[slot], -0.25f) << slot;
    }
    p.setParameter(3, 0.75f);
    EXPECT_TRUE(g->hostChanged[3]);
    EXPECT_TRUE(g->anyHostChange);
    EXPECT_FLOAT_EQ(g->hostValue[3], 0.75f);
    EXPECT_EQ(p.getParameter(3), 0.0f) << "the knob moves only with the loop or the editor";
}

// What a host (and every validator) does: write a parameter, read it back at once after a
// tick. No unit is there, so the values wait on the knobs for the unit's Restore push.
TEST(ProcessorMailbox, HostWritesReadBackFromTheNextTickWithOrWithoutAnEditor)
{
    MorvaneProcessor p;
    EXPECT_FALSE(p.isRestorePending());
    // A host that writes back what it read changes nothing and owes the unit nothing.
    p.setParameter(3, 0.0f);
    TestEnvironment::pump(100);
    EXPECT_FALSE(p.isRestorePending());

    p.setParameter(3, 0.5f);
    p.setParameter(9, 0.75f);
    EXPECT_TRUE(TestEnvironment::pumpUntil([&] { return p.getParameter(3) == 0.5f; }, 1000));
    EXPECT_NEAR(p.getParameter(9), 0.75f, 1e-6f);
    EXPECT_TRUE(p.isRestorePending());

    std::unique_ptr<juce::AudioProcessorEditor> editor(p.createEditor());
    p.setParameter(3, 0.25f);
    EXPECT_TRUE(TestEnvironment::pumpUntil([&] { return p.getParameter(3) == 0.25f; }, 1000));
    editor.reset();
    p.setParameter(3, 0.125f);
    EXPECT_TRUE(TestEnvironment::pumpUntil([&] { return p.getParameter(3) == 0.125f; }, 1000));
    TestEnvironment::pump(200);
    EXPECT_EQ(p.getParameter(3), 0.125f) << "no later tick undoes it";

    juce::MemoryBlock state;
    p.getStateInformation(state);
    const std::string bytes(static_cast<const char*>(state.getData()), state.getSize());
    EXPECT_NE(bytes.find("<Knob3>0.125</Knob3>"), std::string::npos);
}

// Stable, distinct IDs: LV2 makes URIs of them (no leading digit), VST3 hosts keep their
// automation under the IDs the plain indices give.
TEST(ProcessorHost, ParameterIdsPerFormat)
{
    MorvaneProcessor p;
    EXPECT_EQ(p.getParameterID(0), "knob00");
    EXPECT_EQ(p.getParameterID(15), "knob15");
    juce::AudioProcessor::setTypeOfNextNewPlugin(juce::AudioProcessor::wrapperType_VST3);
    MorvaneProcessor vst3;
    juce::AudioProcessor::setTypeOfNextNewPlugin(juce::AudioProcessor::wrapperType_Undefined);
    EXPECT_EQ(vst3.getParameterID(10), "10");
}

TEST(ProcessorEditor, ANewEditorFindsTheSameKnobs)
{
    MorvaneProcessor p;
    p.getKnob(3)->setValue(0.42);
    {
        std::unique_ptr<juce::AudioProcessorEditor> editor(p.createEditor());
        EXPECT_TRUE(p.isEditorOpen());
        EXPECT_EQ(p.getKnob(3)->getParentComponent(), editor.get());
    }
    EXPECT_FALSE(p.isEditorOpen());
    EXPECT_EQ(p.getKnob(3)->getParentComponent(), nullptr);
    std::unique_ptr<juce::AudioProcessorEditor> again(p.createEditor());
    EXPECT_NEAR(p.getKnob(3)->getValue(), 0.42, 1e-6);
    EXPECT_EQ(p.getKnob(3)->getParentComponent(), again.get());
}

TEST(ProcessorLife, DestroyedWhileItsThreadsRunEndsWithinSeconds)
{
    // The master's search runs from the first tick; destroy it at several points of it.
    for (int round = 0; round < 3; ++round)
    {
        auto p = std::make_unique<MorvaneProcessor>();
        TestEnvironment::pump(30 * round);
        const auto start = std::chrono::steady_clock::now();
        p.reset();
        EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(5));
    }
}
