// The built plug-in as a host sees it.
#include <gtest/gtest.h>
#include <juce_audio_processors/juce_audio_processors.h>

#include <cstring>
#include <memory>

namespace
{
struct Format
{
    const char* name;
    juce::String path;
};

// The VST3 bundle is two levels above its binary (Contents/<architecture>).
void PrintTo(const Format& format, std::ostream* out)
{
    *out << format.name;
}

const Format vst2{"VST", MORVANE_VST2_PATH};
const Format vst3{
    "VST3", juce::File(MORVANE_VST3_BINARY_DIR).getParentDirectory().getParentDirectory().getFullPathName()};

std::unique_ptr<juce::AudioPluginInstance> load(const Format& format)
{
    juce::AudioPluginFormatManager manager;
    manager.addDefaultFormats();
    juce::AudioPluginFormat* chosen = nullptr;
    for (auto* candidate : manager.getFormats())
        if (candidate->getName() == format.name)
            chosen = candidate;
    if (chosen == nullptr)
        return nullptr;

    juce::OwnedArray<juce::PluginDescription> found;
    chosen->findAllTypesForFile(found, format.path);
    if (found.isEmpty())
        return nullptr;
    juce::String error;
    auto instance = manager.createPluginInstance(*found[0], 48000.0, 256, error);
    return instance;
}

// The binary XML state block of the framework: "VC2!", size, the text, a zero.
juce::MemoryBlock stateOf(const juce::XmlElement& xml)
{
    juce::MemoryBlock block;
    juce::AudioProcessor::copyXmlToBinary(xml, block);
    return block;
}

// The state as a host stores it: a VST2 host keeps the plug-in's chunk in an "FPCh"
// program file, the framework's VST3 host keeps it base64 inside its own XML.
juce::MemoryBlock hostStateOf(const Format& format, const juce::MemoryBlock& pluginBlock)
{
    juce::MemoryBlock out;
    if (std::string(format.name) == "VST3")
    {
        juce::XmlElement state("VST3PluginState");
        state.createNewChildElement("IComponent")->addTextElement(pluginBlock.toBase64Encoding());
        juce::AudioProcessor::copyXmlToBinary(state, out);
        return out;
    }
    juce::MemoryOutputStream stream(out, false);
    auto bigEndian = [&stream](int value)
    {
        stream.writeIntBigEndian(value);
    };
    bigEndian((int)juce::ByteOrder::bigEndianInt("CcnK"));
    bigEndian((int)(52 + pluginBlock.getSize()));
    bigEndian((int)juce::ByteOrder::bigEndianInt("FPCh"));
    bigEndian(1);
    bigEndian((int)juce::ByteOrder::bigEndianInt("Mrvn"));
    bigEndian(20310);
    bigEndian(1);
    char name[28] = {};
    stream.write(name, sizeof(name));
    bigEndian((int)pluginBlock.getSize());
    stream.write(pluginBlock.getData(), pluginBlock.getSize());
    stream.flush();
    return out;
}

// The plug-in's own block inside what a host saved.
std::string pluginBytesOf(const Format& format, const juce::MemoryBlock& hostState)
{
    if (std::string(format.name) == "VST3")
    {
        if (auto xml = juce::AudioProcessor::getXmlFromBinary(hostState.getData(), (int)hostState.getSize()))
            if (auto* component = xml->getChildByName("IComponent"))
            {
                juce::MemoryBlock block;
                block.fromBase64Encoding(component->getAllSubText());
                return std::string(static_cast<const char*>(block.getData()), block.getSize());
            }
        return {};
    }
    return std::string(static_cast<const char*>(hostState.getData()), hostState.getSize());
}

juce::XmlElement knobDocument()
{
    juce::XmlElement root("Root");
    for (int i = 0; i < 20; ++i)
        root.createNewChildElement("Knob" + juce::String(i))
            ->addTextElement(juce::String(i == 2 ? 7.0f : 0.05f * (float)(i % 19 + 1)));
    root.createNewChildElement("AutoGain")->addTextElement("1");
    root.createNewChildElement("DualMono")->addTextElement("0");
    return root;
}

class Hosted : public testing::TestWithParam<Format>
{
};

class SessionThroughHost : public testing::TestWithParam<Format>
{
};
} // namespace

