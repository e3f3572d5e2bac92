#include "PluginCommunication/PluginCommunication.h"

#include "Debug/Debug.h"
#include "GlobalData/GlobalData.h"
#include "GlobalData/HeldUnits.h"
#include "SafeAndLoad/SafeAndLoad.h"
#include "TCPIP/TCPIP.h"

#include <algorithm>
#include <chrono>
#include <vector>

namespace
{
constexpr const char* logFolder = "PluginCommunication";
// A worker looks at its condition this often.
constexpr int lookMs = 5;
// A slave's posting to the master's slot gives up after this; the slot frees within one
// device check while the master lives.
constexpr int postLimitMs = 60000;
// A reply of the master to a slave whose slot stays occupied is dropped after this.
constexpr int replyLimitMs = 5000;
// The offer stays for its slave this long; later requests wait in the master's slot.
constexpr int offerHoldMs = 3000;
// The re-request of the user may find deviceFinderBusy still down for a moment.
constexpr int finderBusyLimitMs = 1000;
constexpr int lastListIndex = 98;

std::atomic<int> choiceLimitMs{10 * 60 * 1000};

double nowMs()
{
    return juce::Time::getMillisecondCounterHiRes();
}

int clampCount(int count)
{
    return std::clamp(count, 0, lastListIndex);
}
} // namespace

void InstanceMailbox::clearShared()
{
    for (int i = 0; i < slotCount; ++i)
    {
        flagMessage[i] = 0;
        transmitter[i] = 0;
        slotOwned[i] = false;
    }
    numbers.clear();
    allIps.clear();
    AllIpCount = 0;
    IPChange.clear();
    SerialArray.clear();
    countOfValidIPs = 0;
    slavesNewIP = "";
    masterPresent = false;
    offerTo = 0;
    offerTime = 0.0;
}

InstanceMailbox& instanceMailbox()
{
    static InstanceMailbox mailbox;
    return mailbox;
}

void PluginCommunication::setChoiceLimitMs(int ms)
{
    choiceLimitMs = std::max(1, ms);
}

// ---------------------------------------------------------------- construction

PluginCommunication::PluginCommunication(GlobalData* g, Settings* s, SafeAndLoad* store, TCPIP* t)
    : global(g), settings(s), tcp(t), safeAndLoad(store)
{
    registerInstance();
    log(0, "Register me as: " + juce::String(pluginNumber), true);
    startTimer(20);
    global->takenIpCount = pluginNumber;
    log(35, "Plugin Count ist : " + juce::String(pluginNumber), false);

    if (pluginNumber == 1)
    {
        global->isMaster = true;
        log(35, "Me is master", false);
        return;
    }

    global->isMaster = false;
    global->slaveIndex = pluginNumber;
    // The slave's folder holds the unit it drove last; the hand-out compares with it.
    safeAndLoad->LoadFiles();
    if (slot == 0)
        goAlone("instance number beyond the mailbox");
    else
        registerThread = std::thread(delegatorSlaveRegister, this);
}

// Numbers are unique among the living instances: the lowest free one, so a number (and its
// folder) comes back only when the instance that had it is gone. Number 1 is the master's:
// an instance made while the master is gone takes the role.
void PluginCommunication::registerInstance()
{
    auto& box = instanceMailbox();
    std::lock_guard<std::mutex> lock(box.lock);
    if (box.numbers.empty())
        box.clearShared();
    pluginNumber = 1;
    while (box.numbers.count(pluginNumber) != 0)
        ++pluginNumber;
    box.numbers.insert(pluginNumber);
    box.pluginCount = (int)box.numbers.size();
    slot = pluginNumber < InstanceMailbox::coordinatedSlots ? pluginNumber : 0;
    if (pluginNumber == 1)
        box.masterPresent = true;
    if (slot > 0)
    {
        box.slotOwned[slot] = true;
        box.flagMessage[slot] = 0;
        box.transmitter[slot] = 0;
    }
}

PluginCommunication::~PluginCommunication()
{
    stopTimer();
    closing = true;
    abandonReceive = true;
    joinThread(registerThread);
    joinThread(acceptThread);
    joinThread(receiveThread);
    unregisterInstance();
}

