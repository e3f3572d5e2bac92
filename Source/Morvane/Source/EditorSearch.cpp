#include "EditorSearch.h"

#include "Debug/Debug.h"
#include "DeviceFinder/DeviceFinder.h"
#include "GlobalData/GlobalData.h"
#include "Ground/HandedThreads.h"
#include "PluginProcessor.h"

namespace
{
void logTo(const std::string& folder, const char* message, int line)
{
    Debug::DebugLog(0, message, __FILE__, line, folder);
}
} // namespace

void delegatorFindDeviceFromEditor(MorvaneProcessor* processor)
{
    auto* settings = processor->getSettings();
    auto* global = processor->getGlobalData();
    const std::string folder = settings->productFolder;
    logTo(folder, "Find device from Editor started", __LINE__);
    if (global->quitRequested.load())
    {
        global->deviceFinderRunning = 0;
        return;
    }
    global->deviceFinderRunning = 1;
    runDeviceSearch(settings, processor->getTcp(), processor->getBroadcast(), global);
    logTo(folder, "Find device from Editor ended", __LINE__);
}

bool EditorSearch::start()
{
    if (underWay())
        return false;
    if (thread.joinable())
        thread.join(); // it has ended
    finished = std::make_shared<std::atomic<bool>>(false);
    thread = std::thread(
        [owner = &processor, done = finished]
        {
            delegatorFindDeviceFromEditor(owner);
            done->store(true);
        });
    return true;
}

EditorSearch::~EditorSearch()
{
    if (!thread.joinable())
        return;
    if (finished->load())
        thread.join();
    else
        HandedThreads::handOver(processor.getGlobalData(), std::move(thread), finished);
}
