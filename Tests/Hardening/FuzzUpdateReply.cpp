// The update server's reply through its cutting and the checks of the offered link.
#include "CallHome/UpdateServer.h"
#include "FuzzSupport.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    const auto reply = Fuzz::bytes(data, size);
    (void)UpdateServer::reportsError(reply);
    UpdateServer::Offer offer;
    if (UpdateServer::cutReply(reply, offer))
        (void)UpdateServer::isServerPath(offer.link);
    return 0;
}
