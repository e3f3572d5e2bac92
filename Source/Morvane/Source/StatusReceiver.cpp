#include "StatusReceiver.h"

#include <algorithm>
#include <arpa/inet.h>
#include <cerrno>
#include <cstring>
#include <map>
#include <memory>
#include <mutex>
#include <netinet/in.h>
#include <poll.h>
#include <sys/eventfd.h>
#include <sys/socket.h>
#include <thread>
#include <unistd.h>
#include <vector>

namespace
{
// One bound port of the process and its thread, shared by every instance listening there.
class PortListener
{
public:
    // Null when the port cannot be bound.
    static std::unique_ptr<PortListener> open(int port)
    {
        std::unique_ptr<PortListener> listener(new PortListener());
        if (!listener->bindTo(port))
            return nullptr;
        listener->thread = std::thread([raw = listener.get()] { raw->run(); });
        return listener;
    }

    ~PortListener()
    {
        const uint64_t one = 1;
        const ssize_t written = ::write(stopFd, &one, sizeof(one));
        (void)written; // an eventfd write fails only on overflow, which one write cannot reach
        if (thread.joinable())
            thread.join();
        if (socketFd >= 0)
            ::close(socketFd);
        if (stopFd >= 0)
            ::close(stopFd);
    }

    void add(StatusReceiver::Follower* follower)
    {
        std::lock_guard<std::mutex> guard(lock);
        followers.push_back(follower);
    }

    // True when nobody follows a unit here any more. A hand-over under way has ended.
    bool remove(StatusReceiver::Follower* follower)
    {
        std::lock_guard<std::mutex> guard(lock);
        followers.erase(std::remove(followers.begin(), followers.end(), follower), followers.end());
        return followers.empty();
    }

private:
    PortListener() : stopFd(::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)) {}

    bool bindTo(int port)
    {
        if (stopFd < 0)
            return false;
        socketFd = ::socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
        if (socketFd < 0)
            return false;
        sockaddr_in local{};
        local.sin_family = AF_INET;
        local.sin_addr.s_addr = htonl(INADDR_ANY);
        local.sin_port = htons((uint16_t)port);
        const int one = 1;
        return ::setsockopt(socketFd, SOL_SOCKET, SO_REUSEADDR, &one, sizeof(one)) == 0 &&
               ::bind(socketFd, reinterpret_cast<sockaddr*>(&local), sizeof(local)) == 0;
    }

    // The stop descriptor is the way out of the wait.
    void run()
    {
        pollfd entries[2] = {{socketFd, POLLIN, 0}, {stopFd, POLLIN, 0}};
        for (;;)
        {
            const int result = ::poll(entries, 2, -1);
            if (result < 0 && errno != EINTR)
                return;
            if ((entries[1].revents & POLLIN) != 0)
                return;
            if (result > 0 && (entries[0].revents & POLLIN) != 0)
                receiveOne();
        }
    }

    void receiveOne()
    {
        char buffer[StatusReceiver::largestDatagram + 1] = {};
        sockaddr_in sender{};
        socklen_t senderLength = sizeof(sender);
        const ssize_t n = ::recvfrom(socketFd, buffer, StatusReceiver::largestDatagram, MSG_DONTWAIT,
                                     reinterpret_cast<sockaddr*>(&sender), &senderLength);
        if (n <= 0)
            return;
        const std::string text(buffer, strnlen(buffer, (size_t)n));
        if (!text.empty())
            deliver(sender.sin_addr.s_addr, text);
    }

    void deliver(unsigned int from, const std::string& text)
    {
        std::lock_guard<std::mutex> guard(lock);
        for (auto* follower : followers)
            if (follower->address == from)
                (*follower->handler)(text);
    }

    int socketFd = -1;
    int stopFd = -1;
    std::thread thread;
    std::mutex lock;
    std::vector<StatusReceiver::Follower*> followers;
};

struct Ports
{
    std::mutex lock;
    std::map<int, std::unique_ptr<PortListener>> listeners;
};

Ports& ports()
{
    static Ports shared;
    return shared;
}
} // namespace

StatusReceiver::StatusReceiver(DatagramHandler datagramHandler) : handler(std::move(datagramHandler)) {}

StatusReceiver::~StatusReceiver()
{
    stop();
}

void StatusReceiver::follow(int newPort, const std::string& newAddress)
{
    if (newPort == port && newAddress == address && (listening || newPort <= 0))
        return;
    stop();
    port = newPort;
    address = newAddress;
    in_addr unit{};
    if (port <= 0 || ::inet_pton(AF_INET, address.c_str(), &unit) != 1)
        return;
    follower.address = unit.s_addr;
    follower.handler = &handler;

    auto& shared = ports();
    std::lock_guard<std::mutex> guard(shared.lock);
    auto& listener = shared.listeners[port];
    if (!listener)
        listener = PortListener::open(port);
    if (!listener)
    {
        shared.listeners.erase(port);
        return;
    }
    listener->add(&follower);
    listening = true;
}

void StatusReceiver::stop()
{
    if (!listening)
        return;
    listening = false;
    auto& shared = ports();
    // The last one to leave a port closes it; its thread ends at once.
    std::lock_guard<std::mutex> guard(shared.lock);
    const auto it = shared.listeners.find(port);
    if (it != shared.listeners.end() && it->second->remove(&follower))
        shared.listeners.erase(it);
}
