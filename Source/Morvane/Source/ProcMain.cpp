// The synchronisation loop and the status stream of the processor.
#include "PluginProcessor.h"

#include "Broadcast/Broadcast.h"
#include "Components/MyImageButton.h"
#include "Debug/Debug.h"
#include "DeviceFinder/DeviceFinder.h"
#include "GlobalData/GlobalData.h"
#include "MasterDeviceChecker/MasterDeviceChecker.h"
#include "PluginCommunication/PluginCommunication.h"
#include "SafeAndLoad/SafeAndLoad.h"
#include "TCPIP/DeviceQueries.h"
#include "TCPIP/TCPIP.h"
#include "TCPIP/TCPandIP/SocketIO.h"

#include <arpa/inet.h>
#include <cerrno>
#include <climits>
#include <cmath>
#include <netinet/in.h>
#include <sys/socket.h>

namespace
{
// The last mode row value seen by CheckKnobTopicality, shared by all instances.
std::atomic<int> lastMode{0};

constexpr int statusRows = 22;
constexpr int receiveTimeoutMs = 2000;
constexpr int missesBeforeTest = 11;
constexpr int restoreRounds = 11;

// atoi without its undefined overflow: leading blanks, a sign, digits; 0 when none.
int readInt(const std::string& piece)
{
    const char* begin = piece.c_str();
    char* end = nullptr;
    errno = 0;
    const long long value = std::strtoll(begin, &end, 10);
    if (end == begin)
        return 0;
    if (errno == ERANGE || value > INT_MAX)
        return value < 0 ? INT_MIN : INT_MAX;
    if (value < INT_MIN)
        return INT_MIN;
    return (int)value;
}

// The unit's figures are a few thousand at most. Held to what a float carries exactly, a
// hostile one still converts back to int wherever the loop needs a whole number.
constexpr int largestFigure = 1 << 24;

// The needle for a gain reduction of x thousandths of a decibel, in this exact order of
// float and double steps.
float needleOf(float x)
{
    const float a = x / 1000.0f;
    const float y = -a;
    const float t = (float)((double)y / -20.0 + 1.0);
    const float s = t * t;
    const float p = s * s * s;
    const float q = (float)((double)(1.0f - p) + (double)y / 57.0);
    float n = q * -14.814814567565918f;
    if (a < -21.0f)
        n = (float)(((double)a + 21.0) * 1.5 + (double)n);
    return n;
}

std::string sendDecimal(double deviceValue)
{
    return FloatInString((float)deviceValue);
}
} // namespace

// ---------------------------------------------------------------- the tick

void MorvaneProcessor::timerCallback()
{
    presetReadingStage();
    presetSavingStage();
    inTimer = true;

    if (globalData->ipChanged.load())
        takeOverNewAddress();

    if (globalData->connected.load())
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

    if (!statusReceived.load())
    {
        // The master searches, and so does an instance that no master serves.
        if (!globalData->connected.load() && pluginCommunication->searchesItself() && !finderStarted)
        {
            finderStarted = true;
            globalData->deviceFinderRunning = 1;
            findThread = std::thread([this] { delegatorFindDevice(this); });
        }
        CreateTheKnobs();
    }

    inTimer = false;
}

void MorvaneProcessor::takeOverNewAddress()
{
    globalData->ipChanged = false;
    tcp->SetIP(globalData->deviceIp.get());
    globalData->deviceSerial = GetSerialFromDevice();
    globalData->safeGuiSettings();
    globalData->devicePort = GetDevicePort();
    joinReceiveThread();
    statusReceived = false;
    synced = false;
    roundParsed = false;
    roundStarted = false;
}

void MorvaneProcessor::joinReceiveThread()
{
    if (receiveThread.joinable())
        receiveThread.join();
    receiveBusy = false;
}

// ---------------------------------------------------------------- conversions

int MorvaneProcessor::rowOfKnob(int knob) const
{
    return knob >= 0 && knob < knobTotal ? knobToRow[knob] : -1;
}

