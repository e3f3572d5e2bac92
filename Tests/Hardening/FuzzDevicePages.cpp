// The replies of "/info", "/dinfo" and "/balance" through their cutting.
#include "FuzzSupport.h"
#include "TCPIP/DeviceQueries.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    const auto reply = Fuzz::bytes(data, size);
    (void)DeviceQueries::portOfInfo(reply);
    (void)DeviceQueries::serialOfDinfo(reply);
    (void)DeviceQueries::nameOfDinfo(reply);
    (void)DeviceQueries::macOfDinfo(reply);
    (void)DeviceQueries::is404(reply);
    float balance = 0.0f;
    (void)DeviceQueries::balanceOfReply(reply, balance);
    return 0;
}
