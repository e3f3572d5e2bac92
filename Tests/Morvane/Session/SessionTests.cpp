// The session state: what the host stores, what it hands back, and the push to the unit that
// follows. Processors are made as the host makes them; the unit is a simulated one on loopback.
#include "GlobalData.h"
#include "PluginProcessor.h"
#include "SyncRig.h"
#include "TestEnvironment.h"

#include <gtest/gtest.h>

#include <cmath>
#include <memory>
#include <random>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

namespace
{
using Elements = std::vector<std::pair<std::string, std::string>>;

// Device rows of knobs 0 to 16, the order of the restore request.
const int restoreRows[17] = {2, 0, 10, 3, 8, 1, 11, 12, 14, 17, 15, 18, 19, 16, 20, 21, 5};

juce::MemoryBlock blockOf(const Elements& elements)
{
    juce::XmlElement root("Root");
    for (const auto& [tag, text] : elements)
    {
        auto* child = root.createNewChildElement(tag);
        if (!text.empty())
            child->addTextElement(text);
    }
    juce::MemoryBlock block;
    juce::AudioProcessor::copyXmlToBinary(root, block);
    return block;
}

// Knob0 ... Knob19 with the given texts.
Elements knobElements(const std::vector<std::string>& texts)
{
    Elements elements;
    for (size_t i = 0; i < texts.size(); ++i)
        elements.emplace_back("Knob" + std::to_string(i), texts[i]);
    return elements;
}

// A state of 20 knobs of which zeros are "0" and the rest "0.5".
Elements stateWithZeros(int zeros, const std::string& zeroText = "0")
{
    std::vector<std::string> texts;
    for (int i = 0; i < 20; ++i)
        texts.push_back(i < zeros ? zeroText : "0.5");
    return knobElements(texts);
}

void load(MorvaneProcessor& p, const juce::MemoryBlock& block)
{
    p.setStateInformation(block.getData(), (int)block.getSize());
}

float knob(const MorvaneProcessor& p, int i)
{
    return (float)p.getKnob(i)->getValue();
}

// The path of a request line "GET <path> HTTP/1.1".
std::string pathOf(const std::string& line)
{
    return line.substr(4, line.find(" HTTP/") - 4);
}

// "/knob?r/v/r/v..." as its pairs.
std::vector<std::pair<int, std::string>> pairsOf(const std::string& path)
{
    std::istringstream parts(path.substr(path.find('?') + 1));
    std::vector<std::pair<int, std::string>> pairs;
    std::string row, value;
    while (std::getline(parts, row, '/') && std::getline(parts, value, '/'))
        pairs.emplace_back(std::stoi(row), value);
    return pairs;
}

// A processor as the host makes it; its own search finds nothing here and is let end first.
std::unique_ptr<MorvaneProcessor> makeProcessor()
{
    auto p = std::make_unique<MorvaneProcessor>();
    TestEnvironment::pumpUntil([&] { return p->getGlobalData()->deviceFinderRunning.load() == 0; }, 10000);
    return p;
}

class Session : public ::testing::Test
{
protected:
    void SetUp() override { TestEnvironment::newHome(); }
};

// A unit on loopback that the processor is pointed at, as the finder would have done.
class SessionWithUnit : public Session
{
protected:
    // The instance of the case, made now; its own search is let end first.
    MorvaneProcessor* startRig()
    {
        rig = std::make_unique<SyncRig>("127.0.0.31", 7131, "MORVAN0031", false);
        TestEnvironment::pumpUntil([this] { return rig->global->deviceFinderRunning.load() == 0; }, 10000);
        return rig->processor.get();
    }

    std::vector<std::string> knobPaths() const
    {
        std::vector<std::string> paths;
        for (const auto& line : rig->knobRequests())
            paths.push_back(pathOf(line));
        return paths;
    }

    std::unique_ptr<SyncRig> rig;
};
} // namespace

