// The host's state block. Odd first byte: the rest is handed over as it is, framing and all;
// even: the rest is the XML text inside a well-formed frame, so the document itself is fuzzed.
#include "FuzzSupport.h"
#include "PluginProcessor.h"

#include <juce_audio_processors/juce_audio_processors.h>

namespace
{
juce::MemoryBlock framed(const uint8_t* text, std::size_t size)
{
    // The framework's binary frame: magic, text length, text, terminating zero.
    juce::MemoryBlock block;
    juce::MemoryOutputStream out(block, false);
    out.writeInt(0x21324356);
    out.writeInt((int)size + 1);
    out.write(text, size);
    out.writeByte(0);
    out.flush();
    return block;
}
} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    if (size == 0)
        return 0;
    auto& processor = Fuzz::processor();
    if (data[0] & 1)
    {
        processor.setStateInformation(data + 1, (int)(size - 1));
    }
    else
    {
        const auto block = framed(data + 1, size - 1);
        processor.setStateInformation(block.getData(), (int)block.getSize());
    }
    Fuzz::drainMessages();
    return 0;
}
