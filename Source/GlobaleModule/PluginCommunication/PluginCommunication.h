#pragma once

#include "Ground/SharedText.h"

#include <juce_events/juce_events.h>

#include <array>
#include <atomic>
#include <deque>
#include <functional>
#include <mutex>
#include <string>
#include <thread>

class GlobalData;
struct Settings;
class SafeAndLoad;
class TCPIP;

// What the instances of one process share. The plug-in's code is loaded once per process, so
// there is exactly one of these; instances in other processes know nothing of it.
struct InstanceMailbox
{
    static constexpr int slotCount = 100;
    // Slots 1 to 19 take part in the hand-out; instances beyond that work alone.
    static constexpr int coordinatedSlots = 20;

    // The one lock of the coordination: a slot is checked and filled in one step under it,
    // so two posters never meet in a slot.
    std::mutex lock;
    int pluginCount = 0;            // living instances (lock)
    bool slotOwned[slotCount] = {}; // slot n belongs to a living instance (lock)
    std::atomic<int> flagMessage[slotCount]{};
    std::atomic<int> transmitter[slotCount]{};
    IpList allIps;
    std::atomic<int> AllIpCount{0};
    IpList IPChange;
    IpList SerialArray;
    std::atomic<int> countOfValidIPs{0};
    SharedString slavesNewIP;
    std::atomic<bool> masterPresent{false};
    // The offer in IPChange belongs to this slot until it has taken it (lock).
    int offerTo = 0;
    double offerTime = 0.0;
    int offerRound = 0;

    void clearShared();
};

InstanceMailbox& instanceMailbox();

// Instances of one process find each other here: the first is the master, later ones are
// slaves that get their units from it. Messages are numbers in the mailbox; every wait has a
// way out, so an instance can always be closed.
class PluginCommunication : private juce::Timer
{
public:
    PluginCommunication(GlobalData* global, Settings* settings, SafeAndLoad* safeAndLoad, TCPIP* tcp);
    ~PluginCommunication() override;

    int getPluginNumber() const { return pluginNumber; }
    // The mailbox slot: the instance number, unless a closed instance left its number to be
    // given out twice; 0 for an instance that works alone from the start.
    int getSlot() const { return slot; }
    // True when this instance searches the network itself: the master, an instance beyond
    // the coordinated slots, and a slave whose master has gone.
    bool searchesItself() const;
    bool worksAlone() const { return alone.load(); }

    // Master, messages 3 and 4: hands out units to sender from the device check's lists.
    void RequestedIp(int sender);
    // Slave: tells the master that it now drives another unit (message 14).
    void ReportChangedIp(const std::string& ip);

    // Message numbers.
    enum
    {
        msgRegister = 1,
        msgAsk = 3,
        msgAskAgain = 4,
        msgTaken = 5,
        msgAccepted = 11,
        msgFreeOffer = 13,
        msgChanged = 14,
        msgReceived = 15,
        msgOccupiedOffer = 23
    };

    // How long an unanswered choice holds the hand-out thread; tests shorten it.
    static void setChoiceLimitMs(int ms);

private:
    friend void delegatorSlaveRegister(void* owner);
    friend void delegatorAcceptRegister(void* owner);
    friend void delegatorReceiveIP(void* owner);

    struct Posting
    {
        int to = 0;
        int message = 0;
        std::string ip;
        bool withIp = false;
        double deadline = 0.0;
    };
    enum class Post
    {
        done,
        busy,
        gone
    };

    void timerCallback() override;
    void registerInstance();
    void unregisterInstance();
    void handleMessage(int message, int sender);
    void takeOffer(bool freeUnits);
    void takeReport(int sender, bool answer);
    void mirrorKnownUnits();
    void serveRequests();
    void noticeMasterGone();
    void goAlone(const char* why);

    // Fills the slot of to in one step, or tells why not.
    Post tryPost(int to, int message, const std::string* ip);
    void queuePost(int to, int message, const std::string* ip = nullptr);
    void sendQueued();
    // Waits on a worker thread, looking every few milliseconds; false on the way out.
    bool waitUntil(const std::function<bool()>& done, int limitMs, bool forReceive);
    bool postFromThread(int message, const std::string* ip, bool forReceive);
    bool stopping(bool forReceive) const;
    void startReceiveThread(bool freeUnits);
    static void joinThread(std::thread& thread);

    // The hand-out on the slave's thread.
    void receiveIp();
    int indexInOffer(const std::string& ip) const;
    void takeSingleOffer();
    bool usersChoice(std::atomic<bool>& alertFlag);
    void log(int level, const juce::String& message, bool ownFolder, int line = __builtin_LINE()) const;

    std::atomic<bool> hasFreeIps{false};
    GlobalData* global;
    Settings* settings;
    TCPIP* tcp;
    SafeAndLoad* safeAndLoad;
    std::thread receiveThread;
    std::thread registerThread;
    std::thread acceptThread;
    int pluginNumber = 1;
    int slot = 0;

    std::atomic<bool> closing{false};
    std::atomic<bool> alone{false};
    std::atomic<bool> acceptRunning{false};
    std::atomic<bool> abandonReceive{false};
    // The offer this slave was given, copied out of the shared arrays at once.
    std::array<std::string, 99> offer{};
    int offerCount = 0;
    int offerRound = 0;
    std::atomic<bool> retryPending{false};
    std::deque<Posting> outbox;

    JUCE_DECLARE_NON_COPYABLE(PluginCommunication)
};

void delegatorSlaveRegister(void* owner);
void delegatorAcceptRegister(void* owner);
void delegatorReceiveIP(void* owner);