TEST_F(SessionWithUnit, StateOfOneInstanceRestoresAFreshOneAndPushesAllKnobsOnce)
{
    const float values[20] = {0.12f, 0.34f, 7.0f,  0.56f, 0.78f, 0.9f,  0.11f, 0.22f, 1.0f, 0.33f,
                              0.44f, 0.55f, 0.66f, 0.77f, 0.88f, 0.99f, 1.0f,  0.0f,  0.5f, 4.0f};
    juce::MemoryBlock block;
    {
        auto first = makeProcessor();
        for (int i = 0; i < 20; ++i)
            first->getKnob(i)->setValue(values[i], juce::dontSendNotification);
        first->getGlobalData()->autoGainValue = true;
        first->getGlobalData()->dualMono = true;
        first->getStateInformation(block);
    }

    auto* second = startRig();
    load(*second, block);
    for (int i = 0; i < 20; ++i)
        EXPECT_FLOAT_EQ(knob(*second, i), values[i]) << "knob " << i;
    auto* global = second->getGlobalData();
    EXPECT_TRUE(global->autoGainValue.load());
    EXPECT_TRUE(global->dualMono.load());
    EXPECT_TRUE(second->isRestorePending());

    // Nothing goes out while no unit is there, however long the loop runs.
    TestEnvironment::pump(300);
    EXPECT_TRUE(second->isRestorePending());
    EXPECT_TRUE(knobPaths().empty());

    ASSERT_TRUE(rig->connect());
    ASSERT_TRUE(TestEnvironment::pumpUntil([&] { return !knobPaths().empty(); }, 30000));
    TestEnvironment::pump(500);
    EXPECT_FALSE(second->isRestorePending());

    const auto paths = knobPaths();
    int fullRequests = 0;
    for (const auto& path : paths)
        if (pairsOf(path).size() == 17)
            ++fullRequests;
    EXPECT_EQ(fullRequests, 1);

    const auto pairs = pairsOf(paths.front());
    ASSERT_EQ(pairs.size(), 17u) << paths.front();
    for (int i = 0; i < 17; ++i)
        EXPECT_EQ(pairs[(size_t)i].first, restoreRows[i]) << "pair " << i;
    EXPECT_EQ(pairs[2].second, "19") << "mode 7 in dual mono";
    for (size_t i = 1; i < pairs.size(); ++i)
        EXPECT_EQ(pairs[i].second.find('.'), std::string::npos) << "later values are integers";
    EXPECT_TRUE(TestEnvironment::pumpUntil(
        [&] { return rig->unit->panel().mode() == 7 && rig->unit->panel().dual(); }, 3000));
    EXPECT_TRUE(TestEnvironment::pumpUntil([&] { return rig->unit->row(5).value == 255; }, 3000))
        << "Auto Gain on";
}

TEST_F(SessionWithUnit, AStateWithAValueOutOfRangeIsAppliedButNotPushed)
{
    auto* p = startRig();
    auto elements = stateWithZeros(0);
    elements[3].second = "12.5";
    load(*p, blockOf(elements));
    EXPECT_FLOAT_EQ(knob(*p, 3), 1.0f) << "the knob clamps";
    EXPECT_FALSE(p->isRestorePending());

    ASSERT_TRUE(rig->connect());
    TestEnvironment::pump(400);
    for (const auto& path : knobPaths())
        EXPECT_LT(pairsOf(path).size(), 17u) << path;
}

TEST_F(Session, TheStateIsTwentyKnobsAndTheSwitchesInOrder)
{
    auto p = makeProcessor();
    juce::MemoryBlock block;
    p->getStateInformation(block);

    // The framing and the magic are checked through a host.
    ASSERT_GT(block.getSize(), 9u);
    const std::string text(static_cast<const char*>(block.getData()) + 8, block.getSize() - 9);
    EXPECT_EQ(text.find('\n'), std::string::npos) << "one line";

    const auto xml = juce::AudioProcessor::getXmlFromBinary(block.getData(), (int)block.getSize());
    ASSERT_NE(xml, nullptr);
    EXPECT_EQ(xml->getTagName(), "Root");
    EXPECT_EQ(xml->getNumAttributes(), 0);
    std::vector<std::string> order;
    for (auto* child : xml->getChildIterator())
    {
        order.push_back(child->getTagName().toStdString());
        EXPECT_EQ(child->getNumAttributes(), 0);
        if (order.back().rfind("Knob", 0) == 0)
        {
            EXPECT_EQ(child->getAllSubText(), "0") << order.back();
        }
    }
    std::vector<std::string> expected;
    for (int i = 0; i < 20; ++i)
        expected.push_back("Knob" + std::to_string(i));
    expected.push_back("AutoGain");
    expected.push_back("DualMono");
    EXPECT_EQ(order, expected);
    EXPECT_EQ(xml->getChildByName("AutoGain")->getAllSubText(), "0");
    EXPECT_EQ(xml->getChildByName("DualMono")->getAllSubText(), "0");

    // Six significant digits, and the mode without its dual-mono offset.
    p->getKnob(0)->setValue(0.37, juce::dontSendNotification);
    p->getKnob(2)->setValue(5.0, juce::dontSendNotification);
    p->getGlobalData()->dualMono = true;
    p->getStateInformation(block);
    const auto changed = juce::AudioProcessor::getXmlFromBinary(block.getData(), (int)block.getSize());
    ASSERT_NE(changed, nullptr);
    EXPECT_EQ(changed->getChildByName("Knob0")->getAllSubText(), "0.37");
    EXPECT_EQ(changed->getChildByName("Knob2")->getAllSubText(), "5");
    EXPECT_EQ(changed->getChildByName("DualMono")->getAllSubText(), "1");
}

