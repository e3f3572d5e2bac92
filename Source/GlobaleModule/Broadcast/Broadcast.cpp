#include "Broadcast.h"

#include "GlobalData.h"

Broadcast::Broadcast(GlobalData* g, const std::string& code) : global(g), deviceCode(code) {}

void Broadcast::BroadcastToAllInterfaces()
{
    global->broadcastRunning = true;
    count = 0;
    global->broadcastRunning = false;
}
