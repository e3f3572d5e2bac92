#pragma once

#include <atomic>
#include <thread>

// A loopback web server that answers one request with a header line that never ends,
// one byte every 5 ms: fast enough that curl's low-speed limit never gives up.
class TrickleServer
{
public:
    TrickleServer();
    ~TrickleServer();

    int port() const { return boundPort; }
    int bytesSent() const { return sent.load(); }

private:
    void run();
    void trickle(int client);

    int listenFd = -1;
    int boundPort = 0;
    std::atomic<bool> stopping{false};
    std::atomic<int> sent{0};
    std::thread worker;
};
