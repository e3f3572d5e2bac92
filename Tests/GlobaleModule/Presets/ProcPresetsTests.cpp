// The processor's preset stages, driven through its tick: reading a picked preset into the
// knobs and flags, and saving the knobs with the replace question.
#include "GlobalData.h"
#include "PluginProcessor.h"
#include "PresetFile.h"
#include "PresetTestSupport.h"
#include "ReplaceQuestion.h"
#include "TestEnvironment.h"

#include <gtest/gtest.h>

#include <memory>
#include <vector>

using PresetTest::freshFolder;
using PresetTest::makeFile;
using PresetTest::presetText;

namespace
{
class ProcessorPresets : public testing::Test
{
protected:
    void TearDown() override { ReplaceQuestion::setAsker({}); }

    GlobalData& global() { return *processor->getGlobalData(); }
    Knob& knob(int i) { return *processor->getKnob(i); }

    void setKnobs(const std::vector<double>& values)
    {
        for (size_t i = 0; i < values.size(); ++i)
            knob((int)i).setValue(values[i], juce::dontSendNotification);
    }

    // Knobs 0 to 19 all away from zero, the selectors on a position of their own.
    void setDistinctKnobs()
    {
        std::vector<double> values;
        for (int i = 0; i < 20; ++i)
            values.push_back(0.05 * (i % 19 + 1));
        values[2] = 7;
        values[19] = 4;
        setKnobs(values);
    }

    std::vector<double> storedKnobs()
    {
        std::vector<double> values;
        for (int i = 0; i < 20; ++i)
            values.push_back(knob(i).getValue());
        return values;
    }

    void load(const std::string& path)
    {
        global().loadPath = path;
        global().loadRequest = true;
        processor->timerCallback();
        EXPECT_FALSE(global().loadRequest.load());
    }

    void loadText(const std::string& content)
    {
        const auto path = freshFolder() + "/preset.fxb";
        makeFile(path, content);
        load(path);
    }

    void save(const std::string& path)
    {
        global().presetPath = path;
        global().savePresetRequest = true;
        processor->timerCallback();
        EXPECT_FALSE(global().savePresetRequest.load());
    }

    // Everything a preset may change, to tell "nothing changed" exactly.
    std::vector<double> observe()
    {
        auto& g = global();
        std::vector<double> o;
        for (int i = 0; i < MorvaneProcessor::knobTotal; ++i)
            o.push_back(knob(i).getValue());
        for (int i = 0; i < 40; ++i)
            o.push_back(g.hostChanged[i].load());
        for (bool flag : {g.anyHostChange.load(), processor->isRestorePending(), g.autoGainRequest.load(),
                          g.autoGainValue.load(), g.dualMono.load(), g.requestDualMono.load(),
                          g.requestStereo.load(), g.dualMonoEntered.load(), g.dualMonoLeft.load()})
            o.push_back(flag);
        return o;
    }

    // The replace question is held here; the test gives the answer.
    void holdQuestion()
    {
        ReplaceQuestion::setAsker(
            [this](const juce::String& title, const juce::String& message, ReplaceQuestion::Answer answer)
            {
                questions.emplace_back(title, message);
                pending = std::move(answer);
            });
    }

    // A session state with every knob at 0.3: restorePending goes up while no unit is there.
    void restoreSession()
    {
        juce::XmlElement root("Root");
        for (int i = 0; i < 20; ++i)
            root.createNewChildElement("Knob" + juce::String(i))->addTextElement("0.3");
        juce::MemoryBlock block;
        juce::AudioProcessor::copyXmlToBinary(root, block);
        processor->setStateInformation(block.getData(), (int)block.getSize());
        ASSERT_TRUE(processor->isRestorePending());
    }

    // A preset of 20 knobs: the given number of zeros first, the rest at 0.5.
    static std::string presetWithZeros(int zeros)
    {
        std::vector<std::string> texts;
        for (int i = 0; i < 20; ++i)
            texts.push_back(i < zeros ? "0" : "0.5");
        return presetText(texts);
    }

