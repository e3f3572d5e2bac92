#pragma once

#include <juce_events/juce_events.h>

class GlobalData;
class Broadcast;
class TCPIP;
struct Settings;

// The master's ten-second watch over the units on the network.
class MasterDeviceChecker : private juce::Timer
{
public:
    MasterDeviceChecker(GlobalData* global, Broadcast* broadcast, Settings* settings);
    ~MasterDeviceChecker() override;

    // Starts one check on its own thread unless one is running.
    void startCheck();

private:
    void timerCallback() override;

    GlobalData* global;
    Broadcast* broadcast;
    Settings* settings;
};
