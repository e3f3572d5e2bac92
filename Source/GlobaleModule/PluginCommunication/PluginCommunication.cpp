#include "PluginCommunication.h"

#include "GlobalData.h"

#include <mutex>

namespace
{
std::mutex registryLock;
int pluginCount = 0;
} // namespace

PluginCommunication::PluginCommunication(GlobalData* g, Settings* s, SafeAndLoad* store, TCPIP* t)
    : global(g), settings(s), tcp(t), safeAndLoad(store)
{
    {
        std::lock_guard<std::mutex> lock(registryLock);
        pluginNumber = ++pluginCount;
    }
    global->isMaster = pluginNumber == 1;
    global->slaveIndex = pluginNumber == 1 ? 0 : pluginNumber;
    global->takenIpCount = pluginNumber;
    startTimer(20);
}

PluginCommunication::~PluginCommunication()
{
    stopTimer();
    std::lock_guard<std::mutex> lock(registryLock);
    --pluginCount;
}

void PluginCommunication::timerCallback() {}
