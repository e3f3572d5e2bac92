#include "Broadcast/Broadcast.h"

#include "Debug/Debug.h"
#include "GlobalData/GlobalData.h"
#include "Ground/RetryBackoff.h"
#include "Ground/TextHelpers.h"
#include "TCPIP/TCPandIP/SocketIO.h"

#include <arpa/inet.h>
#include <cerrno>
#include <chrono>
#include <cstring>
#include <ifaddrs.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <thread>
#include <vector>

namespace
{
constexpr int waitMs = 1000;
// A device that floods port 4028 must not hold a search for ever.
constexpr int maxRepliesPerInterface = 256;
constexpr long long maxMsPerInterface = 10000;

// The IPv4 broadcast address of each interface with an IPv4 address, in the list's order;
// 0.0.0.0 where the interface names none.
std::vector<unsigned int> broadcastTargets()
{
    std::vector<unsigned int> targets;
    ifaddrs* list = nullptr;
    if (::getifaddrs(&list) != 0)
        return targets;
    for (const ifaddrs* entry = list; entry != nullptr; entry = entry->ifa_next)
    {
        if (entry->ifa_addr == nullptr || entry->ifa_addr->sa_family != AF_INET)
            continue;
        unsigned int target = 0;
        const sockaddr* destination = entry->ifa_ifu.ifu_broadaddr;
        if (destination != nullptr && destination->sa_family == AF_INET)
            target = reinterpret_cast<const sockaddr_in*>(destination)->sin_addr.s_addr;
        targets.push_back(target);
    }
    ::freeifaddrs(list);
    return targets;
}

// Another program's search holds port 4028 for a second or more per interface: the bind is
// tried again with growing waits, for at most this long.
constexpr int bindFirstRetryMs = 20;
constexpr int bindLongestRetryMs = 400;
constexpr long long bindRetryLimitMs = 5000;
// Searches of this process take turns at port 4028; a search waits this long for its turn.
constexpr long long turnLimitMs = 30000;
constexpr int lookMs = 20;

// Port 4028 is one per computer: the searches of all instances of this process take turns.
// A plain mutex polled with try_lock: timed waits on a mutex go through a call the thread
// checker cannot follow, and the turn is looked at every lookMs anyway to see quit.
std::mutex& requestPortLock()
{
    static std::mutex lock;
    return lock;
}

// A datagram socket with SO_BROADCAST, bound to port 4028 on the wildcard address; error
// holds errno of a failed step.
SocketIO::Socket requestSocket(int& error)
{
    SocketIO::Socket socket(::socket(AF_INET, SOCK_DGRAM, 0));
    error = socket.valid() ? 0 : errno;
    if (!socket.valid())
        return socket;
    const int one = 1;
    sockaddr_in local{};
    local.sin_family = AF_INET;
    local.sin_addr.s_addr = htonl(INADDR_ANY);
    local.sin_port = htons((uint16_t)Broadcast::requestPort);
    if (::setsockopt(socket.get(), SOL_SOCKET, SO_BROADCAST, &one, sizeof(one)) != 0 ||
        ::bind(socket.get(), reinterpret_cast<sockaddr*>(&local), sizeof(local)) != 0)
    {
        error = errno;
        socket.close();
    }
    return socket;
}

// Sleeps ms in short slices; false when quit rose meanwhile.
bool pause(int ms, const std::atomic<bool>& quit)
{
    for (int slept = 0; slept < ms; slept += lookMs)
    {
        if (quit.load())
            return false;
        std::this_thread::sleep_for(std::chrono::milliseconds(std::min(lookMs, ms - slept)));
    }
    return !quit.load();
}

void sendRequest(int fd, unsigned int broadcastAddress)
{
    sockaddr_in target{};
    target.sin_family = AF_INET;
    target.sin_addr.s_addr = broadcastAddress;
    target.sin_port = htons((uint16_t)Broadcast::unitPort);
    // A failed send shows as silence, which the wait below handles.
    (void)::sendto(fd, Broadcast::request, std::strlen(Broadcast::request), MSG_NOSIGNAL,
                   reinterpret_cast<sockaddr*>(&target), sizeof(target));
}
} // namespace

Broadcast::Broadcast(GlobalData* g, const std::string& code) : global(g), deviceCode(code) {}

void Broadcast::log(const char* message, int line) const
{
    const auto* settings = global != nullptr ? global->settings : nullptr;
    Debug::DebugLog(1, message, __FILE__, line, settings != nullptr ? settings->productFolder : "Morvane");
}

bool Broadcast::quitting() const
{
    return global->quitRequested.load();
}

