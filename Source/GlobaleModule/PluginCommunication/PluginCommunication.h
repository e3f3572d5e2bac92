#pragma once

#include "Ground/RetryBackoff.h"
#include "Ground/SharedText.h"

#include <juce_events/juce_events.h>

#include <array>
#include <atomic>
#include <deque>
#include <functional>
#include <mutex>
#include <set>
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
    std::set<int> numbers;          // their numbers, each given to one living instance (lock)
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
    // The offer in IPChange is held for this slot until it reports what it took, or for a
    // few seconds; meanwhile other requests wait (lock).
    int offerTo = 0;
    double offerTime = 0.0;

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

    // The lowest number that no living instance of the process has; it stays this
    // instance's for its whole life, and so does the folder of that number.
    int getPluginNumber() const { return pluginNumber; }
    // The mailbox slot: the instance number; 0 for an instance beyond the coordinated slots.
    int getSlot() const { return slot; }
    // True when this instance searches the network itself: the master, an instance beyond
    // the coordinated slots, and a slave whose master has gone.
    bool searchesItself() const;
    bool worksAlone() const { return alone.load(); }

    // Master, messages 3 and 4: hands out units to sender from the device check's lists,
    // leaving out every unit another living instance drives. False when the answer has to
    // wait: no check has completed yet, one is running, or another slave's offer is held.
    bool RequestedIp(int sender);
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
    // Master: requests wait here, out of the slot, so that reports can come in meanwhile.
    void queueRequest(int sender);
    void serveWaitingRequests();
    bool mayAnswer(int sender) const;
    // Every instance publishes the unit it drives; the master's taken list follows them all.
    void publishHeldUnit();
    void gatherTakenUnits();
    void dropFromFreeUnits(const std::string& ip);
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
    std::atomic<bool> receiving{false};
    // The offer this slave was given, copied out of the shared arrays at once.
    std::array<std::string, 99> offer{};
    int offerCount = 0;
    // Nothing was offered: ask again after a growing wait.
    std::atomic<bool> retryPending{false};
    // Message thread only.
    RetryBackoff askAgain{1000, 8000};
    bool askAgainScheduled = false;
    std::deque<Posting> outbox;
    std::deque<int> waitingRequests;

    JUCE_DECLARE_NON_COPYABLE(PluginCommunication)
};

void delegatorSlaveRegister(void* owner);
void delegatorAcceptRegister(void* owner);
void delegatorReceiveIP(void* owner);
