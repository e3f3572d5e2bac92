// The processor's answers to the host, its mailbox and its life.
#include "GlobalData.h"
#include "PluginProcessor.h"
#include "TestEnvironment.h"

#include <gtest/gtest.h>

#include <chrono>
#include <cstring>
#include <limits>
#include <memory>

namespace
{
std::unique_ptr<MorvaneProcessor> makeProcessor()
{
    return std::make_unique<MorvaneProcessor>();
}
} // namespace

TEST(ProcessorHost, NamesAtTheEdgesAndTexts)
{
    auto p = makeProcessor();
    // Names inside the range, the layout and the audio path are checked through a host.
    EXPECT_EQ(p->getNumParameters(), 16);
    EXPECT_EQ(p->getParameterName(16), "");
    EXPECT_EQ(p->getParameterName(20), "");
    EXPECT_EQ(p->getParameterName(21), "");
    EXPECT_EQ(p->getParameterName(-1), "");
    EXPECT_EQ(p->getParameterText(0), "0");
    EXPECT_EQ(p->getParameterText(7), "7");
    EXPECT_EQ(p->getParameterText(8), "");
    EXPECT_EQ(p->getParameterText(-1), "");
    EXPECT_EQ(p->getParameterNumSteps(2), 12);
    EXPECT_EQ(p->getParameterNumSteps(3), 1);
    EXPECT_EQ(p->getInputChannelName(0), "1");
    EXPECT_EQ(p->getOutputChannelName(1), "2");
    EXPECT_TRUE(p->isInputChannelStereoPair(0));
    EXPECT_FALSE(p->silenceInProducesSilenceOut());
    EXPECT_EQ(p->getNumPrograms(), 1);
    EXPECT_EQ(p->getTailLengthSeconds(), 0.0);
    EXPECT_FALSE(p->acceptsMidi());
    EXPECT_TRUE(p->hasEditor());
}

TEST(ProcessorKnobs, MadeOnceInTheConstructorWithTheirRanges)
{
    auto p = makeProcessor();
    auto* first = p->getKnob(0);
    ASSERT_NE(first, nullptr);
    p->CreateTheKnobs();
    EXPECT_EQ(p->getKnob(0), first);
    ASSERT_NE(p->getKnob(40), nullptr);
    EXPECT_EQ(p->getKnob(41), nullptr);

    for (int i : {2, 19})
    {
        EXPECT_EQ(p->getKnob(i)->getMaximum(), 11.0);
        EXPECT_EQ(p->getKnob(i)->getInterval(), 1.0);
    }
    EXPECT_EQ(p->getKnob(18)->getMaximum(), 1.0);
    EXPECT_LT(p->getKnob(18)->getInterval(), 1e-6);
    EXPECT_EQ(p->getKnob(25)->getInterval(), 0.01);

    p->getKnob(2)->setValue(11.0);
    EXPECT_EQ(p->getParameter(2), 11.0f);
    p->getKnob(2)->setValue(12.0);
    EXPECT_EQ(p->getParameter(2), 11.0f);
}

TEST(ProcessorMailbox, AcceptanceRules)
{
    auto p = makeProcessor();
    auto* g = p->getGlobalData();

    p->setParameter(2, 0.5f);
    EXPECT_FALSE(g->hostChanged[2]);

    p->setParameter(3, -0.1f);
    EXPECT_FALSE(g->hostChanged[3]);

    p->setParameter(3, std::numeric_limits<float>::quiet_NaN());
    EXPECT_FALSE(g->hostChanged[3]);

    for (int slot : {8, 9, 16, 19, 35})
    {
        p->setParameter(slot, -0.25f);
        EXPECT_TRUE(g->hostChanged[slot]) << slot;
        EXPECT_FLOAT_EQ(g->hostValue[slot], -0.25f) << slot;
    }

    p->setParameter(3, 0.75f);
    EXPECT_TRUE(g->hostChanged[3]);
    EXPECT_TRUE(g->anyHostChange);
    EXPECT_FLOAT_EQ(g->hostValue[3], 0.75f);
    // The knob moves only with the loop or the editor, not in the call.
    EXPECT_EQ(p->getParameter(3), 0.0f);

    p->setParameter(40, 0.5f);
    p->setParameter(-1, 0.5f);
}

TEST(ProcessorEditor, ANewEditorFindsTheSameKnobs)
{
    auto p = makeProcessor();
    p->getKnob(3)->setValue(0.42);
    {
        std::unique_ptr<juce::AudioProcessorEditor> editor(p->createEditor());
        EXPECT_TRUE(p->isEditorOpen());
        EXPECT_EQ(p->getKnob(3)->getParentComponent(), editor.get());
    }
    EXPECT_FALSE(p->isEditorOpen());
    EXPECT_EQ(p->getKnob(3)->getParentComponent(), nullptr);
    std::unique_ptr<juce::AudioProcessorEditor> again(p->createEditor());
    EXPECT_NEAR(p->getKnob(3)->getValue(), 0.42, 1e-6);
    EXPECT_EQ(p->getKnob(3)->getParentComponent(), again.get());
}

TEST(ProcessorLife, DestroyedWhileItsThreadsRunEndsWithinSeconds)
{
    // The master's search runs from the first tick; destroy while it is under way.
    for (int round = 0; round < 3; ++round)
    {
        auto p = makeProcessor();
        TestEnvironment::pump(30 * round);
        const auto start = std::chrono::steady_clock::now();
        p.reset();
        const double seconds =
            std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
        EXPECT_LT(seconds, 5.0);
    }
}

// Found by the session-state fuzzer: a block whose text ends in a broken UTF-8 sequence made
// the framework's XML reader run past the block. Such a block changes nothing; a good one
// with other text in it still restores.
TEST(ProcessorState, ABlockWithBrokenTextIsIgnored)
{
    auto p = makeProcessor();
    const auto blockWith = [](const std::string& knobText)
    {
        juce::XmlElement root("Root");
        root.createNewChildElement("Knob3")->addTextElement("0.75");
        juce::MemoryBlock block;
        juce::AudioProcessor::copyXmlToBinary(root, block);
        // The element's text goes in as bytes, behind the framework's own escaping.
        const std::string bytes(static_cast<const char*>(block.getData()), block.getSize());
        auto text = bytes;
        text.replace(text.find("0.75"), 4, knobText);
        const int length = (int)(text.size() - 8);
        std::memcpy(&text[4], &length, 4);
        return text;
    };
    const auto broken = blockWith("0.75<a>\xcb\xcb\xff");
    p->setStateInformation(broken.data(), (int)broken.size());
    EXPECT_NE(p->getParameter(3), 0.75f);

    const auto good = blockWith("0.75<!-- K\xc3\xa4se -->");
    p->setStateInformation(good.data(), (int)good.size());
    EXPECT_NEAR(p->getParameter(3), 0.75f, 1e-3f);
}
