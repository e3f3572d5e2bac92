// The synchronisation loop of the processor: the 40 ms tick and its stages.
#include "PluginProcessor.h"

#include "Components/MyImageButton.h"
#include "GlobalData/GlobalData.h"
#include "KnobMap.h"
#include "PluginCommunication/PluginCommunication.h"
#include "TCPIP/DeviceQueries.h"
#include "TCPIP/TCPIP.h"

#include <cmath>
#include <utility>

using namespace KnobMap;

namespace
{
// The last mode row value seen by CheckKnobTopicality, shared by all instances.
std::atomic<int> lastMode{0};

constexpr int restoreRounds = 11;
// The unit's status period: how long a restored session waits for a fresh status.
constexpr double statusPeriodMs = 40.0;
constexpr int inputRefreshCycles = 4;
constexpr int lampHoldCycles = 5;

std::string sendDecimal(double deviceValue)
{
    return FloatInString((float)deviceValue);
}
} // namespace

// ---------------------------------------------------------------- the tick

void MorvaneProcessor::timerCallback()
{
    // The host's values first: a preset read in this tick is newer.
    if (knobsCreated.load())
        takeHostValues();
    presetReadingStage();
    presetSavingStage();
    inTimer = true;
    if (knobsCreated.load())
        resyncHost();
    if (globalData->ipChanged.load())
        takeOverNewAddress();
    if (addressJob.ready())
        finishAddressChange();
    portStage();
    balanceStage();
    statusClockStage();
    // While the pages of a new address are read, nothing goes to the unit.
    if (globalData->connected.load() && !addressJob.underWay())
        connectedStage();
    searchStage();
    if (!statusReceived.load())
        unconnectedStage();
    // The master watches the network from its first tick, connected or not: slaves get their
    // units from its lists also while it has none of its own.
    startWatch();
    inTimer = false;
}

void MorvaneProcessor::connectedStage()
{
    if (restorePending.load())
        restorePush();
    if (synced && statusReceived.load())
    {
        if (!receiveBusy.load() && knobsCreated.load() && !restorePending.load())
            regularCycle();
    }
    else if (!restorePending.load())
    {
        firstStatus();
    }
}

void MorvaneProcessor::unconnectedStage()
{
    CreateTheKnobs();
}

// The new address is stored and its serial and port read on a thread of their own
// (finishAddressChange takes them); until they are in, the unit is not talked to.
void MorvaneProcessor::takeOverNewAddress()
{
    if (addressJob.underWay())
        return; // a change after this one waits for it
    globalData->ipChanged = false;
    // The files are written there too: a whole-file write waits for the disk.
    addressJob.start(
        [this, address = globalData->deviceIp.get()]
        {
            tcp->SetIP(address);
            globalData->storeSerial(GetSerialFromDevice());
            UnitPages pages;
            pages.port = GetDevicePort();
            return pages;
        });
}

// ---------------------------------------------------------------- conversions

int MorvaneProcessor::rowOfKnob(int knob) const
{
    return KnobMap::rowOfKnob(knob);
}

float MorvaneProcessor::cell(int row, int column) const
{
    return deviceTable[row][column];
}

void MorvaneProcessor::computeSlopes()
{
    for (int r = 0; r < statusRows; ++r)
    {
        const float span = cell(r, maximumColumn) - cell(r, minimumColumn);
        // A row whose maximum equals its minimum has no slope; 0 marks it.
        const float s = 1.0f / span;
        slope[r] = std::isfinite(s) ? s : 0.0f;
        shownMinimum[r] = cell(r, minimumColumn);
        shownSlope[r] = slope[r];
    }
}

float MorvaneProcessor::knobFromDevice(int row) const
{
    if (row < 0 || row >= tableRows || slope[row] == 0.0f)
        return 0.0f;
    const float v = (cell(row, valueColumn) - cell(row, minimumColumn)) * slope[row];
    return std::isfinite(v) ? v : 0.0f;
}

float MorvaneProcessor::modeForDevice() const
{
    return knobNow[mode] + (globalData->dualMono.load() ? (float)dualMonoOffset : 0.0f);
}

// The device value of a knob in this cycle. Integers the knob denotes come back as those
// integers: float error never puts them one below.
float MorvaneProcessor::deviceFromKnob(int knob) const
{
    return deviceValueOf(knob, knobNow[knob]);
}

