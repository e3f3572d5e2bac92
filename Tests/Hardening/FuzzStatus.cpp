// The unit's status datagram through the parser, as the receive thread hands it over, and
// what the processor takes over from it.
#include "FuzzSupport.h"
#include "PluginProcessor.h"
#include "StatusDatagram.h"

#include <cmath>
#include <cstdlib>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    // The receive takes at most 2047 bytes and ends the text at a zero byte.
    const auto text = Fuzz::received(data, size, 2047);
    if (const auto status = parseStatusDatagram(text))
        for (const auto& row : status->table)
            for (float cell : row)
                if (!(std::fabs(cell) <= 16777216.0f))
                    std::abort(); // every figure stays where a float holds it exactly
    Fuzz::processor().ReadJson(text);
    Fuzz::drainMessages();
    return 0;
}
