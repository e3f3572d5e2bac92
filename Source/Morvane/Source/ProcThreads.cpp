// The processor's helpers on threads of their own: the sends of the regular cycle, the
// search for a unit, the master's watch, and the unit's pages they read.
#include "PluginProcessor.h"

#include "Debug/Debug.h"
#include "DeviceFinder/DeviceFinder.h"
#include "GlobalData/GlobalData.h"
#include "MasterDeviceChecker/MasterDeviceChecker.h"
#include "TCPIP/DeviceQueries.h"
#include "TCPIP/TCPIP.h"

void MorvaneProcessor::startSendThread(const std::string& url)
{
    joinFinishedSendThreads(false);
    SendThread entry;
    entry.done = std::make_shared<std::atomic<bool>>(false);
    auto done = entry.done;
    entry.thread = std::thread(
        [this, url, done]
        {
            delegatorSend(this, url);
            done->store(true);
        });
    sendThreads.push_back(std::move(entry));
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
