// A reply to the discovery request, as the search hands it to the broadcaster.
#include "Broadcast/Broadcast.h"
#include "FuzzSupport.h"
#include "GlobalData/GlobalData.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    // A fresh list each time, filled by the same reply from each possible sender until full.
    Broadcast broadcast(&Fuzz::global(), Fuzz::settings().deviceCode);
    const std::size_t length = size < Broadcast::maxReply ? size : Broadcast::maxReply;
    for (unsigned int sender = 1; sender <= Broadcast::maxUnits + 1; ++sender)
        broadcast.handleReply(reinterpret_cast<const char*>(data), length, sender << 24 | 127u);
    (void)Broadcast::nameInReply(Fuzz::received(data, size, Broadcast::maxReply));
    return 0;
}
