#pragma once

#include <functional>
#include <string>

// The status stream of one instance. Every instance of the process that listens on one port
// shares one socket and one thread there (a unit sends to the computer's port, not to an
// instance): each datagram goes to the instances that follow its sender, so that several
// instances on one port each follow their own unit. A datagram is handed over the moment it
// arrives, on the port's thread; nothing of it waits for a round to be asked for. Datagrams
// of units that no instance follows are dropped.
class StatusReceiver
{
public:
    // Called on the port's thread with the text of each datagram of the followed unit.
    using DatagramHandler = std::function<void(const std::string& text)>;

    explicit StatusReceiver(DatagramHandler handler);
    ~StatusReceiver();
    StatusReceiver(const StatusReceiver&) = delete;
    StatusReceiver& operator=(const StatusReceiver&) = delete;

    // Follows the unit at address sending to port (0: nothing). Once it returns, no datagram
    // of the unit followed before reaches the handler. A port that could not be bound is
    // tried again at the next call. Cheap when nothing changed. One thread calls it.
    void follow(int port, const std::string& address);
    // Follows nothing; a handler under way has ended when it returns. Idempotent.
    void stop();

    // A round of the loop that brings no message within this is a miss.
    static constexpr int roundTimeoutMs = 2000;
    static constexpr int largestDatagram = 2047;

    // Internal: one follower as the port's thread sees it.
    struct Follower
    {
        unsigned int address = 0; // network order
        DatagramHandler* handler = nullptr;
    };

private:
    DatagramHandler handler;
    int port = 0;
    std::string address;
    bool listening = false;
    Follower follower;
};
