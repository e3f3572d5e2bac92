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

// On the port's thread, for each datagram of the unit (the newest message waits for the
// loop), and on the message thread with an empty text for a round that ended without one.
bool MorvaneProcessor::PotiRound(const std::string& received)
{
    if (received.empty())
    {
        countMiss();
        return false;
    }
    auto status = parseStatusDatagram(received);
    if (status)
    {
        std::lock_guard<std::mutex> guard(receivedLock);
        receivedStatus = std::move(status);
    }
    receiveBusy = false;
    return status.has_value();
}

// The eleventh miss in a row tests the connection, on a thread of its own (statusClockStage).
void MorvaneProcessor::countMiss()
{
    if (++missedStatus < missesBeforeTest)
        return;
    missedStatus = 0;
    connectionTestDue = true;
}

// A round that brought nothing within its two seconds is a miss (counted while connected).
void MorvaneProcessor::statusClockStage()
{
    if (connectionTest.ready())
        connectionTest.take();
    if (connectionTestDue.load() && !connectionTest.underWay() && !closing.load())
    {
        connectionTestDue = false;
        connectionTest.start(
            [this]
            {
                testConnection();
                return true;
            });
    }
    if (!globalData->connected.load() || !receiveBusy.load() ||
        juce::Time::getMillisecondCounterHiRes() - roundStartedAt < StatusReceiver::roundTimeoutMs)
        return;
    // A message that lands in this moment ends the round too; it is taken all the same.
    if (receiveBusy.exchange(false))
        PotiRound({});
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

// The waits for a status message of First status and the Restore push are rounds as the
// regular cycle's are: the message thread (the host's) is never held by them.
MorvaneProcessor::Round MorvaneProcessor::awaitStatus()
{
    if (receiveBusy.load())
        return Round::underWay;
    const bool first = !roundStarted;
    roundStarted = true;
    startRound();
    if (takeReceivedStatus())
        return Round::parsed;
    return first ? Round::underWay : Round::empty;
}

// A round starts before the last one's message is taken: one that lands meanwhile ends it.
void MorvaneProcessor::startRound()
{
    receiveBusy = true;
    roundStartedAt = juce::Time::getMillisecondCounterHiRes();
    receiver->follow(globalData->devicePort.load(), globalData->deviceIp.get());
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