void PluginCommunication::unregisterInstance()
{
    auto& box = instanceMailbox();
    std::lock_guard<std::mutex> lock(box.lock);
    if (slot > 0)
    {
        box.slotOwned[slot] = false;
        box.flagMessage[slot] = 0;
        box.transmitter[slot] = 0;
        if (box.offerTo == slot)
            box.offerTo = 0;
    }
    if (slot == 1)
        box.masterPresent = false;
    box.numbers.erase(pluginNumber);
    box.pluginCount = (int)box.numbers.size();
    HeldUnits::withdraw(pluginNumber);
    if (box.numbers.empty())
        box.clearShared();
}

void PluginCommunication::joinThread(std::thread& thread)
{
    if (thread.joinable())
        thread.join();
}

bool PluginCommunication::searchesItself() const
{
    return global->isMaster.load() || alone.load();
}

void PluginCommunication::goAlone(const char* why)
{
    if (alone.exchange(true))
        return;
    log(pluginNumber, juce::String("Work alone, ") + why, true);
}

void PluginCommunication::log(int level, const juce::String& message, bool ownFolder, int line) const
{
    Debug::DebugLog(level, message, __FILE__, line,
                    ownFolder ? std::string(logFolder) : settings->productFolder);
}

// ---------------------------------------------------------------- the tick

void PluginCommunication::timerCallback()
{
    if (slot > 0 && !alone.load())
    {
        auto& box = instanceMailbox();
        int message = 0, sender = 0;
        {
            std::lock_guard<std::mutex> lock(box.lock);
            message = box.flagMessage[slot].load();
            sender = box.transmitter[slot].load();
        }
        if (message != 0)
            handleMessage(message, sender);
    }
    publishHeldUnit();
    mirrorKnownUnits();
    if (global->isMaster.load())
    {
        gatherTakenUnits();
        serveWaitingRequests();
    }
    serveRequests();
    noticeMasterGone();
    sendQueued();
}

void PluginCommunication::handleMessage(int message, int sender)
{
    auto& slotFlag = instanceMailbox().flagMessage[slot];
    switch (message)
    {
    case msgRegister:
        slotFlag = 0;
        queuePost(sender, msgAccepted);
        log(pluginNumber, "Accept Register", false);
        break;
    case msgAsk:
    case msgAskAgain:
        slotFlag = 0;
        queueRequest(sender);
        break;
    case msgTaken:
        slotFlag = 0;
        takeReport(sender, true);
        break;
    case msgChanged:
        slotFlag = 0;
        takeReport(sender, false);
        break;
    case msgAccepted:
        slotFlag = 0;
        if (!acceptRunning.exchange(true))
        {
            joinThread(acceptThread);
            acceptThread = std::thread(delegatorAcceptRegister, this);
        }
        break;
    case msgFreeOffer:
        hasFreeIps = true;
        slotFlag = 0;
        takeOffer(true);
        break;
    case msgOccupiedOffer:
        hasFreeIps = false;
        slotFlag = 0;
        takeOffer(false);
        break;
    case msgReceived:
        slotFlag = 0;
        break;
    default:
        break;
    }
}

void PluginCommunication::takeOffer(bool freeUnits)
{
    // A hand-out still waiting for the user gives way to the new one.
    abandonReceive = true;
    joinThread(receiveThread);
    abandonReceive = false;

    auto& box = instanceMailbox();
    {
        std::lock_guard<std::mutex> lock(box.lock);
        offerCount = clampCount(box.countOfValidIPs.load());
        offer = box.IPChange.copy();
    }
    startReceiveThread(freeUnits);
}

void PluginCommunication::startReceiveThread(bool freeUnits)
{
    hasFreeIps = freeUnits;
    receiveThread = std::thread(delegatorReceiveIP, this);
}

// The unit is off the free list at once, and the offer held for the sender is released.
void PluginCommunication::takeReport(int sender, bool answer)
{
    auto& box = instanceMailbox();
    std::string ip;
    bool living = false;
    {
        std::lock_guard<std::mutex> lock(box.lock);
        ip = box.slavesNewIP.get();
        box.slavesNewIP = "";
        if (box.offerTo == sender)
            box.offerTo = 0;
        living = sender > 0 && sender < InstanceMailbox::slotCount && box.slotOwned[sender];
    }
    // Until the slave's own tick publishes it, the report stands for the unit it drives; a
    // report that outlived its sender (closed right after posting) stands for nothing.
    if (living && !ip.empty())
        HeldUnits::publish(sender, ip);
    gatherTakenUnits();
    if (living)
        dropFromFreeUnits(ip);
    if (answer)
    {
        queuePost(sender, msgReceived);
        log(pluginNumber, "IP Selected", false);
    }
    else
    {
        log(pluginNumber, "Slave changed his ip", false);
    }
}

