#include "LocalListener.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

LocalListener::LocalListener(Mode m, std::string a, const std::string& address)
    : mode(m), answer(std::move(a))
{
    listenFd = ::socket(AF_INET, SOCK_STREAM, 0);
    const int one = 1;
    ::setsockopt(listenFd, SOL_SOCKET, SO_REUSEADDR, &one, sizeof(one));
    sockaddr_in local{};
    local.sin_family = AF_INET;
    local.sin_addr.s_addr = ::inet_addr(address.c_str());
    local.sin_port = 0;
    ::bind(listenFd, reinterpret_cast<sockaddr*>(&local), sizeof(local));
    ::listen(listenFd, 16);
    socklen_t length = sizeof(local);
    ::getsockname(listenFd, reinterpret_cast<sockaddr*>(&local), &length);
    boundPort = ntohs(local.sin_port);
    worker = std::thread([this] { run(); });
}

LocalListener::~LocalListener()
{
    stopping = true;
    worker.join();
    ::close(listenFd);
}

std::vector<std::string> LocalListener::requests() const
{
    std::lock_guard<std::mutex> guard(lock);
    return received;
}

std::string LocalListener::httpAnswer(const std::string& body, const std::string& status)
{
    return "HTTP/1.1 " + status +
           "\r\nContent-Type: text/plain\r\nContent-Length: " + std::to_string(body.size()) +
           "\r\nConnection: close\r\n\r\n" + body;
}

void LocalListener::run()
{
    std::vector<int> silent;
    for (int rounds = 0; !stopping.load() && rounds < 6000; ++rounds)
    {
        pollfd entry{listenFd, POLLIN, 0};
        if (::poll(&entry, 1, 10) <= 0)
            continue;
        const int client = ::accept(listenFd, nullptr, nullptr);
        if (client < 0)
            continue;
        ++acceptedCount;
        if (mode == Mode::trickle)
            trickleTo(client);
        if (mode == Mode::closeAtOnce || mode == Mode::trickle)
        {
            ::close(client);
            continue;
        }
        const std::string request = readRequest(client);
        {
            std::lock_guard<std::mutex> guard(lock);
            received.push_back(request);
        }
        if (mode == Mode::neverAnswer)
        {
            silent.push_back(client);
            continue;
        }
        ::send(client, answer.data(), answer.size(), MSG_NOSIGNAL);
        ::close(client);
    }
    for (int fd : silent)
        ::close(fd);
}

std::string LocalListener::readRequest(int client) const
{
    std::string request;
    char buffer[1024];
    for (int reads = 0; reads < 100 && request.find("\r\n\r\n") == std::string::npos; ++reads)
    {
        pollfd readable{client, POLLIN, 0};
        if (::poll(&readable, 1, 1000) <= 0)
            break;
        const ssize_t n = ::recv(client, buffer, sizeof(buffer), 0);
        if (n <= 0)
            break;
        request.append(buffer, (size_t)n);
    }
    return request;
}

// Fast enough that curl's low-speed limit never gives up; ends by itself after 30 s.
void LocalListener::trickleTo(int client)
{
    const std::string start = "HTTP/1.1 200 OK\r\nX-Pad: ";
    ::send(client, start.data(), start.size(), MSG_NOSIGNAL);
    for (int elapsed = 0; !stopping.load() && elapsed < 30000; elapsed += 5)
    {
        if (::send(client, "a", 1, MSG_NOSIGNAL) != 1)
            return;
        ++trickled;
        ::usleep(5000);
    }
}