void MorvaneProcessor::computeSlopes()
{
    for (int r = 0; r < statusRows; ++r)
    {
        const float span = deviceTable[r][1] - deviceTable[r][2];
        // A row whose maximum equals its minimum has no slope; 0 marks it.
        const float s = 1.0f / span;
        slope[r] = std::isfinite(s) ? s : 0.0f;
    }
}

float MorvaneProcessor::knobFromDevice(int row) const
{
    if (row < 0 || row >= tableRows || slope[row] == 0.0f)
        return 0.0f;
    const float v = (deviceTable[row][0] - deviceTable[row][2]) * slope[row];
    return std::isfinite(v) ? v : 0.0f;
}

float MorvaneProcessor::modeForDevice() const
{
    return knobNow[2] + (globalData->dualMono.load() ? 12.0f : 0.0f);
}

// The device value of a knob in this cycle. Integers the knob denotes come back as those
// integers: float error never puts them one below.
float MorvaneProcessor::deviceFromKnob(int knob) const
{
    return deviceValueOf(knob, knobNow[knob]);
}

float MorvaneProcessor::deviceValueOf(int knob, float knobValue) const
{
    if (knob == 2)
        return modeForDevice();
    if (knob == 17)
        return knobValue;
    const int row = rowOfKnob(knob);
    if (row == 5)
        return globalData->autoGainValue.load() ? 255.0f : 0.0f;
    if (row < 0 || row >= tableRows)
        return 0.0f;
    const double minimum = deviceTable[row][2];
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
    if (knob == 2 || knob == 8 || knob == 16 || knob == 17)
        return false;
    const float x = deviceValueOf(knob, a), y = deviceValueOf(knob, b);
    return sendDecimal(x) == sendDecimal(y) && (int)x == (int)y;
}

// ---------------------------------------------------------------- first status and restore

void MorvaneProcessor::firstStatus()
{
    if (globalData->devicePort.load() == 0)
        globalData->devicePort = GetDevicePort();

    CreateTheKnobs();
    if (awaitStatus() != Round::parsed)
        return; // nothing to take over yet; the receive's time-out paces the retries

    computeSlopes();
    const juce::MessageManagerLock lock;

    auto takeOver = [this](int knob, float v)
    {
        knobs[knob]->setValue(v, juce::sendNotificationAsync);
        const float held = (float)knobs[knob]->getValue();
        globalData->hostValue[knob] = v;
        globalData->hostChanged[knob] = true;
        knobNow[knob] = knobSent[knob] = held;
    };
    takeOver(0, knobFromDevice(2));
    takeOver(1, knobFromDevice(0));
    for (int knob = 3; knob <= 17; ++knob)
        takeOver(knob, knobFromDevice(firstStatusRow[knob]));

    int m = (int)deviceTable[10][0];
    globalData->requestChannelMode(m >= 12);
    if (m >= 12)
        m -= 12;
    knobs[2]->setValue(m, juce::sendNotificationAsync);
    globalData->hostChanged[2] = true;
    globalData->hostValue[2] = (float)m;
    knobNow[2] = knobSent[2] = (float)knobs[2]->getValue();
    followChannelMode();

    const auto balanceReply = tcp->Fetch("/balance", true);
    if (balanceReply.code == 1)
        readBalance(balanceReply.text);

    globalData->autoGainValue = deviceTable[5][0] == 255.0f;
    globalData->autoGainRequest = true;
    globalData->highGainValue = deviceTable[22][0] == 1.0f;
    globalData->highGainRequest = true;
    globalData->meterMode = (int)deviceTable[6][0];
    globalData->meterModeChanged = true;
    synced = true;

    startWatch();
}

// The waits for a status message of First status and the Restore push run on the receive
// thread, as the regular cycle's do: the message thread (the host's) is never held by them.
MorvaneProcessor::Round MorvaneProcessor::awaitStatus()
{
    if (receiveBusy.load())
        return Round::underWay;
    joinReceiveThread();
    if (roundParsed.exchange(false))
        return Round::parsed;
    const bool first = !roundStarted;
    roundStarted = true;
    startReceiveThread();
    return first ? Round::underWay : Round::empty;
}