void PluginCommunication::mirrorKnownUnits()
{
    auto& box = instanceMailbox();
    if (global->isMaster.load())
    {
        const int count = clampCount(global->knownIpCount.load());
        for (int i = 1; i <= count; ++i)
            box.allIps.set(i, global->knownIps.get(i));
        box.AllIpCount = count;
        return;
    }
    if (alone.load() || !box.masterPresent.load())
        return;
    const int count = clampCount(box.AllIpCount.load());
    for (int i = 1; i <= count; ++i)
        global->knownIps.set(i, box.allIps.get(i));
    global->knownIpCount = count;
}

void PluginCommunication::serveRequests()
{
    if (global->isMaster.load())
    {
        global->reRequestIp = false;
        return;
    }
    if (global->reRequestIp.exchange(false))
    {
        retryPending = false;
        if (alone.load())
            log(pluginNumber, "No master to ask for a device", true);
        else
            queuePost(1, msgAskAgain);
    }
    if (!retryPending.load())
        return;
    if (global->connected.load() || alone.load())
    {
        retryPending = false;
        askAgainScheduled = false;
        askAgain.reset();
        return;
    }
    // Nothing was offered (no unit answered the master), or nobody chose from the offer.
    // Ask again after a growing wait.
    if (!askAgainScheduled)
    {
        askAgain.failedAt(nowMs());
        askAgainScheduled = true;
    }
    if (askAgain.due(nowMs()))
    {
        retryPending = false;
        askAgainScheduled = false;
        log(pluginNumber, "Ask again for a device", true);
        queuePost(1, msgAsk);
    }
}

// A search or a hand-out under way may hold a fresh claim that connected does not show yet.
void PluginCommunication::publishHeldUnit()
{
    if (global->connected.load())
        HeldUnits::publish(pluginNumber, global->deviceIp.get());
    else if (global->deviceFinderRunning.load() == 0 && !receiving.load())
        HeldUnits::withdraw(pluginNumber);
}

// takenIps[n] is the unit that living instance n drives; takenIpCount the highest such n.
void PluginCommunication::gatherTakenUnits()
{
    int highest = 1;
    for (int n = 2; n <= lastListIndex; ++n)
    {
        const auto ip = HeldUnits::of(n);
        if (global->takenIps.get(n) != ip)
            global->takenIps.set(n, ip);
        if (!ip.empty())
            highest = n;
    }
    global->takenIpCount = highest;
}

// The device check rewrites the list while it runs; then its own end leaves the unit out.
void PluginCommunication::dropFromFreeUnits(const std::string& ip)
{
    if (ip.empty() || !global->deviceCheckIdle.load())
        return;
    const int count = clampCount(global->freeIpCount.load());
    int kept = 0;
    for (int i = 1; i <= count; ++i)
    {
        const auto unit = global->freeIps.get(i);
        if (unit != ip)
            global->freeIps.set(++kept, unit);
    }
    for (int i = kept + 1; i <= count; ++i)
        global->freeIps.set(i, "");
    global->freeIpCount = kept;
}

void PluginCommunication::noticeMasterGone()
{
    if (!global->isMaster.load() && !alone.load() && !instanceMailbox().masterPresent.load())
        goAlone("the master has gone");
}

// ---------------------------------------------------------------- the master's hand-out

void PluginCommunication::queueRequest(int sender)
{
    if (std::find(waitingRequests.begin(), waitingRequests.end(), sender) == waitingRequests.end())
        waitingRequests.push_back(sender);
}

void PluginCommunication::serveWaitingRequests()
{
    while (!waitingRequests.empty())
    {
        const int sender = waitingRequests.front();
        bool living = false;
        {
            auto& box = instanceMailbox();
            std::lock_guard<std::mutex> lock(box.lock);
            living = sender > 0 && sender < InstanceMailbox::slotCount && box.slotOwned[sender];
        }
        if (living && !RequestedIp(sender))
            return;
        waitingRequests.pop_front();
    }
}

// The lists must be whole (a check has completed and none runs), and one offer is out at a
// time: it is held for its slave until that one reports or offerHoldMs pass.
bool PluginCommunication::mayAnswer(int sender) const
{
    if (!global->deviceCheckIdle.load() || global->checksCompleted.load() == 0)
        return false;
    auto& box = instanceMailbox();
    return box.offerTo == 0 || box.offerTo == sender || !box.slotOwned[box.offerTo] ||
           nowMs() - box.offerTime >= offerHoldMs;
}

