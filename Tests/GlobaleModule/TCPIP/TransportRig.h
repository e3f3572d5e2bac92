#pragma once

#include "GlobalData/GlobalData.h"
#include "SafeAndLoad/SafeAndLoad.h"
#include "TCPIP/TCPIP.h"

#include <string>

// A transport with a blackboard and files of its own, pointed at a port of an address.
struct Transport
{
    Settings settings;
    GlobalData global{&settings};
    SafeAndLoad store{&settings, &global};
    TCPIP tcp{&store, &global, &settings};
    explicit Transport(int port, const std::string& address = "127.0.0.1")
    {
        global.isMaster = true;
        tcp.SetIP(address);
        tcp.setPort(port);
    }
};