float MorvaneProcessor::deviceValueOf(int knob, float knobValue) const
{
    if (knob == mode)
        return modeForDevice();
    if (knob == highGain)
        return knobValue;
    const int row = rowOfKnob(knob);
    if (row == autoGainRow)
        return globalData->autoGainValue.load() ? autoGainOn : autoGainOff;
    if (row < 0 || row >= tableRows)
        return 0.0f;
    const double minimum = cell(row, minimumColumn);
    if (slope[row] == 0.0f)
        return (float)minimum;
    double value = (double)knobValue / (double)slope[row] + minimum;
    if (!std::isfinite(value))
        return (float)minimum;
    const double nearest = std::round(value);
    if (std::fabs(value - nearest) < 1e-3)
        value = nearest;
    return (float)value;
}

// Two values of a continuous knob that give the same request text: the unit already has it.
bool MorvaneProcessor::sameOnTheWire(int knob, float a, float b) const
{
    if (knob == mode || knob == lamp || knob == autoGain || knob == highGain)
        return false;
    const float x = deviceValueOf(knob, a), y = deviceValueOf(knob, b);
    return sendDecimal(x) == sendDecimal(y) && (int)x == (int)y;
}

// ---------------------------------------------------------------- first status and restore

void MorvaneProcessor::firstStatus()
{
    CreateTheKnobs();
    if (awaitStatus() != Round::parsed)
        return; // nothing to take over yet; the receive's time-out paces the retries

    computeSlopes();
    const juce::MessageManagerLock lock;
    takeKnobsFromStatus();
    takeModeFromStatus();

    balanceJob.start(
        [this]
        {
            const auto reply = tcp->Fetch("/balance", true);
            return reply.code == 1 ? reply.text : std::string();
        });

    globalData->autoGainValue = cell(autoGainRow, valueColumn) == autoGainOn;
    globalData->autoGainRequest = true;
    globalData->highGainValue = cell(highGainRow, valueColumn) == 1.0f;
    globalData->highGainRequest = true;
    globalData->meterMode = (int)cell(meterModeRow, valueColumn);
    globalData->meterModeChanged = true;
    synced = true;
}

void MorvaneProcessor::takeKnobFromStatus(int knob, float value)
{
    knobs[knob]->setValue(value, juce::sendNotificationAsync);
    const float held = (float)knobs[knob]->getValue();
    globalData->hostValue[knob] = value;
    globalData->hostChanged[knob] = true;
    knobNow[knob] = knobSent[knob] = held;
    tellHost(knob, held);
}

void MorvaneProcessor::takeKnobsFromStatus()
{
    takeKnobFromStatus(inputLeft, knobFromDevice(inputLeftRow));
    takeKnobFromStatus(attackLeft, knobFromDevice(attackLeftRow));
    for (int knob = firstStatusFirstKnob; knob <= firstStatusLastKnob; ++knob)
        takeKnobFromStatus(knob, knobFromDevice(firstStatusRow[knob]));
}

void MorvaneProcessor::takeModeFromStatus()
{
    const int raw = (int)cell(modeRow, valueColumn);
    globalData->requestChannelMode(raw >= dualMonoOffset);
    const int m = positionOfModeRow(raw);
    knobs[mode]->setValue(m, juce::sendNotificationAsync);
    globalData->hostChanged[mode] = true;
    globalData->hostValue[mode] = (float)m;
    knobNow[mode] = knobSent[mode] = (float)knobs[mode]->getValue();
    tellHost(mode, knobNow[mode]);
    followChannelMode();
}

// With a whole table the session goes out after one fresh status, or one status period at
// most; without one it waits for a status, and after eleven empty rounds "/info" is read and
// parsed on a thread of its own.
void MorvaneProcessor::restorePush()
{
    if (infoJob.underWay())
    {
        if (infoJob.ready())
            restoreFromInfo(infoJob.take());
        return;
    }
    if (statusReceived.load())
    {
        const double now = juce::Time::getMillisecondCounterHiRes();
        if (restoreWaitSince < 0.0)
            restoreWaitSince = now;
        if (receiveBusy.load() && now - restoreWaitSince < statusPeriodMs)
            return;
        if (!receiveBusy.load())
            takeReceivedStatus();
        pushSession();
        return;
    }
    const Round round = awaitStatus();
    if (round == Round::underWay || (round == Round::empty && ++restoreMisses <= restoreRounds))
        return;
    restoreMisses = 0;
    if (round == Round::parsed)
    {
        pushSession();
        return;
    }
    infoJob.start(
        [this]() -> std::optional<StatusDatagram>
        {
            const auto info = tcp->Fetch("/info", true);
            if (info.code != 1 || info.text.empty())
                return std::nullopt;
            return parseStatusDatagram(info.text);
        });
}

