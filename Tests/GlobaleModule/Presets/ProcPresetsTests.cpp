// The processor's preset stages, driven through its tick: reading a picked preset into the
// knobs and flags, and saving the knobs with the replace question.
#include "GlobalData/GlobalData.h"
#include "PluginProcessor.h"
#include "PresetTestSupport.h"
#include "Presets/PresetFile.h"
#include "Presets/ReplaceQuestion.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <memory>
#include <sstream>
#include <tuple>
#include <vector>

using PresetTest::freshFolder;
using PresetTest::presetText;
using TestEnvironment::readFile;

namespace
{
class ProcessorPresets : public testing::Test
{
protected:
    void TearDown() override { ReplaceQuestion::setAsker({}); }

    GlobalData& global() { return *processor->getGlobalData(); }
    Knob& knob(int i) { return *processor->getKnob(i); }

    // Knobs 0 to 19 at `value`, or all away from zero with the selectors on a position of their own.
    void setKnobs(double value = -1.0)
    {
        for (int i = 0; i < 20; ++i)
            knob(i).setValue(value >= 0.0 ? value
                             : i == 2     ? 7
                             : i == 19    ? 4
                                          : 0.05 * (i + 1),
                             juce::dontSendNotification);
    }

    // The first `count` knobs as the file writes them, rounded to six digits.
    std::vector<std::string> knobTexts(int count = 20)
    {
        std::vector<std::string> texts;
        for (int i = 0; i < count; ++i)
            texts.push_back((std::ostringstream() << (float)knob(i).getValue()).str());
        return texts;
    }

    // Sets the path and the request the next tick serves, and runs that tick.
    template <typename Path> void serve(Path& path, std::atomic<bool>& request, const std::string& value)
    {
        path = value;
        request = true;
        processor->timerCallback();
        EXPECT_FALSE(request.load());
    }
    void load(const std::string& path) { serve(global().loadPath, global().loadRequest, path); }
    void save(const std::string& path) { serve(global().presetPath, global().savePresetRequest, path); }

    void loadText(const std::string& content)
    {
        TestEnvironment::writeFile(folder + "/preset.fxb", content);
        load(folder + "/preset.fxb");
    }

    // anyHostChange, restorePending, autoGainRequest, autoGainValue, dualMono, requestDualMono,
    // requestStereo, dualMonoEntered, dualMonoLeft.
    std::string flags()
    {
        auto& g = global();
        std::string text;
        for (bool flag : {g.anyHostChange.load(), processor->isRestorePending(), g.autoGainRequest.load(),
                          g.autoGainValue.load(), g.dualMono.load(), g.requestDualMono.load(),
                          g.requestStereo.load(), g.dualMonoEntered.load(), g.dualMonoLeft.load()})
            text += flag ? '1' : '0';
        return text;
    }