void MorvaneProcessor::restorePush()
{
    const Round round = awaitStatus();
    if (round == Round::underWay || (round == Round::empty && ++restoreMisses <= restoreRounds))
        return;
    restoreMisses = 0;
    takeSnapshot();
    if (round != Round::parsed)
    {
        const auto info = tcp->Fetch("/info", true);
        if (info.code != 1 || info.text.empty() || !ReadJson(info.text))
        {
            startWatch();
            return; // restorePending stays: the push waits for the unit to report
        }
    }

    computeSlopes();
    slope[5] = 1.0f;

    globalData->sending = true;
    std::string url = "/knob?" + IntInString(rowOfKnob(0)) + "/" + sendDecimal(deviceFromKnob(0));
    knobSent[0] = knobNow[0];
    for (int knob = 1; knob <= 16; ++knob)
    {
        url += "/" + IntInString(rowOfKnob(knob)) + "/" + IntInString((int)deviceFromKnob(knob));
        knobSent[knob] = knobNow[knob];
    }
    globalData->meterMode = (int)deviceTable[6][0];
    globalData->meterModeChanged = true;

    sendUrl = url;
    restorePending = false;
    tcp->GetSite(sendUrl, true);
    globalData->sending = false;
    synced = true;

    startWatch();
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

void MorvaneProcessor::takeSnapshot()
{
    for (int i = 0; i < settings->knobCount && i < tableRows; ++i)
        if (i != 8 && i != 19)
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
    if (globalData->devicePort.load() == 0)
        globalData->devicePort = GetDevicePort();

    receiveBusy = true;
    takeSnapshot();
    changedCount = 0;

    displaysStep();
    computeSlopes();
    slope[5] = 1.0f;
    CheckKnobTopicality();
    inputRefreshStep();
    lampStep();
    gainStep();
    channelModeStep();

    if (changedCount > 0)
    {
        globalData->sending = true;
        sendUrl = formUrl();
        restorePending = false;
        startSendThread(sendUrl);
        globalData->sending = false;
    }

    if (globalData->brightnessRequest.exchange(false))
        tcp->GetSite("/knob?7/" + IntInString((int)globalData->brightness.load()), true);

    if (globalData->balanceRequest.exchange(false))
    {
        tcp->GetSite("/balance?" + FloatInString(globalData->balance.load()), true);
    }
    else
    {
        globalData->brightness = deviceTable[7][0];
        globalData->brightnessMax = deviceTable[7][1];
        globalData->brightnessMin = deviceTable[7][2];
    }

    startReceiveThread();
}

void MorvaneProcessor::displaysStep()
{
    const float left = meterLeft.load(), right = meterRight.load();
    if (left != lastMeterLeft)
    {
        setParameter(19, left);
        lastMeterLeft = left;
    }
    if (right != lastMeterRight)
    {
        setParameter(35, right);
        lastMeterRight = right;
    }
    const float clip = (float)clipState.load();
    if (clip != lastClip)
    {
        globalData->hostValue[20] = clip;
        globalData->hostChanged[20] = true;
        lastClip = clip;
    }
}

void MorvaneProcessor::CheckKnobTopicality()
{
    for (int i = 0; i <= 16; ++i)
    {
        const int r = knobToRow[i];
        if (deviceTable[r][4] != 0.0f)
        {
            globalData->deviceHeld[i] = true;
            float v = 0.0f;
            if (i == 2)
            {
                globalData->modeChanged = true;
                int m = (int)deviceTable[r][0];
                if (m != lastMode.load())
                {
                    globalData->requestChannelMode(m >= 12);
                    lastMode = m;
                    followChannelMode();
                }
                v = (float)(m >= 12 ? m - 12 : m);
            }
            else
            {
                v = knobFromDevice(r);
            }
            setParameterNotifyingHost(i, v);
            knobs[i]->setValue(v, juce::sendNotification);
            // What the snapshot will read: the knob's own value, so nothing is echoed.
            knobNow[i] = knobSent[i] = (float)knobs[i]->getValue();
            continue;
        }

        globalData->deviceHeld[i] = false;
        if (knobNow[i] != knobSent[i])
        {
            if (i == 8)
                continue;
            if (i == 2)
                globalData->modeChanged = true;
            appendChange(i);
        }
        else if (!editorOpen.load() && globalData->hostChanged[i].exchange(false))
        {
            knobs[i]->setValue(globalData->hostValue[i].load(), juce::dontSendNotification);
            const float value = (float)knobs[i]->getValue();
            // A host value that only repeats what the unit already holds (such as the unit's
            // own value handed to the host, or that value after a preset's six digits) is
            // not sent back.
            if (value != knobSent[i])
            {
                const bool news = !sameOnTheWire(i, value, knobSent[i]);
                knobSent[i] = knobNow[i] = value;
                if (news)
                    appendChange(i);
            }
        }
    }
}

void MorvaneProcessor::inputRefreshStep()
{
    if (inputRefreshCounter <= 0)
        return;
    const int before = inputRefreshCounter++;
    if (before >= 4)
    {
        setParameterNotifyingHost(0, knobFromDevice(2));
        setParameterNotifyingHost(9, knobFromDevice(17));
        inputRefreshCounter = 0;
    }
}

bool MorvaneProcessor::lampStep()
{
    if (globalData->lampChanged.exchange(false) && lampHold == 0)
    {
        appendChange(8);
        knobNow[8] = (float)globalData->lampValue.load();
        lampHold = 1;
        return true;
    }
    if (lampHold >= 5)
        lampHold = 0;
    else if (lampHold >= 1)
        ++lampHold;
    else if (deviceTable[14][0] != lastLampRow && !globalData->sending.load())
    {
        const int state = (int)deviceTable[14][0];
        lampTop->imageButtonState = state;
        lampBottom->imageButtonState = state;
        lampTop->repaint();
        lampBottom->repaint();
        lastLampRow = deviceTable[14][0];
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
        knobs[16]->setValue(on, juce::dontSendNotification);
        knobNow[16] = (float)knobs[16]->getValue();
        appendChange(16);
    }
    if (globalData->highGainRequest.exchange(false))
    {
        appendChange(17);
        knobNow[17] = globalData->highGainValue.load() ? 1.0f : 0.0f;
        inputRefreshCounter = 1;
    }
}

void MorvaneProcessor::channelModeStep()
{
    if (globalData->dualMonoEntered.exchange(false))
        appendChange(2);
    else if (globalData->dualMonoLeft.exchange(false))
        appendChange(2);
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

// ---------------------------------------------------------------- threads

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

void MorvaneProcessor::startReceiveThread()
{
    if (receiveThread.joinable())
        receiveThread.join();
    receiveBusy = true;
    receiveThread = std::thread([this] { delegatorReceiveAndRead(this); });
}

void delegatorReceiveAndRead(void* owner)
{
    auto* processor = static_cast<MorvaneProcessor*>(owner);
    processor->roundParsed = processor->PotiRound();
    processor->receiveBusy = false;
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

// ---------------------------------------------------------------- device protocol

int MorvaneProcessor::GetDevicePort()
{
    return DeviceQueries::GetDevicePort(*tcp, settings->productFolder);
}

std::string MorvaneProcessor::GetSerialFromDevice()
{
    return DeviceQueries::GetSerialFromDevice(*tcp, settings->productFolder);
}

// ---------------------------------------------------------------- status stream

bool MorvaneProcessor::PotiRound()
{
    std::string result;
    {
        SocketIO::Socket socket(::socket(AF_INET, SOCK_DGRAM, 0));
        sockaddr_in local{};
        local.sin_family = AF_INET;
        local.sin_addr.s_addr = htonl(INADDR_ANY);
        local.sin_port = htons((uint16_t)globalData->devicePort.load());
        const int one = 1;
        if (socket.valid() && ::setsockopt(socket.get(), SOL_SOCKET, SO_REUSEADDR, &one, sizeof(one)) == 0 &&
            ::bind(socket.get(), reinterpret_cast<sockaddr*>(&local), sizeof(local)) == 0 &&
            SocketIO::waitFor(socket.get(), false, receiveTimeoutMs, &closing) == SocketIO::Wait::ready)
        {
            char buffer[2048] = {};
            sockaddr_in sender{};
            socklen_t senderLength = sizeof(sender);
            const ssize_t n = ::recvfrom(socket.get(), buffer, 2047, MSG_DONTWAIT,
                                         reinterpret_cast<sockaddr*>(&sender), &senderLength);
            if (n > 0 && SocketIO::dotted(sender.sin_addr.s_addr) == globalData->deviceIp.get())
                result.assign(buffer, strnlen(buffer, (size_t)n));
        }
    }

    if (!result.empty())
        return ReadJson(result);

    if (++missedStatus < missesBeforeTest)
        return false;

    if (tcp->CheckSocketConnection() < 1)
    {
        if (editorOpen.load() && globalData->viewState.load() == 4)
        {
            globalData->viewState = 5;
            globalData->viewDirty = true;
        }
        globalData->repaintRequest = true;
        globalData->connected = false;
    }
    missedStatus = 0;
    return false;
}

bool MorvaneProcessor::ReadJson(const std::string& received)
{
    // Gain reduction first: without "comp", a "[" behind it and two numbers the message is
    // dropped whole, before anything of it is taken.
    const auto comp = received.find("comp");
    if (comp == std::string::npos)
        return false;
    const auto bracket = received.find('[', comp);
    if (bracket == std::string::npos)
        return false;
    const std::string gain = received.substr(bracket + 1);
    const auto comma = gain.find(',');
    if (comma == std::string::npos)
        return false;
    float left = 0.0f, right = 0.0f;
    if (!TextCut::readFloat(gain.substr(0, comma), left) ||
        !TextCut::readFloat(gain.substr(comma + 1), right))
        return false;

    std::string text = received;
    text.erase(0, std::min(text.find('{'), text.size()));
    const auto q1 = text.find('"');
    const auto q2 = q1 == std::string::npos ? q1 : text.find('"', q1 + 1);
    if (q2 != std::string::npos)
    {
        text.erase(0, q2 + 1);
        text.erase(0, std::min(q1, text.size()));
    }
    const auto open = text.find("[[");
    if (open != std::string::npos && open < 2)
        text.erase(0, 2);

    float table[tableRows][tableColumns] = {};
    bool rowsEnded = false;
    for (int r = 0; r < statusRows && !rowsEnded; ++r)
    {
        for (int c = 0; c < tableColumns && !rowsEnded; ++c)
        {
            const auto next = text.find(',');
            std::string piece = next == std::string::npos ? text : text.substr(0, next);
            // "]]" closes the rows: a message with fewer rows leaves the rest at 0.
            rowsEnded = piece.find("]]") != std::string::npos;
            const auto close = piece.find(']');
            if (close != std::string::npos && close > 0)
                piece.erase(close);
            table[r][c] = (float)juce::jlimit(-largestFigure, largestFigure, readInt(piece));
            text.erase(0, next == std::string::npos ? text.size() : std::min(next + 2, text.size()));
        }
    }

    for (int r = 0; r < tableRows; ++r)
        for (int c = 0; c < tableColumns; ++c)
            deviceTable[r][c] = table[r][c];

    const int raw = (int)deviceTable[10][0];
    int m = raw >= 12 ? raw - 12 : raw;
    m = juce::jlimit(0, 11, m);
    if (m != lastDeviceMode.load())
    {
        globalData->modeChanged = true;
        globalData->deviceMode = m + 1;
        lastDeviceMode = m;
    }

    meterLeft = needleOf(left);
    meterRight = needleOf(right);

    const std::string behind = gain;
    const auto clip = behind.find("clip");
    const std::size_t from = clip == std::string::npos ? 5 : clip + 6;
    clipState = StringInInt(TextCut::tail(behind, from));

    statusReceived = true;
    return true;
}