void MorvaneProcessor::restoreFromInfo(const std::optional<StatusDatagram>& info)
{
    if (!info)
        return; // restorePending stays: the push waits for the unit to report
    takeStatus(*info);
    pushSession();
}

// All compared knobs in one request, on a send thread.
void MorvaneProcessor::pushSession()
{
    restoreWaitSince = -1.0;
    takeSnapshot();
    computeSlopes();
    slope[autoGainRow] = 1.0f;

    globalData->sending = true;
    sendUrl = restoreUrl();
    globalData->meterMode = (int)cell(meterModeRow, valueColumn);
    globalData->meterModeChanged = true;
    restorePending = false;
    startSendThread(sendUrl);
    globalData->sending = false;
    synced = true;
}

// Every knob the unit compares, the first with its decimals, the others as whole numbers.
std::string MorvaneProcessor::restoreUrl()
{
    std::string url =
        "/knob?" + IntInString(rowOfKnob(inputLeft)) + "/" + sendDecimal(deviceFromKnob(inputLeft));
    knobSent[inputLeft] = knobNow[inputLeft];
    for (int knob = inputLeft + 1; knob <= lastComparedKnob; ++knob)
    {
        url += "/" + IntInString(rowOfKnob(knob)) + "/" + IntInString((int)deviceFromKnob(knob));
        knobSent[knob] = knobNow[knob];
    }
    return url;
}

void MorvaneProcessor::takeSnapshot()
{
    for (int i = 0; i < settings->knobCount && i < tableRows; ++i)
        if (i != lamp && i != lowerMode)
            knobNow[i] = (float)knobs[i]->getValue();
}

// ---------------------------------------------------------------- the regular cycle

void MorvaneProcessor::appendChange(int knob)
{
    for (int i = 0; i < changedCount; ++i)
        if (changeList[i] == knob)
            return;
    if (changedCount < tableRows)
        changeList[changedCount++] = knob;
}

void MorvaneProcessor::regularCycle()
{
    startRound();
    takeReceivedStatus();
    takeSnapshot();
    changedCount = 0;

    displaysStep();
    computeSlopes();
    slope[autoGainRow] = 1.0f;
    CheckKnobTopicality();
    inputRefreshStep();
    lampStep();
    gainStep();
    channelModeStep();
    sendStep();
    brightnessAndBalanceStep();
}

void MorvaneProcessor::sendStep()
{
    if (changedCount == 0)
        return;
    globalData->sending = true;
    sendUrl = formUrl();
    restorePending = false;
    startSendThread(sendUrl);
    globalData->sending = false;
}

void MorvaneProcessor::brightnessAndBalanceStep()
{
    // Write-only requests: they go on send threads, as the knobs' URL does.
    if (globalData->brightnessRequest.exchange(false))
        startSendThread("/knob?" + IntInString(brightnessRow) + "/" +
                        IntInString((int)globalData->brightness.load()));

    if (globalData->balanceRequest.exchange(false))
    {
        startSendThread("/balance?" + FloatInString(globalData->balance.load()));
    }
    else
    {
        globalData->brightness = cell(brightnessRow, valueColumn);
        globalData->brightnessMax = cell(brightnessRow, maximumColumn);
        globalData->brightnessMin = cell(brightnessRow, minimumColumn);
    }
}

void MorvaneProcessor::displaysStep()
{
    const float left = meterLeft.load(), right = meterRight.load();
    if (left != lastMeterLeft)
    {
        setParameter(meterLeftSlot, left);
        lastMeterLeft = left;
    }
    if (right != lastMeterRight)
    {
        setParameter(meterRightSlot, right);
        lastMeterRight = right;
    }
    const float clip = (float)clipState.load();
    if (clip != lastClip)
    {
        globalData->hostValue[clipSlot] = clip;
        globalData->hostChanged[clipSlot] = true;
        lastClip = clip;
    }
}

void MorvaneProcessor::CheckKnobTopicality()
{
    for (int i = 0; i <= lastComparedKnob; ++i)
    {
        const bool fromHost = i < hostParameters && std::exchange(hostMoved[i], false);
        if (cell(knobToRow[i], heldColumn) != 0.0f)
        {
            takeHeldKnob(i);
            continue;
        }
        globalData->deviceHeld[i] = false;
        if (knobNow[i] == knobSent[i] || i == lamp)
            continue;
        // A host value that only repeats what the unit already holds (such as the unit's own
        // value handed to the host, or that value after a preset's six digits) is not sent back.
        if (fromHost && sameOnTheWire(i, knobNow[i], knobSent[i]))
        {
            knobSent[i] = knobNow[i];
            continue;
        }
        if (i == mode)
            globalData->modeChanged = true;
        appendChange(i);
    }
}

