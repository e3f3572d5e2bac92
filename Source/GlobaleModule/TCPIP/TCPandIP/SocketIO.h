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

// Waits until fd is readable (or writable), for at most timeoutMs, looking at quit (may be
// null) every 20 ms so that a closing instance is never held.
Wait waitFor(int fd, bool forWrite, int timeoutMs, const std::atomic<bool>* quit);

bool setBlocking(int fd, bool blocking);

// Non-blocking connect to address:port within timeoutMs; the socket is blocking again after.
// ready on success.
Wait connectWithin(int fd, const std::string& address, int port, int timeoutMs,
                   const std::atomic<bool>* quit);

// Sends all bytes; false when the peer or the time-out stops it.
bool sendAll(int fd, const std::string& bytes, int timeoutMs, const std::atomic<bool>* quit);

// Milliseconds of a steady clock, for deadlines.
long long nowMs();

// Dotted decimal of an IPv4 address in network order.
std::string dotted(unsigned int networkOrderAddress);
} // namespace SocketIO
