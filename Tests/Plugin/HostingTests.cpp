// The built plug-in as a host sees it.
#include <gtest/gtest.h>
#include <juce_audio_processors/juce_audio_processors.h>

#include "TestEnvironment.h"

#include <cstdlib>
#include <cstring>
#include <memory>

namespace
{
struct Format
{
    const char* name;
    juce::String path; // for LV2 the folder of bundles, searched for the plug-in's URI
    bool vst3;
    bool lv2 = false;
};

void PrintTo(const Format& format, std::ostream* out)
{
    *out << format.name;
}

// The build's binaries, or those installed below MORVANE_HOSTED_PREFIX (an unpacked package's usr).
juce::String located(const juce::String& built, const char* installed)
{
    const char* prefix = std::getenv("MORVANE_HOSTED_PREFIX");
    return prefix != nullptr && *prefix != '\0' ? juce::String(prefix) + installed : built;
}

const Format vst2{"VST", located(MORVANE_VST2_PATH, "/lib/vst/Morvane.so"), false};
// The VST3 bundle is two levels above its binary (Contents/<architecture>).
const Format vst3{
    "VST3",
    located(juce::File(MORVANE_VST3_BINARY_DIR).getParentDirectory().getParentDirectory().getFullPathName(),
            "/lib/vst3/Morvane.vst3"),
    true};
const Format lv2{"LV2",
                 located(juce::File(MORVANE_LV2_BUNDLE).getParentDirectory().getFullPathName(), "/lib/lv2"),
                 false, true};

std::unique_ptr<juce::AudioPluginInstance> load(const Format& format)
{
    juce::AudioPluginFormatManager manager;
    manager.addDefaultFormats();
    juce::OwnedArray<juce::PluginDescription> found;
    for (auto* candidate : manager.getFormats())
        if (candidate->getName() == format.name)
        {
            if (format.lv2)
                candidate->searchPathsForPlugins(juce::FileSearchPath(format.path), false, false);
            candidate->findAllTypesForFile(found, format.lv2 ? MORVANE_LV2_URI : format.path);
        }
    juce::String error;
    return found.isEmpty() ? nullptr : manager.createPluginInstance(*found[0], 48000.0, 256, error);
}

// The state as a host stores it: a VST2 host keeps the plug-in's chunk in an "FPCh"
// program file, the framework's VST3 host keeps it base64 inside its own XML, an LV2 host in
// a Turtle preset (the plug-in's own saved state serves as the frame).
juce::MemoryBlock hostStateOf(const Format& format, const juce::MemoryBlock& pluginBlock,
                              juce::AudioPluginInstance& plugin)
{
    juce::MemoryBlock out;
    if (format.lv2)
    {
        plugin.getStateInformation(out);
        const auto turtle = out.toString();
        const int open = turtle.indexOf(":StateString> \"") + (int)std::strlen(":StateString> \"");
        const int close = turtle.indexOfChar(open, '"');
        const auto replaced = turtle.replaceSection(open, close - open, pluginBlock.toBase64Encoding());
        out.replaceAll(replaced.toRawUTF8(), replaced.getNumBytesAsUTF8());
        return out;
    }
    if (format.vst3)
    {
        juce::XmlElement state("VST3PluginState");
        state.createNewChildElement("IComponent")->addTextElement(pluginBlock.toBase64Encoding());
        juce::AudioProcessor::copyXmlToBinary(state, out);
        return out;
    }
    juce::MemoryOutputStream stream(out, false);
    for (int value : {(int)juce::ByteOrder::bigEndianInt("CcnK"), (int)(52 + pluginBlock.getSize()),
                      (int)juce::ByteOrder::bigEndianInt("FPCh"), 1,
                      (int)juce::ByteOrder::bigEndianInt("Mrvn"), 20310, 1})
        stream.writeIntBigEndian(value);
    char name[28] = {};
    stream.write(name, sizeof(name));
    stream.writeIntBigEndian((int)pluginBlock.getSize());
    stream.write(pluginBlock.getData(), pluginBlock.getSize());
    stream.flush();
    return out;
}

// The plug-in's own block inside what a host saved.
std::string pluginBytesOf(const Format& format, const juce::MemoryBlock& hostState)
{
    juce::MemoryBlock block(hostState);
    if (format.vst3)
    {
        const auto xml =
            juce::AudioProcessor::getXmlFromBinary(hostState.getData(), (int)hostState.getSize());
        const auto* component = xml != nullptr ? xml->getChildByName("IComponent") : nullptr;
        block.reset();
        if (component != nullptr)
            block.fromBase64Encoding(component->getAllSubText());
    }
    if (format.lv2) // a Turtle preset whose state string is the block in the framework's base64
    {
        const auto encoded = hostState.toString()
                                 .fromFirstOccurrenceOf(":StateString> \"", false, false)
                                 .upToFirstOccurrenceOf("\"", false, false);
        block.reset();
        block.fromBase64Encoding(encoded);
    }
    return std::string(static_cast<const char*>(block.getData()), block.getSize());
}

// The plug-in's own state block of 20 knobs and its two switches.
juce::MemoryBlock knobBlock()
{
    juce::XmlElement root("Root");
    for (int i = 0; i < 20; ++i)
        root.createNewChildElement("Knob" + juce::String(i))
            ->addTextElement(juce::String(i == 2 ? 7.0f : 0.05f * (float)(i % 19 + 1)));
    root.createNewChildElement("AutoGain")->addTextElement("1");
    root.createNewChildElement("DualMono")->addTextElement("0");
    juce::MemoryBlock block;
    juce::AudioProcessor::copyXmlToBinary(root, block);
    return block;
}

class Hosted : public testing::TestWithParam<Format>
{
};

// An LV2 plug-in tells its host of new values in its audio callback: a tick of the plug-in
// and a few blocks later the host has them.
void settle(juce::AudioPluginInstance& plugin)
{
    plugin.prepareToPlay(48000.0, 256);
    juce::AudioBuffer<float> buffer(2, 256);
    juce::MidiBuffer midi;
    for (int block = 0; block < 10; ++block)
    {
        TestEnvironment::pump(50);
        buffer.clear();
        plugin.processBlock(buffer, midi);
    }
    TestEnvironment::pump(50);
}

juce::String idOf(const juce::AudioProcessorParameter* parameter)
{
    const auto* hosted = dynamic_cast<const juce::HostedAudioProcessorParameter*>(parameter);
    return hosted != nullptr ? hosted->getParameterID() : juce::String();
}

class SessionThroughHost : public testing::TestWithParam<Format>
{
};
} // namespace

