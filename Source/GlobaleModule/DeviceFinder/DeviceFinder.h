#pragma once

#include <string>

struct Settings;
class TCPIP;
class Broadcast;
class GlobalData;

// Decides which unit an instance connects to; lives for one search.
class DeviceFinder
{
public:
    DeviceFinder(Settings* settings, TCPIP* tcp, Broadcast* broadcast, GlobalData* global);

    void findDevice();

    Settings* settings;
    TCPIP* tcp;
    Broadcast* broadcast;
    GlobalData* global;
};
