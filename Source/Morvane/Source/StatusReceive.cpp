// The receive side of the status stream: the rounds of the instance's receiver, what each
// one brings, and how the loop takes it into the status table and the meters.
#include "PluginProcessor.h"

#include "Debug/Debug.h"
#include "GlobalData/GlobalData.h"
#include "GlobalData/Settings.h"
#include "StatusDatagram.h"
#include "TCPIP/TCPIP.h"

namespace
{
constexpr int missesBeforeTest = 11;
} // namespace

// On the receiver's thread, once per round: a status message of the unit is parsed here and
// waits for the loop; an empty round is a miss, and the eleventh miss tests the connection.
bool MorvaneProcessor::PotiRound(const std::string& received)
{
    if (!received.empty())
    {
        auto status = parseStatusDatagram(received);
        if (!status)
            return false;
        std::lock_guard<std::mutex> guard(receivedLock);
        receivedStatus = std::move(status);
        return true;
    }
    if (++missedStatus >= missesBeforeTest)
    {
        testConnection();
        missedStatus = 0;
    }
    return false;
}

// Eleven silent rounds. A unit whose web server no longer answers is taken as gone; one that
// answers is only silent: it is asked a page, as at the first status, which is how a unit
// learns that someone listens.
void MorvaneProcessor::testConnection()
{
    if (tcp->CheckSocketConnection() < 1)
    {
        if (editorOpen.load() && globalData->viewState.load() == 4)
        {
            globalData->viewState = 5;
            globalData->viewDirty = true;
        }
        globalData->unitSilent = false;
        globalData->repaintRequest = true;
        globalData->connected = false;
        return;
    }
    globalData->unitSilent = true;
    globalData->repaintRequest = true;
    Debug::DebugLog(101, "Status stream silent, the unit answers: asking /info", __FILE__, __LINE__,
                    settings->productFolder);
    const int port = GetDevicePort();
    if (port != 0 && !closing.load())
        globalData->devicePort = port;
}

bool MorvaneProcessor::ReadJson(const std::string& received)
{
    const auto status = parseStatusDatagram(received);
    if (!status)
        return false;
    takeStatus(*status);
    return true;
}

// Only the message thread writes the table: the receiver and the "/info" fallback hand over
// what they parsed.
void MorvaneProcessor::takeStatus(const StatusDatagram& status)
{
    deviceTable = status.table;
    followDeviceMode((int)deviceTable[KnobMap::modeRow][KnobMap::valueColumn]);
    meterLeft = status.needleLeft;
    meterRight = status.needleRight;
    clipState = status.clip;
    statusReceived = true;
    globalData->unitSilent = false;
}

void MorvaneProcessor::followDeviceMode(int raw)
{
    const int m = juce::jlimit(0, KnobMap::lastModePosition, KnobMap::positionOfModeRow(raw));
    if (m == lastDeviceMode.load())
        return;
    globalData->modeChanged = true;
    globalData->deviceMode = m + 1;
    lastDeviceMode = m;
}

// The waits for a status message of First status and the Restore push run on the receiver's
// thread, as the regular cycle's do: the message thread (the host's) is never held by them.
MorvaneProcessor::Round MorvaneProcessor::awaitStatus()
{
    if (receiveBusy.load())
        return Round::underWay;
    if (takeReceivedStatus())
        return Round::parsed;
    const bool first = !roundStarted;
    roundStarted = true;
    startRound();
    return first ? Round::underWay : Round::empty;
}

void MorvaneProcessor::startRound()
{
    receiveBusy = true;
    receiver->startRound(globalData->devicePort.load(), globalData->deviceIp.get());
}

// What the last round brought, taken into the table. False when it brought nothing.
bool MorvaneProcessor::takeReceivedStatus()
{
    std::optional<StatusDatagram> status;
    {
        std::lock_guard<std::mutex> guard(receivedLock);
        status.swap(receivedStatus);
    }
    if (!status)
        return false;
    takeStatus(*status);
    return true;
}