bool PluginCommunication::RequestedIp(int sender)
{
    auto& box = instanceMailbox();
    int answer = msgOccupiedOffer;
    {
        std::lock_guard<std::mutex> lock(box.lock);
        if (!mayAnswer(sender))
            return false;

        // Free is what the last check found and no other living instance drives now: a unit
        // let go since the check is free again, one taken since is not.
        std::vector<std::string> found, units;
        const int foundCount = clampCount(global->foundIpCount.load());
        for (int i = 1; i <= foundCount; ++i)
            if (!global->foundIps.get(i).empty()) // a check that heard nothing leaves an empty entry
                found.push_back(global->foundIps.get(i));
        for (const auto& ip : found)
            if (HeldUnits::holderOtherThan(sender, ip) == 0)
                units.push_back(ip);
        answer = units.empty() ? msgOccupiedOffer : msgFreeOffer;
        if (units.empty())
            units = found;

        box.IPChange.clear();
        box.SerialArray.clear();
        const int count = clampCount((int)units.size());
        for (int i = 1; i <= count; ++i)
        {
            box.IPChange.set(i, units[(size_t)i - 1]);
            box.SerialArray.set(
                i, global->knownNames.get(global->foundIps.indexOf(units[(size_t)i - 1], 1, foundCount)));
        }
        box.countOfValidIPs = count;
        box.offerTo = sender;
        box.offerTime = nowMs();
    }
    queuePost(sender, answer);
    log(pluginNumber,
        "IP's zur abgabe bereit, geht an : " + juce::String(sender) +
            " Message num : " + juce::String(answer),
        false);
    return true;
}

// ---------------------------------------------------------------- postings

PluginCommunication::Post PluginCommunication::tryPost(int to, int message, const std::string* ip)
{
    auto& box = instanceMailbox();
    std::lock_guard<std::mutex> lock(box.lock);
    if (to <= 0 || to >= InstanceMailbox::coordinatedSlots || !box.slotOwned[to])
        return Post::gone;
    if (box.flagMessage[to].load() != 0)
        return Post::busy;
    if (ip != nullptr)
        box.slavesNewIP = *ip;
    box.transmitter[to] = slot;
    box.flagMessage[to] = message;
    return Post::done;
}

void PluginCommunication::queuePost(int to, int message, const std::string* ip)
{
    Posting posting;
    posting.to = to;
    posting.message = message;
    posting.withIp = ip != nullptr;
    if (ip != nullptr)
        posting.ip = *ip;
    posting.deadline = nowMs() + (to == 1 ? postLimitMs : replyLimitMs);
    outbox.push_back(posting);
}

// On the message thread: never waits, a busy slot is tried again at the next tick.
void PluginCommunication::sendQueued()
{
    while (!outbox.empty())
    {
        const auto& next = outbox.front();
        const bool toLostMaster = next.to == 1 && alone.load();
        const Post result =
            toLostMaster ? Post::gone : tryPost(next.to, next.message, next.withIp ? &next.ip : nullptr);
        if (result == Post::busy && nowMs() < next.deadline)
            return;
        if (result != Post::done)
            log(pluginNumber,
                "Message " + juce::String(next.message) + " dropped for " + juce::String(next.to), true);
        outbox.pop_front();
    }
}

void PluginCommunication::ReportChangedIp(const std::string& ip)
{
    if (global->isMaster.load() || alone.load())
        return;
    queuePost(1, msgChanged, &ip);
}

bool PluginCommunication::stopping(bool forReceive) const
{
    return closing.load() || global->quitRequested.load() || (forReceive && abandonReceive.load());
}

bool PluginCommunication::waitUntil(const std::function<bool()>& done, int limitMs, bool forReceive)
{
    const double end = nowMs() + limitMs;
    for (;;)
    {
        if (done())
            return true;
        if (stopping(forReceive) || nowMs() > end)
            return false;
        std::this_thread::sleep_for(std::chrono::milliseconds(lookMs));
    }
}

bool PluginCommunication::postFromThread(int message, const std::string* ip, bool forReceive)
{
    Post result = Post::busy;
    waitUntil(
        [&]
        {
            result = tryPost(1, message, ip);
            return result != Post::busy;
        },
        postLimitMs, forReceive);
    return result == Post::done;
}

