#include "DeviceFinder.h"

#include "GlobalData.h"

DeviceFinder::DeviceFinder(Settings* s, TCPIP* t, Broadcast* b, GlobalData* g)
    : settings(s), tcp(t), broadcast(b), global(g)
{
}

void DeviceFinder::findDevice() {}