TEST_P(Hosted, ShowsSixteenParametersAndTwoStereoBuses)
{
    auto plugin = load(GetParam());
    ASSERT_NE(plugin, nullptr) << GetParam().path;
    EXPECT_EQ(plugin->getName(), "Morvane");

    // The VST3 wrapper adds a bypass switch of its own behind the plug-in's parameters.
    const auto& parameters = plugin->getParameters();
    ASSERT_EQ(parameters.size(), std::string(GetParam().name) == "VST3" ? 17 : 16);
    const char* names[] = {"Input L",     "Attack L",  "Mode L",      "Output L", "Threshold", "Release L",
                           "Sidechain L", "Mix L",     "--------",    "Input R",  "Attack R",  "Output R",
                           "Threshold R", "Release R", "Sidechain R", "Mix R"};
    for (int i = 0; i < 16; ++i)
    {
        EXPECT_EQ(parameters[i]->getName(64), names[i]) << i;
        EXPECT_EQ(parameters[i]->getValue(), 0.0f) << i;
    }

    EXPECT_EQ(plugin->getTotalNumInputChannels(), 2);
    EXPECT_EQ(plugin->getTotalNumOutputChannels(), 2);
    juce::AudioProcessor::BusesLayout mono;
    mono.inputBuses.add(juce::AudioChannelSet::mono());
    mono.outputBuses.add(juce::AudioChannelSet::mono());
    // The framework's VST2 host takes a layout on its own side and asks the plug-in only
    // when it prepares; the VST3 host asks at once.
    if (std::string(GetParam().name) == "VST3")
    {
        EXPECT_FALSE(plugin->setBusesLayout(mono));
        EXPECT_EQ(plugin->getTotalNumInputChannels(), 2);
    }
}

TEST_P(Hosted, PassesAudioBitForBit)
{
    auto plugin = load(GetParam());
    ASSERT_NE(plugin, nullptr);
    plugin->prepareToPlay(48000.0, 256);
    juce::Random random(42);
    for (int block = 0; block < 8; ++block)
    {
        juce::AudioBuffer<float> buffer(2, 256);
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

TEST_P(Hosted, GivesItsStateBlock)
{
    auto plugin = load(GetParam());
    ASSERT_NE(plugin, nullptr);
    juce::MemoryBlock state;
    plugin->getStateInformation(state);
    const auto bytes = pluginBytesOf(GetParam(), state);
    // The plug-in's block sits whole inside whatever the format wraps around it.
    const auto magic = bytes.find("VC2!");
    ASSERT_NE(magic, std::string::npos);
    const auto first = bytes.find("<Knob0>0</Knob0>", magic);
    const auto last = bytes.find("<Knob19>0</Knob19>", magic);
    const auto autoGain = bytes.find("<AutoGain>0</AutoGain>", magic);
    const auto dualMono = bytes.find("<DualMono>0</DualMono>", magic);
    ASSERT_NE(first, std::string::npos);
    EXPECT_LT(first, last);
    EXPECT_LT(last, autoGain);
    EXPECT_LT(autoGain, dualMono);
    EXPECT_EQ(bytes.find("<Knob20>"), std::string::npos);
}

TEST_P(SessionThroughHost, StateOfOneInstanceRestoresAFreshOne)
{
    auto first = load(GetParam());
    ASSERT_NE(first, nullptr);
    const auto block = hostStateOf(GetParam(), stateOf(knobDocument()));
    first->setStateInformation(block.getData(), (int)block.getSize());
    juce::MemoryBlock saved;
    first->getStateInformation(saved);

    auto second = load(GetParam());
    ASSERT_NE(second, nullptr);
    second->setStateInformation(saved.getData(), (int)saved.getSize());
    for (int i = 0; i < 16; ++i)
        EXPECT_NEAR(second->getParameters()[i]->getValue(), first->getParameters()[i]->getValue(), 1e-6) << i;
    EXPECT_NEAR(first->getParameters()[3]->getValue(), 0.2f, 1e-6);

    juce::MemoryBlock again;
    second->getStateInformation(again);
    const auto restored = pluginBytesOf(GetParam(), again);
    EXPECT_EQ(restored, pluginBytesOf(GetParam(), saved));
    EXPECT_NE(restored.find("<Knob19>0</Knob19><AutoGain>1</AutoGain><DualMono>0</DualMono>"),
              std::string::npos)
        << restored;
}

INSTANTIATE_TEST_SUITE_P(Formats, Hosted, testing::Values(vst2, vst3),
                         [](const auto& info) { return std::string(info.param.name); });
INSTANTIATE_TEST_SUITE_P(Formats, SessionThroughHost, testing::Values(vst2, vst3),
                         [](const auto& info) { return std::string(info.param.name); });
