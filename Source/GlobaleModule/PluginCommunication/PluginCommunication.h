#pragma once

#include <juce_events/juce_events.h>

class GlobalData;
struct Settings;
class SafeAndLoad;
class TCPIP;

// Instances of one process find each other here: the first is the master, later ones are
// slaves that get their units from it.
class PluginCommunication : private juce::Timer
{
public:
    PluginCommunication(GlobalData* global, Settings* settings, SafeAndLoad* safeAndLoad, TCPIP* tcp);
    ~PluginCommunication() override;

    int getPluginNumber() const { return pluginNumber; }

private:
    void timerCallback() override;

    GlobalData* global;
    Settings* settings;
    TCPIP* tcp;
    SafeAndLoad* safeAndLoad;
    int pluginNumber = 1;
};