    std::unique_ptr<MorvaneProcessor> processor = std::make_unique<MorvaneProcessor>();
    std::vector<std::pair<juce::String, juce::String>> questions;
    ReplaceQuestion::Answer pending;
};
} // namespace

TEST_F(ProcessorPresets, ASavedPresetLoadsIntoAFreshProcessorWithTheSameKnobs)
{
    setDistinctKnobs();
    const auto written = storedKnobs();
    const auto path = freshFolder() + "/Roundtrip.fxb";
    save(path);
    EXPECT_TRUE(global().presetSaved.load());
    ASSERT_TRUE(PresetFile::existsAsFile(path));

    processor = std::make_unique<MorvaneProcessor>();
    EXPECT_NE(storedKnobs(), written);
    load(path);
    const auto read = storedKnobs();
    ASSERT_EQ(read.size(), written.size());
    for (size_t i = 0; i < read.size(); ++i)
        EXPECT_NEAR(read[i], written[i], 1e-6) << "knob " << i;
    // The host hears of every knob except the mode selector, which it may not set.
    for (int i = 0; i < 20; ++i)
        EXPECT_EQ(global().hostChanged[i].load(), i != 2) << i;
    EXPECT_FLOAT_EQ(global().hostValue[5].load(), (float)written[5]);
}

TEST_F(ProcessorPresets, TagsAreAppliedInOrderIgnoringCase)
{
    loadText("<?xml version=\"1.0\"?>\r\n<Root><Knob3>0.2</Knob3><KNOB4>0.4</KNOB4><knob5>0.6</knob5>"
             "<Knob3>0.8</Knob3><Knob20>0.9</Knob20><Other>1</Other></Root>");
    EXPECT_NEAR(knob(3).getValue(), 0.8, 1e-6);
    EXPECT_NEAR(knob(4).getValue(), 0.4, 1e-6);
    EXPECT_NEAR(knob(5).getValue(), 0.6, 1e-6);
    EXPECT_NEAR(knob(20).getValue(), 0.0, 1e-6);
    EXPECT_FLOAT_EQ(global().hostValue[3].load(), 0.8f);
}

TEST_F(ProcessorPresets, ARootTagOnlyAtTheFirstByteIsNotLoaded)
{
    const auto before = observe();
    loadText("<Root><Knob3>0.5</Knob3><Knob4>0.5</Knob4></Root>");
    EXPECT_EQ(observe(), before);
    // One byte in front of it is enough.
    loadText(" <Root><Knob3>0.5</Knob3></Root>");
    EXPECT_NEAR(knob(3).getValue(), 0.5, 1e-6);
}

TEST_F(ProcessorPresets, NineteenZerosAreAnEmptyPresetWhileTheOptionIsOn)
{
    setKnobs(std::vector<double>(20, 0.3));
    ASSERT_TRUE(global().zeroPreset.load());
    const auto before = observe();
    loadText(presetWithZeros(19));
    EXPECT_EQ(observe(), before);
    // Negative values count as zero.
    loadText(presetText({"-1", "-1", "0", "0", "0", "0", "0", "0", "0", "0",
                         "0",  "0",  "0", "0", "0", "0", "0", "0", "0", "0.5"}));
    EXPECT_EQ(observe(), before);

    loadText(presetWithZeros(18));
    EXPECT_NEAR(knob(0).getValue(), 0.0, 1e-6);
    EXPECT_NEAR(knob(17).getValue(), 0.0, 1e-6);
    EXPECT_NEAR(knob(18).getValue(), 0.5, 1e-6);
}

TEST_F(ProcessorPresets, WithTheOptionOffEvenZerosAreApplied)
{
    global().zeroPreset = false;
    for (int zeros : {19, 20})
    {
        setKnobs(std::vector<double>(20, 0.3));
        loadText(presetWithZeros(zeros));
        for (int i = 0; i < zeros; ++i)
            EXPECT_DOUBLE_EQ(knob(i).getValue(), 0.0) << zeros << " zeros, knob " << i;
    }
}

