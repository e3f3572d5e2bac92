// "IP.txt" as the finder loads it: the stored address goes to the blackboard and transport.
#include "FuzzSupport.h"
#include "GlobalData.h"
#include "SafeAndLoad.h"
#include "TCPIP.h"

extern "C" int LLVMFuzzerInitialize(int*, char***)
{
    Fuzz::setUp();
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    static Settings settings;
    static GlobalData global(&settings);
    static SafeAndLoad store(&settings, &global);
    static TCPIP tcp(&store, &global, &settings);
    static const std::string path = store.makeInstanceFolder() + "/IP.txt";
    Fuzz::writeFile(path, Fuzz::bytes(data, size));
    if (store.LoadFiles())
        tcp.SetIP(global.deviceIp.get());
    return 0;
}
