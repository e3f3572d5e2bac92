#include "EditorSearch.h"

#include "Debug/Debug.h"
#include "DeviceFinder/DeviceFinder.h"
#include "GlobalData/GlobalData.h"
#include "PluginEditor.h"
#include "PluginProcessor.h"

namespace
{
void logTo(const Settings* settings, const char* message, int line)
{
    Debug::DebugLog(0, message, __FILE__, line,
                    settings != nullptr ? settings->productFolder : std::string("Morvane"));
}
} // namespace

void delegatorFindDeviceFromEditor(MorvaneEditor* editor)
{
    auto* processor =
        editor != nullptr ? dynamic_cast<MorvaneProcessor*>(editor->getAudioProcessor()) : nullptr;
    if (processor == nullptr)
        return;
    auto* settings = processor->getSettings();
    auto* global = processor->getGlobalData();
    logTo(settings, "Find device from Editor started", __LINE__);
    if (global->quitRequested.load())
    {
        global->deviceFinderRunning = 0;
        return;
    }
    global->deviceFinderRunning = 1;
    runDeviceSearch(settings, processor->getTcp(), processor->getBroadcast(), global);
    logTo(settings, "Find device from Editor ended", __LINE__);
}