TEST_F(ProcessorPresets, AutoGainAndDualMonoInAPresetSwitchThem)
{
    loadText("x<Root><Knob0>0.5</Knob0><AutoGain>1</AutoGain><DualMono>1</DualMono></Root>");
    auto& g = global();
    EXPECT_TRUE(g.autoGainRequest.exchange(false));
    EXPECT_TRUE(g.autoGainValue.load());
    EXPECT_TRUE(g.dualMono.load());
    EXPECT_TRUE(g.requestDualMono.exchange(false));
    EXPECT_TRUE(g.dualMonoEntered.exchange(false));
    EXPECT_FALSE(g.requestStereo.load());

    // Off leaves dual mono at once, unlike a session, and asks for the stereo view.
    loadText("x<Root><Knob0>0.5</Knob0><autogain>yes</autogain><DUALMONO>0</DUALMONO></Root>");
    EXPECT_TRUE(g.autoGainRequest.load());
    EXPECT_FALSE(g.autoGainValue.load());
    EXPECT_FALSE(g.dualMono.load());
    EXPECT_TRUE(g.requestStereo.load());
    EXPECT_TRUE(g.dualMonoLeft.load());
    EXPECT_FALSE(g.requestDualMono.load());
}

TEST_F(ProcessorPresets, ARestoredSessionIsNotPushedWholeAfterAnIncompletePreset)
{
    restoreSession();
    loadText("x<Root><Knob0>0.6</Knob0><Knob1>0.7</Knob1></Root>");
    EXPECT_TRUE(processor->isRestorePending()) << "a complete preset leaves the pending push alone";

    loadText("x<Root><Knob0>0.4</Knob0><Knob1></Knob1><Knob2>abc</Knob2></Root>");
    EXPECT_FALSE(processor->isRestorePending());
    EXPECT_NEAR(knob(0).getValue(), 0.4, 1e-6);
    EXPECT_NEAR(knob(1).getValue(), 0.7, 1e-6);
    EXPECT_NEAR(knob(2).getValue(), 0.0, 1e-6);

    restoreSession();
    loadText("x<Root><Knob0>13</Knob0><Knob2>12</Knob2><Knob3>0.5</Knob3></Root>");
    EXPECT_FALSE(processor->isRestorePending());
    EXPECT_NEAR(knob(0).getValue(), 1.0, 1e-6);
    EXPECT_NEAR(knob(2).getValue(), 11.0, 1e-6);
    EXPECT_NEAR(knob(3).getValue(), 0.5, 1e-6);
}

TEST_F(ProcessorPresets, FilesWithoutAPresetChangeNothing)
{
    setDistinctKnobs();
    restoreSession();
    setDistinctKnobs();
    for (int i = 0; i < 40; ++i)
        global().hostChanged[i] = false;
    global().anyHostChange = false;
    const auto before = observe();

    std::string noise(3000, '\0');
    unsigned seed = 12345;
    for (auto& c : noise)
        c = (char)((seed = seed * 1103515245u + 12345u) >> 16);
    noise[100] = '<';
    const std::string truncated = presetText({"0.9", "0.9", "3", "0.9"}).substr(0, 60);
    std::string deep = "x<Root>";
    for (int i = 0; i < 50000; ++i)
        deep += "<Knob3>";
    const std::string contents[] = {
        noise,
        truncated,
        "",
        "<",
        deep,
        "<?xml version=\"1.0\"?>\r\n<root><Knob0>1</Knob0></root>",         // no Root
        "<?xml version=\"1.0\"?>\r\n<Root x=\"1\"><Knob0>1</Knob0></Root>", // attributes
        "x<Root><Knob0>0.5</Knob0>",                                        // unclosed
    };
    for (const auto& content : contents)
    {
        loadText(content);
        EXPECT_EQ(observe(), before) << content.substr(0, 40);
    }
    load(freshFolder() + "/missing.fxb");
    load(freshFolder());
    EXPECT_EQ(observe(), before);
}

