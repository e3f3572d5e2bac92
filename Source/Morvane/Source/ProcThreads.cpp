// The processor's helpers on threads of their own: the sends of the regular cycle, the
// search for a unit, the master's watch, and the unit's pages they read.
#include "PluginProcessor.h"

#include "Debug/Debug.h"
#include "DeviceFinder/DeviceFinder.h"
#include "GlobalData/GlobalData.h"
#include "MasterDeviceChecker/MasterDeviceChecker.h"
#include "PluginCommunication/PluginCommunication.h"
#include "TCPIP/DeviceQueries.h"
#include "TCPIP/TCPIP.h"

void MorvaneProcessor::startSendThread(const std::string& url)
{
    joinFinishedSendThreads(false);
    SendThread entry;
    entry.done = std::make_shared<std::atomic<bool>>(false);
    auto done = entry.done;
    const auto ticket = sendTicketsGiven++;
    entry.thread = std::thread(
        [this, url, done, ticket]
        {
            awaitSendTurn(ticket);
            delegatorSend(this, url);
            endSendTurn();
            done->store(true);
        });
    sendThreads.push_back(std::move(entry));
}

// Requests reach the unit in the order the loop made them: a restored session before the
// changes of the cycles after it, an earlier value of a knob before a later one.
void MorvaneProcessor::awaitSendTurn(unsigned long long ticket)
{
    std::unique_lock<std::mutex> guard(sendOrderLock);
    while (sendTicketServed != ticket && !globalData->quitRequested.load())
        sendTurn.wait_for(guard, std::chrono::milliseconds(20));
}

void MorvaneProcessor::endSendTurn()
{
    {
        std::lock_guard<std::mutex> guard(sendOrderLock);
        ++sendTicketServed;
    }
    sendTurn.notify_all();
}

void MorvaneProcessor::joinFinishedSendThreads(bool all)
{
    for (auto it = sendThreads.begin(); it != sendThreads.end();)
    {
        if (all || it->done->load())
        {
            if (it->thread.joinable())
                it->thread.join();
            it = sendThreads.erase(it);
        }
        else
        {
            ++it;
        }
    }
}

void MorvaneProcessor::startWatch()
{
    if (!globalData->isMaster.load() || globalData->masterCheckerStarted.load())
        return;
    globalData->masterCheckerStarted = true;
    masterDeviceChecker = new MasterDeviceChecker(globalData, broadcast, settings);
    if (globalData->deviceCheckIdle.load())
        masterDeviceChecker->startCheck();
}

void delegatorSend(MorvaneProcessor* processor, std::string url)
{
    const auto& folder = processor->settings->productFolder;
    Debug::DebugLog(0, "Send Knobs Thread started", __FILE__, __LINE__, folder);
    processor->globalData->sending = true;
    processor->tcp->GetSite(url, true);
    processor->globalData->sending = false;
    Debug::DebugLog(0, "Send Knobs Thread ended", __FILE__, __LINE__, folder);
}

void delegatorFindDevice(void* owner)
{
    auto* processor = static_cast<MorvaneProcessor*>(owner);
    auto* global = processor->globalData;
    const auto folder = processor->settings->productFolder;
    Debug::DebugLog(0, "Find device Thread started", __FILE__, __LINE__, folder);
    if (global->quitRequested.load())
    {
        global->deviceFinderRunning = 0;
        return;
    }
    global->deviceFinderRunning = 1;
    runDeviceSearch(processor->settings, processor->tcp, processor->broadcast, global);
    Debug::DebugLog(0, "Find device Thread done", __FILE__, __LINE__, folder);
}

int MorvaneProcessor::GetDevicePort()
{
    return DeviceQueries::GetDevicePort(*tcp, settings->productFolder);
}

std::string MorvaneProcessor::GetSerialFromDevice()
{
    return DeviceQueries::GetSerialFromDevice(*tcp, settings->productFolder);
}

// ---------------------------------------------------------------- the unit's pages

void MorvaneProcessor::finishAddressChange()
{
    globalData->devicePort = addressJob.take().port;
    // From here on only the new unit is heard; what the old one brought is dropped.
    receiver->follow(globalData->devicePort.load(), globalData->deviceIp.get());
    receiveBusy = false;
    portAskedAt = juce::Time::getMillisecondCounterHiRes();
    statusReceived = false;
    synced = false;
    roundStarted = false;
    std::lock_guard<std::mutex> guard(receivedLock);
    receivedStatus.reset();
}

// While "/info" names no port, it is asked again once a second, never by the tick itself.
void MorvaneProcessor::portStage()
{
    const double now = juce::Time::getMillisecondCounterHiRes();
    if (portJob.ready())
    {
        const int port = portJob.take();
        if (port != 0 && globalData->devicePort.load() == 0 && !addressJob.underWay())
            globalData->devicePort = port;
        portAskedAt = now;
    }
    if (!globalData->connected.load() || globalData->devicePort.load() != 0 || portJob.underWay() ||
        addressJob.underWay() || now - portAskedAt < 1000.0)
        return;
    portJob.start([this] { return GetDevicePort(); });
}

void MorvaneProcessor::balanceStage()
{
    if (balanceJob.ready())
        readBalance(balanceJob.take());
}

// ---------------------------------------------------------------- the search

// An instance that searches for itself keeps searching while it has no unit: after a search
// that found nothing, and after its unit was lost. Between searches the address of its last
// unit is tested every two seconds, so a unit that comes back is found at once; the
// broadcast follows the back-off.
void MorvaneProcessor::searchStage()
{
    if (globalData->connected.load() || !looksForItsUnit())
    {
        searchRetry.reset();
        return;
    }
    if (globalData->deviceFinderRunning.load() != 0 || alertAwaited() || closing.load())
        return;
    const double now = juce::Time::getMillisecondCounterHiRes();
    if (findThread.joinable())
    {
        findThread.join(); // it has ended: deviceFinderRunning is down
        searchRetry.failedAt(now);
        storedAddressProbedAt = now;
        return;
    }
    if (storedAddressProbe.ready() && storedAddressProbe.take())
        searchRetry.reset();
    if (searchRetry.due(now))
    {
        if (!storedAddressProbe.underWay())
            startSearch();
        return;
    }
    if (!storedAddressProbe.underWay() && now - storedAddressProbedAt >= 2000.0 && !tcp->getIp().empty())
    {
        storedAddressProbedAt = now;
        storedAddressProbe.start([this] { return tcp->CheckSocketConnection() >= 1; });
    }
}

// A slave comes to its first unit through the master; one that lost its unit looks for it
// again as the master does (passing over the units others drive), unless its user has asked
// the master meanwhile.
bool MorvaneProcessor::looksForItsUnit() const
{
    if (pluginCommunication->searchesItself())
        return true;
    return statusReceived.load() && !globalData->deviceFinderBusy.load();
}

void MorvaneProcessor::startSearch()
{
    globalData->deviceFinderRunning = 1;
    findThread = std::thread([this] { delegatorFindDevice(this); });
}

// A search that ended with a question to the user waits for the answer, not for the clock.
bool MorvaneProcessor::alertAwaited() const
{
    return globalData->alertOneOther.load() || globalData->alertMoreThenOne.load() ||
           globalData->alertManyOthers.load() || globalData->alertAllOccupied.load() ||
           globalData->alertOpen.load();
}
