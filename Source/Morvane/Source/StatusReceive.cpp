// The receive side of the status stream: one datagram per round on a thread of its own,
// taken into the status table and the meters.
#include "PluginProcessor.h"

#include "GlobalData/GlobalData.h"
#include "StatusDatagram.h"
#include "TCPIP/TCPIP.h"
#include "TCPIP/TCPandIP/SocketIO.h"

#include <arpa/inet.h>
#include <cstring>
#include <netinet/in.h>
#include <sys/socket.h>

namespace
{
constexpr int receiveTimeoutMs = 2000;
constexpr int missesBeforeTest = 11;
constexpr int largestDatagram = 2047;

// One datagram from the unit at address on port, within the time-out; empty when none came
// (or one came from elsewhere). The text ends at its first zero byte.
std::string receiveDatagram(int port, const std::string& address, const std::atomic<bool>* stop)
{
    SocketIO::Socket socket(::socket(AF_INET, SOCK_DGRAM, 0));
    sockaddr_in local{};
    local.sin_family = AF_INET;
    local.sin_addr.s_addr = htonl(INADDR_ANY);
    local.sin_port = htons((uint16_t)port);
    const int one = 1;
    if (!socket.valid() || ::setsockopt(socket.get(), SOL_SOCKET, SO_REUSEADDR, &one, sizeof(one)) != 0 ||
        ::bind(socket.get(), reinterpret_cast<sockaddr*>(&local), sizeof(local)) != 0 ||
        SocketIO::waitFor(socket.get(), false, receiveTimeoutMs, stop) != SocketIO::Wait::ready)
        return {};
    char buffer[largestDatagram + 1] = {};
    sockaddr_in sender{};
    socklen_t senderLength = sizeof(sender);
    const ssize_t n = ::recvfrom(socket.get(), buffer, largestDatagram, MSG_DONTWAIT,
                                 reinterpret_cast<sockaddr*>(&sender), &senderLength);
    if (n <= 0 || SocketIO::dotted(sender.sin_addr.s_addr) != address)
        return {};
    return std::string(buffer, strnlen(buffer, (size_t)n));
}
} // namespace

bool MorvaneProcessor::PotiRound()
{
    const auto received =
        receiveDatagram(globalData->devicePort.load(), globalData->deviceIp.get(), &closing);
    if (!received.empty())
        return ReadJson(received);
    if (++missedStatus >= missesBeforeTest)
    {
        testConnection();
        missedStatus = 0;
    }
    return false;
}

// Eleven silent rounds: a unit that no longer answers is taken as gone.
void MorvaneProcessor::testConnection()
{
    if (tcp->CheckSocketConnection() >= 1)
        return;
    if (editorOpen.load() && globalData->viewState.load() == 4)
    {
        globalData->viewState = 5;
        globalData->viewDirty = true;
    }
    globalData->repaintRequest = true;
    globalData->connected = false;
}

bool MorvaneProcessor::ReadJson(const std::string& received)
{
    const auto status = parseStatusDatagram(received);
    if (!status)
        return false;
    deviceTable = status->table;
    followDeviceMode((int)deviceTable[KnobMap::modeRow][KnobMap::valueColumn]);
    meterLeft = status->needleLeft;
    meterRight = status->needleRight;
    clipState = status->clip;
    statusReceived = true;
    return true;
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

void MorvaneProcessor::startReceiveThread()
{
    if (receiveThread.joinable())
        receiveThread.join();
    receiveBusy = true;
    receiveThread = std::thread([this] { delegatorReceiveAndRead(this); });
}

void MorvaneProcessor::joinReceiveThread()
{
    if (receiveThread.joinable())
        receiveThread.join();
    receiveBusy = false;
}

void delegatorReceiveAndRead(void* owner)
{
    auto* processor = static_cast<MorvaneProcessor*>(owner);
    processor->roundParsed = processor->PotiRound();
    processor->receiveBusy = false;
}