TEST_F(ProcessorPresets, ARequestIsServedOnceAtTheNextTick)
{
    const auto path = freshFolder() + "/once.fxb";
    makeFile(path, "x<Root><Knob3>0.5</Knob3></Root>");
    load(path);
    EXPECT_NEAR(knob(3).getValue(), 0.5, 1e-6);
    knob(3).setValue(0.1, juce::dontSendNotification);
    processor->timerCallback();
    EXPECT_NEAR(knob(3).getValue(), 0.1, 1e-6);
}

TEST_F(ProcessorPresets, SavingWritesTheKnobsWithoutAUnit)
{
    ASSERT_FALSE(global().connected.load());
    std::vector<double> values(20, 0.0);
    values[0] = 0.5;
    values[2] = 7;
    values[3] = 0.72;
    values[19] = 11;
    setKnobs(values);
    global().autoGainValue = true;
    global().dualMono = true;
    const auto folder = freshFolder();
    save(PresetFile::savePathFor(folder, "Presetname"));

    std::vector<std::string> texts(20, "0");
    texts[0] = "0.5";
    texts[2] = "7";
    texts[3] = "0.72";
    texts[19] = "11";
    EXPECT_EQ(TestEnvironment::readFile(folder + "/Presetname.fxb"), presetText(texts));
    EXPECT_TRUE(global().presetSaved.load());
    EXPECT_EQ(global().presetPath.get(), folder + "//Presetname.fxb");
}

TEST_F(ProcessorPresets, AnExistingFileAsksAndCancelKeepsItsBytes)
{
    holdQuestion();
    const auto path = freshFolder() + "/Existing.fxb";
    const std::string old = presetText({"0.1", "0.2"});
    makeFile(path, old);

    setDistinctKnobs();
    save(path);
    ASSERT_EQ(questions.size(), 1u);
    EXPECT_EQ(questions[0].first, "Preset already exists");
    EXPECT_EQ(questions[0].second, "This Preset already exists. Do you want to replace it?");
    EXPECT_TRUE(global().presetSaved.load()) << "the folder is listed again whatever the answer";
    EXPECT_EQ(TestEnvironment::readFile(path), old) << "nothing is written before the answer";

    pending(0);
    EXPECT_EQ(TestEnvironment::readFile(path), old);
}

TEST_F(ProcessorPresets, OkWritesTheKnobsAsTheyStandAtTheAnswer)
{
    holdQuestion();
    const auto path = freshFolder() + "/Existing.fxb";
    makeFile(path, presetText({"0.1"}));
    setKnobs(std::vector<double>(20, 0.25));
    save(path);
    ASSERT_TRUE(pending);

    setKnobs(std::vector<double>(20, 0.75));
    processor->timerCallback();
    pending(1);
    std::vector<std::string> texts(20, "0.75");
    texts[2] = texts[19] = "1";
    EXPECT_EQ(TestEnvironment::readFile(path), presetText(texts));
}

TEST_F(ProcessorPresets, AnAnswerAfterTheProcessorWentTouchesNothing)
{
    holdQuestion();
    const auto path = freshFolder() + "/Existing.fxb";
    const std::string old = presetText({"0.1"});
    makeFile(path, old);
    save(path);
    ASSERT_TRUE(pending);
    processor.reset();
    pending(1);
    EXPECT_EQ(TestEnvironment::readFile(path), old);
}

TEST_F(ProcessorPresets, NoQuestionAndNoFileForAMissingFolderOrAFolderPath)
{
    holdQuestion();
    const auto folder = freshFolder();
    save(folder + "//missing/x.fxb");
    PresetTest::makeFolder(folder + "/dir.fxb");
    save(folder + "//dir.fxb");
    EXPECT_TRUE(questions.empty());
    EXPECT_TRUE(global().presetSaved.load());
    EXPECT_EQ(PresetTest::directoryOrder(folder), std::vector<std::string>{"dir.fxb"});
}