TEST_F(Session, NearlyEmptyStatesAndZeroPreset)
{
    auto p = makeProcessor();
    auto* global = p->getGlobalData();

    // 18 zeros: a real state.
    load(*p, blockOf(stateWithZeros(18)));
    EXPECT_TRUE(p->isRestorePending());
    EXPECT_FLOAT_EQ(knob(*p, 18), 0.5f);
    EXPECT_FLOAT_EQ(knob(*p, 19), 1.0f) << "the selector mirror takes whole positions";

    // 19 zeros: what some hosts hand over instead of a state; the instance keeps its knobs.
    load(*p, blockOf(stateWithZeros(19)));
    EXPECT_FALSE(p->isRestorePending());
    EXPECT_FLOAT_EQ(knob(*p, 18), 0.5f);

    // Negative values count as zero: 17 zeros and two negatives are 19.
    p->getKnob(5)->setValue(0.25, juce::dontSendNotification);
    auto negatives = stateWithZeros(17);
    negatives[17].second = "-0.5";
    negatives[18].second = "-3";
    load(*p, blockOf(negatives));
    EXPECT_FALSE(p->isRestorePending());
    EXPECT_FLOAT_EQ(knob(*p, 5), 0.25f) << "refused whole";

    // Without the option, all zeros are a state like any other and go to the unit.
    global->zeroPreset = false;
    load(*p, blockOf(stateWithZeros(20)));
    EXPECT_TRUE(p->isRestorePending());
    EXPECT_FLOAT_EQ(knob(*p, 5), 0.0f);
    EXPECT_FLOAT_EQ(knob(*p, 19), 0.0f);

    // Negatives are applied then (the knob clamps) but the state is not pushed.
    load(*p, blockOf(negatives));
    EXPECT_FALSE(p->isRestorePending());
}

TEST_F(Session, TagsIgnoreCaseAndEmptyOrJunkTextsAreSkipped)
{
    auto p = makeProcessor();
    p->getKnob(6)->setValue(0.42, juce::dontSendNotification);
    p->getKnob(7)->setValue(0.43, juce::dontSendNotification);
    auto elements = stateWithZeros(0);
    elements[3] = {"KNOB3", "0.25"};
    elements[4] = {"knob4", "0.75"};
    elements[6].second = "";
    elements[7].second = "loud";
    elements.emplace_back("Knob20", "0.9"); // beyond the stored knobs
    elements.emplace_back("Unknown", "1");
    load(*p, blockOf(elements));
    EXPECT_FLOAT_EQ(knob(*p, 3), 0.25f);
    EXPECT_FLOAT_EQ(knob(*p, 4), 0.75f);
    EXPECT_FLOAT_EQ(knob(*p, 6), 0.42f) << "an empty text keeps the knob";
    EXPECT_FLOAT_EQ(knob(*p, 7), 0.43f) << "a text that is no number keeps the knob";
    EXPECT_FLOAT_EQ(knob(*p, 20), 0.0f);
    EXPECT_TRUE(p->isRestorePending()) << "the rest still goes to the unit";
    // The host's mailbox holds what setParameter took.
    EXPECT_FLOAT_EQ(p->getGlobalData()->hostValue[3].load(), 0.25f);
    EXPECT_TRUE(p->getGlobalData()->hostChanged[3].load());
}

TEST_F(Session, TheModeAndItsRange)
{
    auto p = makeProcessor();
    auto elements = stateWithZeros(0);
    elements[2].second = "12";
    load(*p, blockOf(elements));
    EXPECT_FLOAT_EQ(knob(*p, 2), 11.0f) << "the selector clamps 12 to its last position";
    EXPECT_TRUE(p->isRestorePending()) << "12 is still in range";
    EXPECT_FALSE(p->getGlobalData()->hostChanged[2].load()) << "the host never sets the selector";

    elements[2].second = "12.01";
    load(*p, blockOf(elements));
    EXPECT_FALSE(p->isRestorePending());
}