TEST_P(Hosted, ShowsItsParametersBusesAndStateAndPassesAudioBitForBit)
{
    const bool vst3 = GetParam().vst3;
    auto plugin = load(GetParam());
    ASSERT_NE(plugin, nullptr) << GetParam().path;
    EXPECT_EQ(plugin->getName(), "Morvane");

    // The VST3 and LV2 wrappers add a bypass switch of their own, behind the plug-in's parameters
    // in VST3 and before them in LV2.
    const bool lv2 = GetParam().lv2;
    const auto& parameters = plugin->getParameters();
    ASSERT_EQ(parameters.size(), vst3 || lv2 ? 17 : 16);
    // Stable, distinct IDs: a VST3 session of an earlier build finds its parameters again.
    if (vst3)
        for (const auto& [index, id] :
             {std::pair<int, const char*>{0, "48"}, {9, "57"}, {10, "1567"}, {15, "1572"}})
            EXPECT_EQ(idOf(parameters[index]), id) << index;
    const char* names[] = {"Input L",     "Attack L",  "Mode L",      "Output L", "Threshold", "Release L",
                           "Sidechain L", "Mix L",     "--------",    "Input R",  "Attack R",  "Output R",
                           "Threshold R", "Release R", "Sidechain R", "Mix R"};
    for (int i = 0; i < 16; ++i)
    {
        EXPECT_EQ(parameters[i + lv2]->getName(64), names[i]) << i;
        EXPECT_EQ(parameters[i + lv2]->getValue(), 0.0f) << i;
    }

    EXPECT_EQ(plugin->getTotalNumInputChannels(), 2);
    EXPECT_EQ(plugin->getTotalNumOutputChannels(), 2);
    // The framework's VST2 host takes a layout on its own side and asks the plug-in only
    // when it prepares; the VST3 host asks at once.
    if (vst3)
    {
        juce::AudioProcessor::BusesLayout mono;
        mono.inputBuses.add(juce::AudioChannelSet::mono());
        mono.outputBuses.add(juce::AudioChannelSet::mono());
        EXPECT_FALSE(plugin->setBusesLayout(mono));
        EXPECT_EQ(plugin->getTotalNumInputChannels(), 2);
    }

    // The plug-in's block sits whole inside whatever the format wraps around it.
    juce::MemoryBlock state;
    plugin->getStateInformation(state);
    const auto bytes = pluginBytesOf(GetParam(), state);
    const auto magic = bytes.find("VC2!");
    ASSERT_NE(magic, std::string::npos);
    std::size_t at = magic;
    for (const char* element :
         {"<Knob0>0</Knob0>", "<Knob19>0</Knob19>", "<AutoGain>0</AutoGain>", "<DualMono>0</DualMono>"})
    {
        const auto next = bytes.find(element, at);
        EXPECT_NE(next, std::string::npos) << element << " in order";
        at = std::min(next, bytes.size());
    }
    EXPECT_EQ(bytes.find("<Knob20>"), std::string::npos);

    plugin->prepareToPlay(48000.0, 256);
    juce::Random random(42);
    juce::AudioBuffer<float> buffer(2, 256);
    for (int block = 0; block < 8; ++block)
    {
        for (int c = 0; c < 2; ++c)
            for (int i = 0; i < 256; ++i)
                buffer.setSample(c, i, random.nextFloat() * 2.0f - 1.0f);
        const juce::AudioBuffer<float> original(buffer);
        juce::MidiBuffer midi;
        plugin->processBlock(buffer, midi);
        for (int c = 0; c < 2; ++c)
            ASSERT_EQ(std::memcmp(buffer.getReadPointer(c), original.getReadPointer(c), 256 * sizeof(float)),
                      0);
    }
    plugin->releaseResources();
}

