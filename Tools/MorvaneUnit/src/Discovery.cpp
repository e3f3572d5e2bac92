#include "Discovery.h"

#include "MorvaneUnit/Unit.h"
#include "Net.h"

#include <algorithm>
#include <cstring>
#include <map>
#include <netinet/in.h>
#include <sys/socket.h>
#include <utility>

namespace morvane::sim
{
namespace
{
std::mutex registryMutex;
std::map<std::pair<unsigned long, uint16_t>, std::weak_ptr<DiscoveryHub>> registry;
} // namespace

std::shared_ptr<DiscoveryHub> DiscoveryHub::acquire(uint16_t port, std::string& err)
{
    std::lock_guard<std::mutex> lock(registryMutex);
    const auto key = std::make_pair(net::currentNetnsInode(), port);
    if (auto hub = registry[key].lock())
        return hub;
    // Shared with other processes of the namespace: a broadcast then reaches each of them.
    int fd = net::udpSocket(htonl(INADDR_ANY), port, true, err);
    if (fd < 0)
        return nullptr;
    const int one = 1;
    ::setsockopt(fd, IPPROTO_IP, IP_PKTINFO, &one, sizeof one);
    std::shared_ptr<DiscoveryHub> hub(new DiscoveryHub(fd));
    registry[key] = hub;
    return hub;
}

DiscoveryHub::DiscoveryHub(int fd) : fd_(fd)
{
    thread_ = std::thread([this] { loop(); });
}

DiscoveryHub::~DiscoveryHub()
{
    stop_ = true;
    if (thread_.joinable())
        thread_.join();
    net::closeFd(fd_);
}

void DiscoveryHub::add(Unit* unit)
{
    std::lock_guard<std::mutex> lock(mutex_);
    units_.push_back(unit);
}

void DiscoveryHub::remove(Unit* unit)
{
    std::lock_guard<std::mutex> lock(mutex_);
    units_.erase(std::remove(units_.begin(), units_.end(), unit), units_.end());
}

void DiscoveryHub::loop()
{
    while (!stop_)
    {
        if (!net::waitReadable(fd_, 100))
            continue;
        char data[600];
        char control[256];
        sockaddr_in from{};
        iovec iov{data, sizeof data};
        msghdr msg{};
        msg.msg_name = &from;
        msg.msg_namelen = sizeof from;
        msg.msg_iov = &iov;
        msg.msg_iovlen = 1;
        msg.msg_control = control;
        msg.msg_controllen = sizeof control;
        const ssize_t n = ::recvmsg(fd_, &msg, MSG_DONTWAIT);
        if (n != static_cast<ssize_t>(requestSize) || std::memcmp(data, request, requestSize) != 0)
            continue;
        uint32_t to = 0;
        for (cmsghdr* c = CMSG_FIRSTHDR(&msg); c; c = CMSG_NXTHDR(&msg, c))
            if (c->cmsg_level == IPPROTO_IP && c->cmsg_type == IP_PKTINFO)
                to = reinterpret_cast<in_pktinfo*>(CMSG_DATA(c))->ipi_addr.s_addr;
        answer(from.sin_addr.s_addr, ntohs(from.sin_port), to);
    }
}

// A request to one unit's own address is that unit's alone; any other (a broadcast, the loopback
// address the plug-in uses on lo) is for every unit here.
void DiscoveryHub::answer(uint32_t from, uint16_t fromPort, uint32_t to)
{
    std::lock_guard<std::mutex> lock(mutex_);
    const bool addressed =
        std::any_of(units_.begin(), units_.end(), [to](Unit* u) { return u->addressValue() == to; });
    for (Unit* u : units_)
        if (!addressed || u->addressValue() == to)
            u->answerDiscovery(from, fromPort);
}

} // namespace morvane::sim