// ---------------------------------------------------------------- thread entries

void delegatorSlaveRegister(void* owner)
{
    auto* self = static_cast<PluginCommunication*>(owner);
    self->log(0, "Slave Register Thread started", false);
    if (!self->postFromThread(PluginCommunication::msgRegister, nullptr, false) && !self->stopping(false))
        self->goAlone("the master did not take the registration");
    self->log(0, "Slave Register Thread ended", false);
}

void delegatorAcceptRegister(void* owner)
{
    auto* self = static_cast<PluginCommunication*>(owner);
    if (!self->postFromThread(PluginCommunication::msgAsk, nullptr, false) && !self->stopping(false))
        self->goAlone("the master did not take the request");
    self->log(0, "Accept Register Thread ended", false);
    self->acceptRunning = false;
}

void delegatorReceiveIP(void* owner)
{
    auto* self = static_cast<PluginCommunication*>(owner);
    self->log(0, "Receive Ip Thread started", false);
    self->receiving = true;
    self->receiveIp();
    self->receiving = false;
    self->log(0, "Receive Ip Thread ended", false);
}

// ---------------------------------------------------------------- the slave's hand-out

int PluginCommunication::indexInOffer(const std::string& ip) const
{
    for (int i = 1; i <= offerCount; ++i)
        if (offer[(size_t)i] == ip)
            return i;
    return 0;
}

void PluginCommunication::takeSingleOffer()
{
    const std::string ip = offer[1];
    global->SetIp(ip);
    tcp->SetIP(ip);
    offer = {};
    global->SetDeviceFinderDone();
    global->checkMac = true;
    global->connected = true;
}

// Hands the offer to the editor's alert and waits for the answer, which leaves the chosen
// address in deviceIp. False when the instance closes or nobody answers in time.
bool PluginCommunication::usersChoice(std::atomic<bool>& alertFlag)
{
    global->alertIps.clear();
    for (int i = 1; i <= offerCount; ++i)
        global->alertIps.set(i, offer[(size_t)i]);
    global->alertIpCount = offerCount;
    global->alertOpen = true;
    alertFlag = true;

    if (!waitUntil([this] { return !global->alertOpen.load(); }, choiceLimitMs.load(), true))
    {
        // Nobody answered: the stored unit stays, and the slave asks again later. The
        // question stays up for the next window that opens.
        log(pluginNumber, "No choice of a device", true);
        if (!stopping(true))
            retryPending = true;
        return false;
    }
    const std::string chosen = global->deviceIp.get();
    if (!chosen.empty())
        tcp->SetIP(chosen);
    offer = {};
    global->SetDeviceFinderDone();
    return true;
}

void PluginCommunication::receiveIp()
{
    std::string taken;
    if (hasFreeIps.load())
    {
        log(0, "A IP ist free", true);
        waitUntil([this] { return global->deviceFinderBusy.load(); }, finderBusyLimitMs, true);
        if (stopping(true))
            return;
        safeAndLoad->LoadFiles();
        const std::string stored = global->deviceIp.get();
        // A claim fails only when an instance searching by itself took the unit meanwhile.
        if (!stored.empty() && indexInOffer(stored) > 0 && HeldUnits::claim(pluginNumber, stored))
        {
            log(0, "Ip vorhangen und nu connected", true);
            taken = stored;
            tcp->SetIP(stored);
            global->SetDeviceFinderDone();
            global->checkMac = true;
            global->repaintRequest = true;
            global->connected = true;
        }
        else if (offerCount == 1 && HeldUnits::claim(pluginNumber, offer[1]))
        {
            taken = offer[1];
            takeSingleOffer();
        }
        else if (offerCount >= 2)
        {
            if (!usersChoice(global->alertMoreThenOne))
                return;
            taken = global->deviceIp.get();
        }
    }
    else if (offerCount >= 2)
    {
        if (!usersChoice(global->alertAllOccupied))
            return;
        taken = global->deviceIp.get();
        global->checkMac = true;
        global->connected = true;
    }
    else if (offerCount == 1)
    {
        taken = offer[1];
        takeSingleOffer();
    }

    // Nothing offered (no unit answered the master), or the one offered was taken meanwhile:
    // ask again after a growing wait, so that no slave stays without a unit that answers.
    if (taken.empty() && (offerCount == 0 || hasFreeIps.load()))
        retryPending = true;

    if (stopping(true))
        return;
    postFromThread(msgTaken, &taken, true);
}
