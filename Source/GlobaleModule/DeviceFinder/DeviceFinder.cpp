#include "DeviceFinder/DeviceFinder.h"

#include "Broadcast/Broadcast.h"
#include "Debug/Debug.h"
#include "GlobalData/GlobalData.h"
#include "GlobalData/HeldUnits.h"
#include "Ground/TextHelpers.h"
#include "SafeAndLoad/SafeAndLoad.h"
#include "TCPIP/DeviceQueries.h"
#include "TCPIP/TCPIP.h"

namespace
{
constexpr int connectionTests = 3;
constexpr std::size_t shortestPage = 200;

std::string folderOf(const Settings* settings)
{
    return settings != nullptr ? settings->productFolder : std::string("Morvane");
}

void logTo(const Settings* settings, int level, const std::string& message, int line)
{
    Debug::DebugLog(level, juce::String::fromUTF8(message.c_str()), __FILE__, line, folderOf(settings));
}
} // namespace

DeviceFinder::DeviceFinder(Settings* s, TCPIP* t, Broadcast* b, GlobalData* g)
    : settings(s), tcp(t), broadcast(b), global(g)
{
}

void DeviceFinder::log(int level, const std::string& message, int line) const
{
    logTo(settings, level, message, line);
}

bool DeviceFinder::quitting() const
{
    return global->quitRequested.load();
}

void DeviceFinder::raise(std::atomic<bool>& alert)
{
    awaitingAnswer = true;
    alert = true;
}

bool DeviceFinder::connects()
{
    for (int attempt = 0; attempt < connectionTests; ++attempt)
    {
        if (quitting())
            return false;
        if (tcp->CheckSocketConnection() == 1)
            return true;
    }
    return false;
}

void DeviceFinder::findDevice()
{
    global->deviceFinderRunning = 1;

    const int stage = CheckAndLoad();
    log(stage, "CheckAndLoad Result", __LINE__);
    if (stage == 1)
    {
        log(35, "Device gefunden ", __LINE__);
        global->deviceCheckIdle = true;
        closingSteps();
        return;
    }
    if (quitting())
        return;

    switch (DoABroadcast())
    {
    case 1:
        log(35, " Mit Broadcast Device gefunden ", __LINE__);
        closingSteps();
        return;
    case -10:
        global->SetDeviceFinderDone();
        global->deviceFinderRunning = 0;
        return;
    case 2:
        raise(global->alertOneOther);
        return;
    case 10:
        raise(global->alertMoreThenOne);
        return;
    case 12:
        raise(global->alertManyOthers);
        return;
    default:
        // The master looks once more when other instances hold units, so that the lists
        // the hand-out works from are fresh.
        if (global->isMaster.load() && global->takenIpCount.load() >= 2 && !quitting())
            DoABroadcast();
        global->deviceFinderRunning = 0;
        return;
    }
}

int DeviceFinder::CheckAndLoad()
{
    SafeAndLoad store(settings, global);
    if (!store.LoadFiles())
        return -4;
    const std::string stored = global->deviceIp.get();
    if (stored.empty())
        return -3;
    if (const int holder = holderOf(stored))
    {
        log(121, "The stored device is driven by instance " + IntInString(holder), __LINE__);
        return -1;
    }
    tcp->TryAddress(stored);
    if (!connects())
        return -2;
    const int right = CheckRightDevice(1);
    if (right == 1 && claimed(stored))
    {
        tcp->SetIP(stored);
        return 1;
    }
    if (right == 1)
        return -1;
    if (right != 2)
        log(121,
            "Could load a ip and a device is answering but has not the right device name or serien number",
            __LINE__);
    return -1;
}

void DeviceFinder::closingSteps()
{
    global->storeSerial(GetSerialFromDevice());
    global->devicePort = GetDevicePort();
    global->SetDeviceFinderDone();
    // Connected before the search counts as ended: the unit's claim never lapses between.
    global->connected = true;
    global->checkMac = true;
    global->deviceFinderRunning = 0;
}

int DeviceFinder::ownNumber() const
{
    return global->isMaster.load() ? 1 : global->slaveIndex.load();
}

int DeviceFinder::holderOf(const std::string& ip) const
{
    return HeldUnits::holderOtherThan(ownNumber(), ip);
}

bool DeviceFinder::claimed(const std::string& ip)
{
    if (HeldUnits::claim(ownNumber(), ip))
        return true;
    log(121, "The device was taken by instance " + IntInString(holderOf(ip)), __LINE__);
    return false;
}

