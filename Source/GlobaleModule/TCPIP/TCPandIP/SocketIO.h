#pragma once

#include <atomic>
#include <cstddef>
#include <string>

// Small POSIX socket pieces shared by every network user of the plug-in.
namespace SocketIO
{
// Owns one descriptor and closes it on every way out.
class Socket
{
public:
    Socket() = default;
    explicit Socket(int descriptor) : fd(descriptor) {}
    ~Socket() { close(); }
    Socket(const Socket&) = delete;
    Socket& operator=(const Socket&) = delete;
    Socket(Socket&& other) noexcept : fd(other.release()) {}
    Socket& operator=(Socket&& other) noexcept;

    int get() const { return fd; }
    bool valid() const { return fd >= 0; }
    int release();
    void close();

private:
    int fd = -1;
};

enum class Wait
{
    ready,
    timedOut,
    failed,  // the call itself failed
    refused, // the connection attempt ended with an error of the socket
    quit
};

// What ends a wait early: the instance closing, and the asker's own flag (the window that
// started a request and closes). Either may be null.
struct Stop
{
    Stop(const std::atomic<bool>* closing = nullptr, const std::atomic<bool>* asker = nullptr)
        : quit(closing), cancel(asker)
    {
    }
    bool raised() const { return (quit != nullptr && quit->load()) || (cancel != nullptr && cancel->load()); }

    const std::atomic<bool>* quit;
    const std::atomic<bool>* cancel;
};

// Waits until fd is readable (or writable), for at most timeoutMs, looking at stop every
// 20 ms so that a closing instance or window is never held.
Wait waitFor(int fd, bool forWrite, int timeoutMs, Stop stop);

bool setBlocking(int fd, bool blocking);

// Non-blocking connect to address:port within timeoutMs; the socket is blocking again after.
// ready on success.
Wait connectWithin(int fd, const std::string& address, int port, int timeoutMs, Stop stop);

// Sends all bytes; false when the peer or the time-out stops it.
bool sendAll(int fd, const std::string& bytes, int timeoutMs, Stop stop);

// Milliseconds of a steady clock, for deadlines.
long long nowMs();

// Dotted decimal of an IPv4 address in network order.
std::string dotted(unsigned int networkOrderAddress);
} // namespace SocketIO