TEST_F(Session, TheChannelModeSwitch)
{
    auto p = makeProcessor();
    auto* global = p->getGlobalData();
    auto clearRequests = [&]
    {
        global->requestDualMono = false;
        global->requestStereo = false;
        global->dualMonoEntered = false;
    };

    // No DualMono element: nothing changes and no view is asked for.
    global->dualMono = true;
    clearRequests();
    load(*p, blockOf(stateWithZeros(0)));
    EXPECT_TRUE(global->dualMono.load());
    EXPECT_FALSE(global->requestStereo.load());
    EXPECT_FALSE(global->requestDualMono.load());

    // "0" in dual mono asks for the stereo view; the editor changes dualMono, not the load.
    auto elements = stateWithZeros(0);
    elements.emplace_back("DualMono", "0");
    load(*p, blockOf(elements));
    EXPECT_TRUE(global->requestStereo.load());
    EXPECT_TRUE(global->dualMono.load());

    // "1" in stereo.
    global->dualMono = false;
    clearRequests();
    elements.back() = {"dualmono", "1"};
    load(*p, blockOf(elements));
    EXPECT_TRUE(global->dualMono.load());
    EXPECT_TRUE(global->requestDualMono.load());
    EXPECT_TRUE(global->dualMonoEntered.load());

    // AutoGain is on only for exactly "1".
    elements.back() = {"AutoGain", "1"};
    load(*p, blockOf(elements));
    EXPECT_TRUE(global->autoGainValue.load());
    EXPECT_TRUE(global->autoGainRequest.load());
    elements.back() = {"AUTOGAIN", "yes"};
    load(*p, blockOf(elements));
    EXPECT_FALSE(global->autoGainValue.load());
}

TEST_F(Session, BlocksThatAreNoStateChangeNothing)
{
    auto p = makeProcessor();
    load(*p, blockOf(stateWithZeros(0)));
    ASSERT_TRUE(p->isRestorePending());
    p->getKnob(1)->setValue(0.61, juce::dontSendNotification);

    auto good = blockOf(stateWithZeros(0));
    std::string noMagic(static_cast<const char*>(good.getData()), good.getSize());
    noMagic[0] = 'X';
    p->setStateInformation(noMagic.data(), (int)noMagic.size());
    std::string broken(static_cast<const char*>(good.getData()), good.getSize());
    broken.replace(broken.find("<Root"), 5, "<Ro<t"); // the document does not parse
    p->setStateInformation(broken.data(), (int)broken.size());
    p->setStateInformation(nullptr, 0);
    p->setStateInformation("VC2!", 4);

    EXPECT_FLOAT_EQ(knob(*p, 1), 0.61f);
    EXPECT_TRUE(p->isRestorePending()) << "left as it was";
}

// Random bytes, mutated states and absurd nesting: the host must survive them all.
TEST_F(Session, AnyBytesNeverBringTheHostDown)
{
    auto p = makeProcessor();
    std::mt19937 random(20240607u);
    auto byte = [&]
    {
        return (char)(random() & 0xff);
    };
    const auto valid = blockOf(stateWithZeros(2));
    const std::string validBytes(static_cast<const char*>(valid.getData()), valid.getSize());

    auto withHeader = [](const std::string& body)
    {
        std::string block = "VC2!";
        const uint32_t n = (uint32_t)body.size();
        for (int i = 0; i < 4; ++i)
            block += (char)((n >> (8 * i)) & 0xff);
        return block + body;
    };

    for (int round = 0; round < 6000; ++round)
    {
        std::string block;
        if (round % 3 == 0) // noise, every other one behind a header that fits
        {
            std::string body(random() % 600, ' ');
            for (auto& c : body)
                c = byte();
            block = round % 2 ? withHeader(body) : body;
        }
        else if (round % 3 == 1) // a real state with bytes flipped
        {
            block = validBytes;
            for (int flips = 1 + (int)(random() % 8); flips > 0; --flips)
                block[random() % block.size()] = byte();
        }
        else // a real state cut, or with pieces of XML spliced in
        {
            const std::string text = validBytes.substr(8, validBytes.size() - 9);
            const char* pieces[] = {"<Knob1>", "</Root>", "<![CDATA[", "&#x0;", "<KNOB2>1e38</KNOB2>",
                                    "<?xml",   "\xff\xfe"};
            std::string body = text.substr(0, random() % text.size());
            body += pieces[random() % 7];
            body += text.substr(random() % text.size());
            block = random() % 2 ? withHeader(body) : validBytes.substr(0, random() % validBytes.size());
        }
        p->setStateInformation(block.data(), (int)block.size());
        if (round % 500 == 0)
            TestEnvironment::pump(1);
    }

    std::string deep;
    for (int i = 0; i < 200000; ++i)
        deep += "<a>";
    const auto nested = withHeader(deep);
    p->setStateInformation(nested.data(), (int)nested.size());

    for (int i = 0; i < 20; ++i)
    {
        const float v = knob(*p, i);
        EXPECT_TRUE(std::isfinite(v));
        EXPECT_GE(v, 0.0f);
        EXPECT_LE(v, i == 2 || i == 19 ? 11.0f : 1.0f);
    }
    juce::MemoryBlock out;
    p->getStateInformation(out);
    EXPECT_NE(juce::AudioProcessor::getXmlFromBinary(out.getData(), (int)out.getSize()), nullptr);
}