// The units of the last broadcast that no other instance of this process drives, by their
// index in the broadcast's lists; the alerts offer only these.
std::vector<int> DeviceFinder::unheldUnits()
{
    std::vector<int> unheld;
    const int found = broadcast->count.load();
    for (int i = 1; i <= found; ++i)
        if (holderOf(broadcast->ips.get(i)) == 0)
            unheld.push_back(i);
    if ((int)unheld.size() == found)
        return unheld;
    global->alertIps.clear();
    for (size_t i = 0; i < unheld.size(); ++i)
        global->alertIps.set((int)i + 1, broadcast->ips.get(unheld[i]));
    global->alertIpCount = (int)unheld.size();
    return unheld;
}

int DeviceFinder::DoABroadcast()
{
    broadcast->BroadcastToAllInterfaces();
    if (quitting())
        return -10;
    const int found = broadcast->count.load();
    const auto candidates = unheldUnits();
    if (candidates.empty())
    {
        if (found > 0)
            log(121, "Every device found is driven by another instance", __LINE__);
        return -10;
    }

    if (found == 1)
    {
        const std::string address = broadcast->lastIp.get();
        tcp->TryAddress(address);
        global->SetIp(address);
        if (!connects())
            return -2;
        const int right = CheckRightDevice(1);
        if (right == 1 && claimed(address))
        {
            tcp->SetIP(address);
            return 1;
        }
        if (right == 1)
            return -10;
        if (right == -9)
            return right;
        if (right == 2)
        {
            raise(global->alertOneOther);
            return 2;
        }
        return -1;
    }

    for (const int i : candidates)
    {
        if (quitting())
            break;
        const std::string address = broadcast->ips.get(i);
        tcp->TryAddress(address);
        if (!connects())
            continue;
        const int right = CheckRightDevice(i);
        if (right == 1 && claimed(address))
        {
            tcp->SetIP(address);
            global->SetIp(address);
            return 1;
        }
        if (right == 2)
            global->knownNames.set(i, broadcast->names.get(i));
    }
    return global->deviceSerial.empty() ? 10 : 12;
}

int DeviceFinder::CheckRightDevice(int index)
{
    const auto response = tcp->Fetch("/dinfo", true);
    if (response.code < 0)
        return -2;
    const std::string& page = response.text;

    const bool hit404 = DeviceQueries::is404(page);
    const bool tooShort = page.size() < shortestPage;
    if (hit404 || tooShort)
    {
        const auto c = IntInString(tcp->CheckSocketConnection());
        if (hit404)
            log(101, "Error in CheckRightDevice, find 404", __LINE__);
        if (tooShort)
            log(101,
                "Error in CheckRightDevice, length is " + IntInString((int)page.size()) +
                    " returned = " + page + " " + c,
                __LINE__);
        return -1;
    }

    const std::string code = settings->deviceCode;
    const bool namesProduct = code.empty() || page.find(code) != std::string::npos;
    const std::string serial = global->deviceSerial.get();
    if (serial.empty())
        return namesProduct ? 1 : -1;
    if (!namesProduct)
        return -9;
    if (page.find(serial) != std::string::npos)
        return 1;
    global->wrongSerialNames.set(index - 1, GetDName(page));
    return 2;
}

bool DeviceFinder::forceQuit(const char* message) const
{
    if (!quitting())
        return false;
    log(0, message, __LINE__);
    return true;
}

std::string DeviceFinder::GetDName(const std::string& page)
{
    if (forceQuit("DeviceFinderForceQuit2"))
        return "Exit";
    const auto at = TextCut::find(page, "dname:");
    // Without the key the name is taken from the eighth byte of the page.
    const std::size_t start = at == TextCut::npos ? 7 : at + 8;
    if (forceQuit("DeviceFinderForceQuit3"))
        return "Exit";
    std::string name = TextCut::cut(page, start, 30);
    if (forceQuit("DeviceFinderForceQuit3"))
        return "Exit";
    name = TextCut::upTo(name, "\"");
    if (forceQuit("DeviceFinderForceQuit3"))
        return "Exit";
    return name;
}

std::string DeviceFinder::GetSerialFromDevice()
{
    return DeviceQueries::GetSerialFromDevice(*tcp, folderOf(settings));
}

int DeviceFinder::GetDevicePort()
{
    return DeviceQueries::GetDevicePort(*tcp, folderOf(settings));
}

void runDeviceSearch(Settings* settings, TCPIP* tcp, Broadcast* broadcast, GlobalData* global)
{
    bool answerAwaited = false;
    {
        DeviceFinder finder(settings, tcp, broadcast, global);
        finder.findDevice();
        answerAwaited = finder.answerAwaited();
        logTo(settings, 0, "Delete the Finder", __LINE__);
    }
    global->deviceFinderRunning = 0;
    // With an alert up, the user's answer ends the search (and takes deviceFinderBusy down).
    if (!answerAwaited)
        global->SetDeviceFinderDone();
    logTo(settings, 0, "Delete the Finder done", __LINE__);
}
