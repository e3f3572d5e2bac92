#pragma once

#include <juce_events/juce_events.h>

#include <atomic>
#include <thread>

class GlobalData;
class Broadcast;
struct Settings;

// The master's watch over the units on the network: every ten seconds one broadcast on a
// thread of its own, which rewrites the lists of found, known and free units.
class MasterDeviceChecker : private juce::Timer
{
public:
    MasterDeviceChecker(GlobalData* global, Broadcast* broadcast, Settings* settings);
    // Ends a running check by its flag and joins it; the broadcast ends promptly once the
    // processor has raised quitRequested.
    ~MasterDeviceChecker() override;

    // Starts one check on its own thread unless one is running (message thread).
    void startCheck();

    // The period of the watch, 10 s; tests shorten it before the checker is made.
    static void setIntervalMs(int ms);
    static int intervalMs();

private:
    friend void delegatorCheck(void* owner);

    void timerCallback() override;
    void runCheck();
    bool stopRequested() const;
    bool waitForFinder();
    void takeFoundUnits(int count);
    int workOutFreeUnits(int count);

    GlobalData* global;
    std::thread thread;
    Broadcast* broadcast;
    Settings* settings;
    std::atomic<bool> stopping{false};

    JUCE_DECLARE_NON_COPYABLE(MasterDeviceChecker)
};

void delegatorCheck(void* owner);
