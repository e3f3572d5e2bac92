// The unit's status datagram through the loop's parser, as the receive thread hands it over.
#include "FuzzSupport.h"
#include "PluginProcessor.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    // The receive takes at most 2047 bytes and ends the text at a zero byte.
    Fuzz::processor().ReadJson(Fuzz::received(data, size, 2047));
    Fuzz::drainMessages();
    return 0;
}
