#pragma once

#include <atomic>
#include <string>
#include <vector>

struct Settings;
class TCPIP;
class Broadcast;
class GlobalData;

// Decides which unit an instance connects to: the stored address first, then the broadcast.
// Every candidate is identified by its "/dinfo" page. Lives for one search, on the thread
// that runs it.
class DeviceFinder
{
public:
    DeviceFinder(Settings* settings, TCPIP* tcp, Broadcast* broadcast, GlobalData* global);

    // One complete search, run to its end on the calling thread. On success connected is up
    // with deviceSerial and devicePort known; when the choice is the user's an alert flag is up.
    void findDevice();

    // 1 found; 2 one other unit of the product; 10 several, no serial stored, none usable;
    // 12 several, none with the stored serial; -10 none; -9, -2, -1 the one unit is unusable.
    int DoABroadcast();
    // 1 the unit wanted; 2 the product with another serial; -1 bad page (or another product
    // with no serial stored); -2 no answer; -9 a serial is stored and the page lacks the code.
    int CheckRightDevice(int index);
    std::string GetSerialFromDevice();
    // The unit's name on its "/dinfo" page, or "Exit" when the instance is closing.
    std::string GetDName(const std::string& page);
    int GetDevicePort();

    // The result of the first stage (logged as "CheckAndLoad Result"): 1 the stored address
    // is the unit; -1 another unit answered; -2 no connection; -3 empty; -4 no stored address.
    int CheckAndLoad();

    // This search raised an alert: the user's answer will end it, not the thread.
    bool answerAwaited() const { return awaitingAnswer; }

    Settings* settings;
    TCPIP* tcp;
    Broadcast* broadcast;
    GlobalData* global;

private:
    // Up to three connection tests, stopping at the first success.
    bool connects();
    bool quitting() const;
    // Logs message and is true when the instance is closing.
    bool forceQuit(const char* message) const;
    void closingSteps();
    void raise(std::atomic<bool>& alert);
    void log(int level, const std::string& message, int line) const;
    // Another living instance of the process that drives ip, or 0: its unit is never taken.
    int holderOf(const std::string& ip) const;
    int ownNumber() const;
    // Claims the unit for this instance; false (and a log line) when another took it first.
    bool claimed(const std::string& ip);
    std::vector<int> unheldUnits();

    bool awaitingAnswer = false;
};

// The search of an instance, as both thread entries run it: the finder, then deviceFinderRunning
// down, and deviceFinderBusy down unless an alert awaits the user's answer.
void runDeviceSearch(Settings* settings, TCPIP* tcp, Broadcast* broadcast, GlobalData* global);
