#pragma once

#include <juce_core/juce_core.h>

#include <string>

class GlobalData;

// Finds the units on the local networks by one UDP request per IPv4 interface.
class Broadcast
{
public:
    Broadcast(GlobalData* global, const std::string& deviceCode);

    // One complete search; blocks at least a second per interface.
    void BroadcastToAllInterfaces();

    juce::String names[10];
    GlobalData* global;
    std::string deviceCode;
    std::string lastIp;
    std::string ips[10];
    int count = 0;
    int addressParts[4] = {};
};