TEST_P(SessionThroughHost, StateOfOneInstanceRestoresAFreshOne)
{
    auto first = load(GetParam());
    ASSERT_NE(first, nullptr);
    const auto block = hostStateOf(GetParam(), knobBlock(), *first);
    first->setStateInformation(block.getData(), (int)block.getSize());
    settle(*first);
    juce::MemoryBlock saved;
    first->getStateInformation(saved);

    auto second = load(GetParam());
    ASSERT_NE(second, nullptr);
    second->setStateInformation(saved.getData(), (int)saved.getSize());
    settle(*second);
    // The LV2 host lists its bypass first.
    const int at = GetParam().lv2 ? 1 : 0;
    ASSERT_GE(second->getParameters().size(), 16 + at);
    for (int i = at; i < 16 + at; ++i)
        EXPECT_NEAR(second->getParameters()[i]->getValue(), first->getParameters()[i]->getValue(), 1e-6) << i;
    EXPECT_NEAR(first->getParameters()[3 + at]->getValue(), 0.2f, 1e-6);
    EXPECT_NEAR(first->getParameters()[2 + at]->getValue(), 7.0f / 11.0f, 1e-6) << "the mode's position";

    juce::MemoryBlock again;
    second->getStateInformation(again);
    const auto restored = pluginBytesOf(GetParam(), again);
    EXPECT_EQ(restored, pluginBytesOf(GetParam(), saved));
    EXPECT_NE(restored.find("<Knob19>0</Knob19><AutoGain>1</AutoGain><DualMono>0</DualMono>"),
              std::string::npos)
        << restored;
}

INSTANTIATE_TEST_SUITE_P(Formats, Hosted, testing::Values(vst2, vst3, lv2),
                         [](const auto& info) { return std::string(info.param.name); });
INSTANTIATE_TEST_SUITE_P(Formats, SessionThroughHost, testing::Values(vst2, vst3, lv2),
                         [](const auto& info) { return std::string(info.param.name); });