// A knob the unit's panel holds: the unit's value goes to the host and the knob.
void MorvaneProcessor::takeHeldKnob(int i)
{
    const int r = knobToRow[i];
    globalData->deviceHeld[i] = true;
    float v = 0.0f;
    if (i == mode)
    {
        globalData->modeChanged = true;
        const int m = (int)cell(r, valueColumn);
        if (m != lastMode.load())
        {
            globalData->requestChannelMode(m >= dualMonoOffset);
            lastMode = m;
            followChannelMode();
        }
        v = (float)positionOfModeRow(m);
    }
    else
    {
        v = knobFromDevice(r);
    }
    tellHost(i, v);
    knobs[i]->setValue(v, juce::sendNotification);
    // What the snapshot will read: the knob's own value, so nothing is echoed.
    knobNow[i] = knobSent[i] = (float)knobs[i]->getValue();
}

void MorvaneProcessor::inputRefreshStep()
{
    if (inputRefreshCounter <= 0)
        return;
    const int before = inputRefreshCounter++;
    if (before >= inputRefreshCycles)
    {
        tellHost(inputLeft, knobFromDevice(inputLeftRow));
        tellHost(inputRight, knobFromDevice(inputRightRow));
        inputRefreshCounter = 0;
    }
}

bool MorvaneProcessor::lampStep()
{
    if (globalData->lampChanged.exchange(false) && lampHold == 0)
    {
        appendChange(lamp);
        knobNow[lamp] = (float)globalData->lampValue.load();
        lampHold = 1;
        return true;
    }
    if (lampHold >= lampHoldCycles)
        lampHold = 0;
    else if (lampHold >= 1)
        ++lampHold;
    else if (cell(lampRow, valueColumn) != lastLampRow && !globalData->sending.load())
    {
        const int state = (int)cell(lampRow, valueColumn);
        lampTop->imageButtonState = state;
        lampBottom->imageButtonState = state;
        lampTop->repaint();
        lampBottom->repaint();
        lastLampRow = cell(lampRow, valueColumn);
    }
    return false;
}

void MorvaneProcessor::gainStep()
{
    if (globalData->autoGainRequest.exchange(false))
    {
        // Row 5 goes out as 255 or 0; the knob takes the same state so that the next
        // snapshot agrees and nothing undoes it.
        const float on = globalData->autoGainValue.load() ? 1.0f : 0.0f;
        knobs[autoGain]->setValue(on, juce::dontSendNotification);
        knobNow[autoGain] = (float)knobs[autoGain]->getValue();
        appendChange(autoGain);
    }
    if (globalData->highGainRequest.exchange(false))
    {
        appendChange(highGain);
        knobNow[highGain] = globalData->highGainValue.load() ? 1.0f : 0.0f;
        inputRefreshCounter = 1;
    }
}

void MorvaneProcessor::channelModeStep()
{
    if (globalData->dualMonoEntered.exchange(false))
        appendChange(mode);
    else if (globalData->dualMonoLeft.exchange(false))
        appendChange(mode);
}

// With no editor to act on a mode request, the processor follows the unit itself.
void MorvaneProcessor::followChannelMode()
{
    if (editorOpen.load())
        return;
    if (globalData->requestDualMono.exchange(false))
        globalData->dualMono = true;
    if (globalData->requestStereo.exchange(false))
        globalData->dualMono = false;
}

std::string MorvaneProcessor::formUrl()
{
    std::string url;
    for (int entry = 0; entry < changedCount; ++entry)
    {
        const int knob = changeList[entry];
        const int row = rowOfKnob(knob);
        const float value = deviceFromKnob(knob);
        if (entry == 0)
            url = "/knob?" + IntInString(row) + "/" + sendDecimal(value);
        else
            url += "/" + IntInString(row) + "/" + IntInString((int)value);
        knobSent[knob] = knobNow[knob];
    }
    return url;
}

void MorvaneProcessor::readBalance(const std::string& reply)
{
    float value = globalData->balance.load();
    if (DeviceQueries::balanceOfReply(reply, value))
        globalData->balance = value;
}
