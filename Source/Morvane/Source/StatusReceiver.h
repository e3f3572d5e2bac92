#pragma once

#include <atomic>
#include <condition_variable>
#include <functional>
#include <mutex>
#include <string>
#include <thread>

// The status stream of one instance: one UDP socket and one thread, alive as long as the
// instance. The loop asks for a round; the round takes the next datagram of the unit (or the
// newest one that arrived since the last round), waiting at most two seconds, and hands its
// text to the owner on the receiver's thread: empty when none came, or when the datagram was
// not the unit's. The socket stays bound between rounds and is bound anew when the port
// changes.
class StatusReceiver
{
public:
    using RoundHandler = std::function<void(const std::string& text)>;

    explicit StatusReceiver(RoundHandler handler);
    ~StatusReceiver();

    // Asks for a round for the unit at address sending to port; it starts as soon as the one
    // under way (if any) has handed over its text.
    void startRound(int port, const std::string& address);
    // Ends a wait at once, waits for a handler under way, and joins the thread. Idempotent.
    void stop();

    static constexpr int roundTimeoutMs = 2000;
    static constexpr int largestDatagram = 2047;

private:
    void run();
    std::string receiveRound(int port, const std::string& address);
    bool bindTo(int port);
    // Reads one datagram that is queued: none, the unit's (its text in text) or another's.
    enum class Take
    {
        none,
        unit,
        other
    };
    Take takeOne(const std::string& address, std::string& text);

    RoundHandler handler;
    std::atomic<bool> stopping{false};
    std::mutex lock;
    std::condition_variable wake;
    bool requested = false;
    int requestedPort = 0;
    std::string requestedAddress;

    int socketFd = -1;
    int boundPort = -1;
    int stopFd = -1; // an eventfd: written once by stop() so that a poll ends at once
    std::thread thread;
};