// broadcastRunning stays up from the first caller's start to the last caller's end, also
// while a second search waits for the first.
void Broadcast::enterRun()
{
    std::lock_guard<std::mutex> lock(stateLock);
    ++runsUnderWay;
    global->broadcastRunning = true;
}

void Broadcast::leaveRun()
{
    std::lock_guard<std::mutex> lock(stateLock);
    if (--runsUnderWay == 0)
        global->broadcastRunning = false;
}

void Broadcast::BroadcastToAllInterfaces()
{
    enterRun();
    {
        std::lock_guard<std::mutex> oneSearch(runLock);
        log("Start Broadcast To All Interfaces", __LINE__);
        count = 0;
        for (const unsigned int target : broadcastTargets())
        {
            if (quitting())
                break;
            searchInterface(target);
        }
        log("Ended Broadcast To All Interfaces", __LINE__);
    }
    leaveRun();
}

bool Broadcast::waitForTurn(std::unique_lock<std::mutex>& turn) const
{
    const long long deadline = SocketIO::nowMs() + turnLimitMs;
    while (!turn.try_lock())
        if (SocketIO::nowMs() > deadline || !pause(lookMs, global->quitRequested))
            return false;
    return true;
}

SocketIO::Socket Broadcast::bindRequestPort() const
{
    RetryBackoff backoff(bindFirstRetryMs, bindLongestRetryMs);
    const long long deadline = SocketIO::nowMs() + bindRetryLimitMs;
    for (;;)
    {
        int error = 0;
        auto socket = requestSocket(error);
        if (socket.valid() || error != EADDRINUSE)
            return socket;
        const int wait = backoff.nextDelayMs();
        if (SocketIO::nowMs() + wait > deadline || !pause(wait, global->quitRequested))
            return socket;
    }
}

void Broadcast::searchInterface(unsigned int broadcastAddress)
{
    std::unique_lock<std::mutex> turn(requestPortLock(), std::defer_lock);
    if (!waitForTurn(turn))
        return;
    const auto socket = bindRequestPort();
    if (!socket.valid())
    {
        log("Port 4028 stayed in use, interface left out", __LINE__);
        return;
    }
    sendRequest(socket.get(), broadcastAddress);

    const auto* quit = &global->quitRequested;
    const long long deadline = SocketIO::nowMs() + maxMsPerInterface;
    for (int replies = 0; replies < maxRepliesPerInterface && SocketIO::nowMs() < deadline; ++replies)
    {
        // Each wait gets its full second anew.
        if (SocketIO::waitFor(socket.get(), false, waitMs, quit) != SocketIO::Wait::ready)
            return;
        char buffer[maxReply];
        sockaddr_in sender{};
        socklen_t senderLength = sizeof(sender);
        const ssize_t n = ::recvfrom(socket.get(), buffer, sizeof(buffer), MSG_DONTWAIT,
                                     reinterpret_cast<sockaddr*>(&sender), &senderLength);
        if (n < 0)
            return;
        handleReply(buffer, (std::size_t)n, sender.sin_addr.s_addr);
    }
}

std::string Broadcast::textBehindKey(const std::string& reply)
{
    const auto colon = reply.find(':');
    if (colon == std::string::npos)
        return {};
    const std::string text = TextCut::tail(reply, colon);
    const auto quote = text.find('"');
    return quote == std::string::npos ? text : TextCut::tail(text, quote + 1);
}

std::string Broadcast::nameInReply(const std::string& reply)
{
    return TextCut::upTo(textBehindKey(reply), "\"");
}

void Broadcast::handleReply(const char* data, std::size_t length, unsigned int sourceAddress)
{
    // The text ends at the received length, or at a terminator inside it.
    const std::string reply(data, strnlen(data, length));
    const std::string text = textBehindKey(reply);
    if (text.find(deviceCode) == std::string::npos)
        return;
    const std::string name = TextCut::upTo(text, "\"");

    const int recorded = count.load();
    // A unit that answers twice, or on two interfaces, keeps its first address.
    if (names.indexOf(name, 1, recorded) != 0)
        return;
    // The lists hold nine units; a tenth is left out.
    if (recorded >= maxUnits)
        return;

    for (int part = 0; part < 4; ++part)
        addressParts[part] = (int)((ntohl(sourceAddress) >> (8 * part)) & 0xff);
    const std::string address = SocketIO::dotted(sourceAddress);
    const int index = recorded + 1;
    names.set(index, name);
    lastIp = address;
    ips.set(index, address);
    global->alertIps.set(index, address);
    count = index;
    global->alertIpCount = index;
}
