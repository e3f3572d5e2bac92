#pragma once

#include <atomic>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

// A TCP listener on loopback that plays a web server badly or well, for transport tests.
// It records every request it reads.
class LocalListener
{
public:
    enum class Mode
    {
        answer,      // read the request, send the answer, close
        closeAtOnce, // accept and close without a byte
        neverAnswer, // accept, read, and keep the connection silent until stopped
        trickle,     // send a header line that never ends, one byte every 5 ms
    };

    LocalListener(Mode mode, std::string answer = {}, const std::string& address = "127.0.0.1");
    ~LocalListener();

    int port() const { return boundPort; }
    std::vector<std::string> requests() const;
    int accepted() const { return acceptedCount.load(); }
    int bytesTrickled() const { return trickled.load(); }

    // A complete reply that closes the connection.
    static std::string httpAnswer(const std::string& body, const std::string& status = "200 OK");

private:
    void run();
    std::string readRequest(int client) const;
    void trickleTo(int client);

    Mode mode;
    std::string answer;
    int listenFd = -1;
    int boundPort = 0;
    std::atomic<bool> stopping{false};
    std::atomic<int> acceptedCount{0};
    std::atomic<int> trickled{0};
    mutable std::mutex lock;
    std::vector<std::string> received;
    std::thread worker;
};
