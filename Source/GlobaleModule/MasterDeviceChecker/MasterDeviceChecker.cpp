#include "MasterDeviceChecker/MasterDeviceChecker.h"

#include "Broadcast/Broadcast.h"
#include "Debug/Debug.h"
#include "GlobalData/GlobalData.h"

#include <algorithm>
#include <chrono>

namespace
{
std::atomic<int> checkIntervalMs{10000};

// A search of the finder uses the same broadcaster; the check waits for it this long and
// otherwise leaves this round out.
constexpr int finderWaitLimitMs = 30000;
} // namespace

void MasterDeviceChecker::setIntervalMs(int ms)
{
    checkIntervalMs = std::max(1, ms);
}

int MasterDeviceChecker::intervalMs()
{
    return checkIntervalMs.load();
}

MasterDeviceChecker::MasterDeviceChecker(GlobalData* g, Broadcast* b, Settings* s)
    : global(g), broadcast(b), settings(s)
{
    startTimer(checkIntervalMs.load());
}

MasterDeviceChecker::~MasterDeviceChecker()
{
    stopTimer();
    stopping = true;
    if (thread.joinable())
        thread.join();
    global->deviceCheckIdle = true;
}

void MasterDeviceChecker::timerCallback()
{
    startCheck();
}

void MasterDeviceChecker::startCheck()
{
    if (!global->deviceCheckIdle.load() || stopping.load())
        return;
    global->deviceCheckIdle = false;
    // The last check has said so by deviceCheckIdle: joining it only waits for its last line.
    if (thread.joinable())
        thread.join();
    thread = std::thread(delegatorCheck, this);
}

void delegatorCheck(void* owner)
{
    static_cast<MasterDeviceChecker*>(owner)->runCheck();
}

bool MasterDeviceChecker::stopRequested() const
{
    return stopping.load() || global->quitRequested.load();
}

bool MasterDeviceChecker::waitForFinder()
{
    const auto end = std::chrono::steady_clock::now() + std::chrono::milliseconds(finderWaitLimitMs);
    while (global->deviceFinderRunning.load() == 1)
    {
        if (stopRequested() || std::chrono::steady_clock::now() > end)
            return false;
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
    return true;
}

void MasterDeviceChecker::runCheck()
{
    const auto& folder = settings->productFolder;
    Debug::DebugLog(0, "Check Device Thread started", __FILE__, __LINE__, folder);
    global->deviceCheckIdle = false;

    if (waitForFinder())
    {
        broadcast->BroadcastToAllInterfaces();
        if (!stopRequested())
        {
            const int count = std::clamp(broadcast->count.load(), 0, Broadcast::maxUnits);
            global->knownIpCount = count;
            takeFoundUnits(count);
            global->freeIpCount = workOutFreeUnits(count);
            ++global->checksCompleted;
        }
    }

    global->deviceCheckIdle = true;
    Debug::DebugLog(0, "Check Device Thread ended", __FILE__, __LINE__, folder);
}

// foundIps, knownIps and knownNames speak of the same unit at the same index. With fewer
// than two answers entry 1 is taken all the same: empty, or what the broadcaster's earlier
// run left there.
void MasterDeviceChecker::takeFoundUnits(int count)
{
    const int entries = std::max(count, 1);
    global->foundIpCount = entries;
    for (int i = 1; i <= entries; ++i)
    {
        const std::string ip = broadcast->ips.get(i);
        global->foundIps.set(i, ip);
        global->knownIps.set(i, ip);
        global->knownNames.set(i, broadcast->names.get(i));
    }
}

// Found units that no instance holds, from index 1; entries behind the count are emptied.
int MasterDeviceChecker::workOutFreeUnits(int count)
{
    int free = 0;
    const int taken = global->takenIpCount.load();
    for (int i = 1; i <= count; ++i)
    {
        const std::string ip = global->foundIps.get(i);
        if (taken >= 1 && global->takenIps.indexOf(ip, 1, taken) > 0)
            continue;
        global->freeIps.set(++free, ip);
    }
    for (int i = free + 1; i < IpList::size; ++i)
        global->freeIps.set(i, "");
    return free;
}
