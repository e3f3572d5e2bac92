#include "TrickleServer.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <string>

namespace
{
// The server gives up by itself after this long, whatever the client does.
constexpr int lifetimeMs = 30000;
} // namespace

TrickleServer::TrickleServer()
{
    listenFd = ::socket(AF_INET, SOCK_STREAM, 0);
    sockaddr_in local{};
    local.sin_family = AF_INET;
    local.sin_addr.s_addr = ::inet_addr("127.0.0.1");
    ::bind(listenFd, reinterpret_cast<sockaddr*>(&local), sizeof(local));
    ::listen(listenFd, 4);
    socklen_t length = sizeof(local);
    ::getsockname(listenFd, reinterpret_cast<sockaddr*>(&local), &length);
    boundPort = ntohs(local.sin_port);
    worker = std::thread([this] { run(); });
}

TrickleServer::~TrickleServer()
{
    stopping = true;
    worker.join();
    ::close(listenFd);
}

void TrickleServer::run()
{
    for (int waited = 0; !stopping.load() && waited < lifetimeMs; waited += 10)
    {
        pollfd entry{listenFd, POLLIN, 0};
        if (::poll(&entry, 1, 10) <= 0)
            continue;
        const int client = ::accept(listenFd, nullptr, nullptr);
        if (client < 0)
            continue;
        trickle(client);
        ::close(client);
        return;
    }
}

void TrickleServer::trickle(int client)
{
    const std::string start = "HTTP/1.1 200 OK\r\nX-Pad: ";
    ::send(client, start.data(), start.size(), MSG_NOSIGNAL);
    for (int elapsed = 0; !stopping.load() && elapsed < lifetimeMs; elapsed += 5)
    {
        if (::send(client, "a", 1, MSG_NOSIGNAL) != 1)
            return;
        ++sent;
        ::usleep(5000);
    }
}