    // Everything a preset may change, to tell "nothing changed" exactly.
    std::string observe()
    {
        std::ostringstream o;
        o.precision(17);
        for (int i = 0; i < MorvaneProcessor::knobTotal; ++i)
            o << knob(i).getValue() << " ";
        for (int i = 0; i < 40; ++i)
            o << global().hostChanged[i].load();
        return o.str() + " " + flags();
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

    std::unique_ptr<MorvaneProcessor> processor = std::make_unique<MorvaneProcessor>();
    const std::string folder = freshFolder();
};
} // namespace

TEST_F(ProcessorPresets, APresetSavedWithoutAUnitLoadsIntoAFreshProcessorWithTheSameKnobs)
{
    ASSERT_FALSE(global().connected.load());
    setKnobs();
    const auto written = knobTexts();
    global().autoGainValue = true;
    global().dualMono = true;
    save(PresetFile::savePathFor(folder, "Presetname"));
    EXPECT_TRUE(global().presetSaved.load());
    EXPECT_EQ(readFile(folder + "/Presetname.fxb"), presetText(written));
    processor = std::make_unique<MorvaneProcessor>();
    EXPECT_NE(knobTexts(), written);
    load(folder + "/Presetname.fxb");
    EXPECT_EQ(knobTexts(), written);
    // The host hears of every knob except the mode selector, which it may not set.
    for (int i = 0; i < 20; ++i)
        EXPECT_EQ(global().hostChanged[i].load(), i != 2) << i;
    EXPECT_FLOAT_EQ(global().hostValue[5].load(), std::stof(written[5]));
}

TEST_F(ProcessorPresets, TagsAreAppliedInOrderIgnoringCaseOnceAndOnlyBehindTheFirstByte)
{
    loadText("<?xml version=\"1.0\"?>\r\n<Root><Knob3>0.2</Knob3><KNOB4>0.4</KNOB4><knob5>0.6</knob5>"
             "<Knob3>0.8</Knob3><Knob20>0.9</Knob20><Other>1</Other></Root>");
    const auto texts = knobTexts(21);
    EXPECT_EQ(texts[3] + " " + texts[4] + " " + texts[5] + " " + texts[20], "0.8 0.4 0.6 0");
    EXPECT_FLOAT_EQ(global().hostValue[3].load(), 0.8f);

    // One byte before <Root> is enough.
    loadText(" <Root><Knob3>0.5</Knob3></Root>");
    EXPECT_NEAR(knob(3).getValue(), 0.5, 1e-6);
    TestEnvironment::writeFile(folder + "/preset.fxb", " <Root><Knob3>0.1</Knob3></Root>");
    processor->timerCallback();
    EXPECT_NEAR(knob(3).getValue(), 0.5, 1e-6) << "a request is served once";
}

TEST_F(ProcessorPresets, ZerosMakeAnEmptyPresetOnlyWhileTheOptionIsOn)
{
    // The option, the leading zero knobs of the preset (the rest at 0.5), the text of knobs 0
    // and 1 (negatives count as zero), and whether the preset is applied.
    const std::tuple<bool, int, const char*, bool> cases[] = {
        {true, 19, "0", false}, {true, 19, "-1", false}, {true, 18, "0", true},
        {false, 19, "0", true}, {false, 20, "0", true},
    };
    for (const auto& [option, zeros, leading, applied] : cases)
    {
        SCOPED_TRACE(std::to_string(option) + " " + std::to_string(zeros) + " " + leading);
        global().zeroPreset = option;
        setKnobs(0.3);
        std::vector<std::string> texts(20, "0.5");
        std::fill_n(texts.begin(), zeros, "0");
        texts[0] = texts[1] = leading;
        const auto before = observe();
        loadText(presetText(texts));
        texts.resize(19); // the range of knob 19 differs
        if (applied)
        {
            EXPECT_EQ(knobTexts(19), texts);
            continue;
        }
        EXPECT_EQ(observe(), before);
    }
}

TEST_F(ProcessorPresets, AutoGainAndDualMonoInAPresetSwitchThem)
{
    loadText("x<Root><Knob0>0.5</Knob0><AutoGain>1</AutoGain><DualMono>1</DualMono></Root>");
    EXPECT_EQ(flags(), "101111010");
    auto& g = global();
    g.autoGainRequest = g.requestDualMono = g.dualMonoEntered = false;

    // Off leaves dual mono at once, unlike a session, and asks for the stereo view.
    loadText("x<Root><Knob0>0.5</Knob0><autogain>yes</autogain><DUALMONO>0</DUALMONO></Root>");
    EXPECT_EQ(flags(), "101000101");
}

TEST_F(ProcessorPresets, ARestoredSessionIsNotPushedWholeAfterAnIncompletePreset)
{
    restoreSession();
    loadText("x<Root><Knob0>0.6</Knob0><Knob1>0.7</Knob1></Root>");
    EXPECT_TRUE(processor->isRestorePending()) << "a complete preset leaves the pending push alone";
    loadText("x<Root><Knob0>0.4</Knob0><Knob1></Knob1><Knob2>abc</Knob2></Root>");
    EXPECT_FALSE(processor->isRestorePending());
    EXPECT_EQ(knobTexts(3), (std::vector<std::string>{"0.4", "0.7", "0"}));
    restoreSession();
    loadText("x<Root><Knob0>13</Knob0><Knob2>12</Knob2><Knob3>0.5</Knob3></Root>");
    EXPECT_FALSE(processor->isRestorePending());
    EXPECT_EQ(knobTexts(4), (std::vector<std::string>{"1", "0.3", "11", "0.5"}));
}

TEST_F(ProcessorPresets, FilesWithoutAPresetChangeNothing)
{
    restoreSession();
    setKnobs();
    for (auto& changed : global().hostChanged)
        changed = false;
    global().anyHostChange = false;
    const auto before = observe();
    std::string noise(3000, '<'), deep = "x<Root>";
    unsigned seed = 12345;
    for (size_t i = 0; i < noise.size(); i += 2)
        noise[i] = (char)((seed = seed * 1103515245u + 12345u) >> 16);
    for (int i = 0; i < 50000; ++i)
        deep += "<Knob3>";
    const std::string contents[] = {
        noise,
        presetText({"0.9", "0.9", "3", "0.9"}).substr(0, 60), // truncated
        "",
        "<",
        deep,
        "<?xml version=\"1.0\"?>\r\n<root><Knob0>1</Knob0></root>",         // no Root
        "<?xml version=\"1.0\"?>\r\n<Root x=\"1\"><Knob0>1</Knob0></Root>", // attributes
        "x<Root><Knob0>0.5</Knob0>",                                        // unclosed
        "<Root><Knob3>0.5</Knob3><Knob4>0.5</Knob4></Root>",                // <Root> at byte 0
        presetText({"0.5"}) + std::string(PresetFile::maxBytes, ' '),       // oversized
        presetText({"0.5"}) + "\x81\n  <Knob5<R", // broken UTF-8 (sent the XML reader past the end)
    };
    for (const auto& content : contents)
    {
        loadText(content);
        EXPECT_EQ(observe(), before) << content.substr(0, 40);
    }
    load(folder + "/missing.fxb");
    load(folder);
    EXPECT_EQ(observe(), before);
}

TEST_F(ProcessorPresets, AnExistingFileIsReplacedOnlyOnOkWithTheKnobsOfThatMoment)
{
    std::vector<std::string> questions;
    ReplaceQuestion::Answer pending;
    ReplaceQuestion::setAsker(
        [&](const juce::String& title, const juce::String& message, ReplaceQuestion::Answer answer)
        {
            questions.push_back((title + "|" + message).toStdString());
            pending = std::move(answer);
        });
    save(folder + "//missing/x.fxb");
    juce::File(folder + "/dir.fxb").createDirectory();
    save(folder + "//dir.fxb");
    EXPECT_TRUE(questions.empty()) << "no question for a missing folder or a folder path";
    EXPECT_TRUE(global().presetSaved.exchange(false));
    EXPECT_EQ(PresetTest::directoryOrder(folder), std::vector<std::string>{"dir.fxb"});
    const auto path = folder + "/Existing.fxb";
    const std::string old = presetText({"0.1", "0.2"});
    TestEnvironment::writeFile(path, old);
    setKnobs(0.25);
    save(path);
    EXPECT_EQ(questions, std::vector<std::string>{
                             "Preset already exists|This Preset already exists. Do you want to replace it?"});
    EXPECT_TRUE(global().presetSaved.load()) << "the folder is listed again whatever the answer";
    EXPECT_EQ(readFile(path), old) << "nothing is written before the answer";
    pending(0);
    EXPECT_EQ(readFile(path), old);
    save(path);
    setKnobs(0.75);
    processor->timerCallback();
    pending(1);
    std::vector<std::string> texts(20, "0.75");
    texts[2] = texts[19] = "1";
    EXPECT_EQ(readFile(path), presetText(texts)) << "written whole over the old bytes";
    EXPECT_EQ(PresetTest::directoryOrder(folder).size(), 2u) << "no temporary file left";

    // An answer after the processor went touches nothing.
    setKnobs(0.5);
    save(path);
    processor.reset();
    pending(1);
    EXPECT_EQ(readFile(path), presetText(texts));
}
