#include "StatusReceiver.h"

#include "TCPIP/TCPandIP/SocketIO.h"

#include <arpa/inet.h>
#include <cerrno>
#include <cstring>
#include <netinet/in.h>
#include <poll.h>
#include <sys/eventfd.h>
#include <sys/socket.h>
#include <unistd.h>

StatusReceiver::StatusReceiver(RoundHandler roundHandler) : handler(std::move(roundHandler))
{
    stopFd = ::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK);
    thread = std::thread([this] { run(); });
}

StatusReceiver::~StatusReceiver()
{
    stop();
    if (socketFd >= 0)
        ::close(socketFd);
    if (stopFd >= 0)
        ::close(stopFd);
}

void StatusReceiver::startRound(int port, const std::string& address)
{
    {
        std::lock_guard<std::mutex> guard(lock);
        requested = true;
        requestedPort = port;
        requestedAddress = address;
    }
    wake.notify_one();
}

void StatusReceiver::stop()
{
    {
        std::lock_guard<std::mutex> guard(lock);
        stopping = true;
    }
    const uint64_t one = 1;
    if (stopFd >= 0)
    {
        const ssize_t written = ::write(stopFd, &one, sizeof(one));
        (void)written; // should it fail, the round's own time-out ends the wait
    }
    wake.notify_one();
    if (thread.joinable())
        thread.join();
}

void StatusReceiver::run()
{
    for (;;)
    {
        int port = 0;
        std::string address;
        {
            std::unique_lock<std::mutex> guard(lock);
            wake.wait(guard, [this] { return requested || stopping.load(); });
            if (stopping.load())
                return;
            requested = false;
            port = requestedPort;
            address = requestedAddress;
        }
        const auto text = receiveRound(port, address);
        if (stopping.load())
            return;
        handler(text);
    }
}

bool StatusReceiver::bindTo(int port)
{
    if (socketFd >= 0 && boundPort == port)
        return true;
    if (socketFd >= 0)
        ::close(socketFd);
    boundPort = -1;
    socketFd = ::socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
    if (socketFd < 0)
        return false;
    sockaddr_in local{};
    local.sin_family = AF_INET;
    local.sin_addr.s_addr = htonl(INADDR_ANY);
    local.sin_port = htons((uint16_t)port);
    const int one = 1;
    if (::setsockopt(socketFd, SOL_SOCKET, SO_REUSEADDR, &one, sizeof(one)) != 0 ||
        ::bind(socketFd, reinterpret_cast<sockaddr*>(&local), sizeof(local)) != 0)
    {
        ::close(socketFd);
        socketFd = -1;
        return false;
    }
    boundPort = port;
    return true;
}

StatusReceiver::Take StatusReceiver::takeOne(const std::string& address, std::string& text)
{
    char buffer[largestDatagram + 1] = {};
    sockaddr_in sender{};
    socklen_t senderLength = sizeof(sender);
    const ssize_t n = ::recvfrom(socketFd, buffer, largestDatagram, MSG_DONTWAIT,
                                 reinterpret_cast<sockaddr*>(&sender), &senderLength);
    if (n <= 0)
        return Take::none;
    if (SocketIO::dotted(sender.sin_addr.s_addr) != address)
        return Take::other;
    text.assign(buffer, strnlen(buffer, (size_t)n));
    return Take::unit;
}

// What queued since the last round counts first (its newest datagram of the unit); otherwise
// the first datagram within the time-out, which must be the unit's.
std::string StatusReceiver::receiveRound(int port, const std::string& address)
{
    if (!bindTo(port))
        return {};
    std::string newest, text;
    for (Take taken; (taken = takeOne(address, text)) != Take::none;)
        if (taken == Take::unit)
            newest = text;
    if (!newest.empty())
        return newest;

    pollfd entries[2] = {{socketFd, POLLIN, 0}, {stopFd, POLLIN, 0}};
    const long long deadline = SocketIO::nowMs() + roundTimeoutMs;
    for (long long left = roundTimeoutMs; left > 0 && !stopping.load(); left = deadline - SocketIO::nowMs())
    {
        const int result = ::poll(entries, 2, (int)left);
        if (result < 0 && errno != EINTR)
            return {};
        if (result <= 0 || (entries[1].revents & POLLIN) != 0)
            continue;
        return takeOne(address, text) == Take::unit ? text : std::string();
    }
    return {};
}
