// "IP.txt" as the finder loads it: the stored address goes to the blackboard and transport.
#include "FuzzSupport.h"
#include "GlobalData/GlobalData.h"
#include "SafeAndLoad/SafeAndLoad.h"
#include "TCPIP/TCPIP.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    static TCPIP tcp(&Fuzz::store(), &Fuzz::global(), &Fuzz::settings());
    static const std::string path = Fuzz::store().makeInstanceFolder() + "/IP.txt";
    Fuzz::writeFile(path, Fuzz::bytes(data, size));
    if (Fuzz::store().LoadFiles())
        tcp.SetIP(Fuzz::global().deviceIp.get());
    return 0;
}
