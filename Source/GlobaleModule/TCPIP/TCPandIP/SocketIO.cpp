#include "TCPIP/TCPandIP/SocketIO.h"

#include <arpa/inet.h>
#include <cerrno>
#include <chrono>
#include <fcntl.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

namespace SocketIO
{
Socket& Socket::operator=(Socket&& other) noexcept
{
    if (this != &other)
    {
        close();
        fd = other.release();
    }
    return *this;
}

int Socket::release()
{
    const int held = fd;
    fd = -1;
    return held;
}

void Socket::close()
{
    if (fd >= 0)
        ::close(fd);
    fd = -1;
}

long long nowMs()
{
    using namespace std::chrono;
    return duration_cast<milliseconds>(steady_clock::now().time_since_epoch()).count();
}

Wait waitFor(int fd, bool forWrite, int timeoutMs, Stop stop)
{
    const long long deadline = nowMs() + (timeoutMs > 0 ? timeoutMs : 0);
    for (;;)
    {
        if (stop.raised())
            return Wait::quit;
        const long long left = deadline - nowMs();
        if (left <= 0)
            return Wait::timedOut;
        pollfd entry{fd, (short)(forWrite ? POLLOUT : POLLIN), 0};
        const int slice = left < 20 ? (int)left : 20;
        const int result = ::poll(&entry, 1, slice);
        if (result > 0)
            return Wait::ready;
        if (result < 0 && errno != EINTR)
            return Wait::failed;
    }
}

bool setBlocking(int fd, bool blocking)
{
    const int flags = ::fcntl(fd, F_GETFL, 0);
    if (flags < 0)
        return false;
    const int wanted = blocking ? (flags & ~O_NONBLOCK) : (flags | O_NONBLOCK);
    return ::fcntl(fd, F_SETFL, wanted) == 0;
}

Wait connectWithin(int fd, const std::string& address, int port, int timeoutMs, Stop stop)
{
    sockaddr_in target{};
    target.sin_family = AF_INET;
    target.sin_port = htons((uint16_t)port);
    target.sin_addr.s_addr = ::inet_addr(address.c_str());

    if (!setBlocking(fd, false))
        return Wait::failed;
    if (::connect(fd, reinterpret_cast<sockaddr*>(&target), sizeof(target)) != 0)
    {
        if (errno != EINPROGRESS)
            return Wait::failed;
        const Wait waited = waitFor(fd, true, timeoutMs, stop);
        if (waited != Wait::ready)
            return waited;
        int error = 0;
        socklen_t length = sizeof(error);
        if (::getsockopt(fd, SOL_SOCKET, SO_ERROR, &error, &length) != 0 || error != 0)
            return Wait::refused;
    }
    return setBlocking(fd, true) ? Wait::ready : Wait::failed;
}

bool sendAll(int fd, const std::string& bytes, int timeoutMs, Stop stop)
{
    const long long deadline = nowMs() + timeoutMs;
    std::size_t sent = 0;
    while (sent < bytes.size())
    {
        const long long left = deadline - nowMs();
        if (left <= 0 || waitFor(fd, true, (int)left, stop) != Wait::ready)
            return false;
        const ssize_t n = ::send(fd, bytes.data() + sent, bytes.size() - sent, MSG_NOSIGNAL | MSG_DONTWAIT);
        if (n < 0 && (errno == EAGAIN || errno == EINTR))
            continue;
        if (n <= 0)
            return false;
        sent += (std::size_t)n;
    }
    return true;
}

std::string dotted(unsigned int networkOrderAddress)
{
    in_addr address{};
    address.s_addr = networkOrderAddress;
    char text[INET_ADDRSTRLEN] = {};
    if (::inet_ntop(AF_INET, &address, text, sizeof(text)) == nullptr)
        return {};
    return text;
}
} // namespace SocketIO
