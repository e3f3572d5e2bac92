#include "TCPIP/TCPIP.h"

#include "Debug/Debug.h"
#include "GlobalData/GlobalData.h"
#include "SafeAndLoad/SafeAndLoad.h"
#include "TCPIP/TCPandIP/SocketIO.h"

#include <memory>
#include <sys/socket.h>

using SocketIO::Wait;

namespace
{
constexpr std::size_t singleReadBuffer = 524288;

std::string composeRequest(const std::string& path, const std::string& host)
{
    return "GET " + path + " HTTP/1.1\r\nHost:" + host + "\r\nConnection: close\r\n\r\n";
}

// One recv into a heap buffer; what that call gives is the response.
int readOnce(int fd, long long deadline, SocketIO::Stop stop, std::string& out)
{
    if (SocketIO::waitFor(fd, false, (int)(deadline - SocketIO::nowMs()), stop) != Wait::ready)
        return -8;
    std::unique_ptr<char[]> buffer(new char[singleReadBuffer]);
    const ssize_t n = ::recv(fd, buffer.get(), singleReadBuffer - 1, 0);
    if (n <= 0)
        return -8;
    out.assign(buffer.get(), (std::size_t)n);
    return 1;
}

// Byte by byte until the peer closes. A time-out after some bytes keeps what came; with
// nothing at all it is no response.
int readToEnd(int fd, long long deadline, SocketIO::Stop stop, std::string& out)
{
    for (;;)
    {
        const Wait waited = SocketIO::waitFor(fd, false, (int)(deadline - SocketIO::nowMs()), stop);
        if (waited != Wait::ready)
            return out.empty() ? -8 : 1;
        char byte = 0;
        const ssize_t n = ::recv(fd, &byte, 1, 0);
        if (n <= 0)
            return 1;
        out += byte;
    }
}
} // namespace

TCPIP::TCPIP(SafeAndLoad* store, GlobalData* g, Settings* s) : safeAndLoad(store), globalData(g), settings(s)
{
}

void TCPIP::log(int code, const char* message, int line) const
{
    Debug::DebugLog(code, message, __FILE__, line, settings->productFolder);
}

void TCPIP::SetIP(const std::string& address)
{
    if (globalData->quitRequested)
        return;
    std::stringstream content;
    content << address;
    safeAndLoad->SafeFiles("IP", content);
    if (globalData->quitRequested)
        return;
    globalData->takenIps.set(1, address);
    if (globalData->quitRequested)
        return;
    ip = address;
}

void TCPIP::TryAddress(const std::string& address)
{
    ip = address;
}

std::string TCPIP::getIp() const
{
    return ip.get();
}

std::string TCPIP::getReply() const
{
    return reply.get();
}

int TCPIP::GetSite(const std::string& path, bool singleRead)
{
    return Fetch(path, singleRead).code;
}

TCPIP::Response TCPIP::Fetch(const std::string& path, bool singleRead, const std::atomic<bool>* cancel)
{
    Response result;
    if (path.empty())
    {
        log(202, "Es wurde keine aufzurufende Seite angegeben", __LINE__);
        result.code = -3;
        return result;
    }

    const std::string address = ip.get();
    const SocketIO::Stop stop(&globalData->quitRequested, cancel);
    SocketIO::Socket socket(::socket(AF_INET, SOCK_STREAM, 0));
    if (!socket.valid())
    {
        log(204, "Fehler beim Socket zugriff", __LINE__);
        result.code = -5;
        return result;
    }

    if (SocketIO::connectWithin(socket.get(), address, port, connectTimeoutMs, stop) != Wait::ready)
    {
        socket.close();
        log(205, "Fehler beim Verbinden auf den Socket", __LINE__);
        result.code = -6;
        return result;
    }

    const long long deadline = SocketIO::nowMs() + responseTimeoutMs;
    if (!SocketIO::sendAll(socket.get(), composeRequest(path, address), responseTimeoutMs, stop))
    {
        socket.close();
        log(206, "Fehler beim Senden der Abfrage, für Details bitte in SendAll Log schauen", __LINE__);
        result.code = -7;
        return result;
    }

    std::string response;
    const int code = singleRead ? readOnce(socket.get(), deadline, stop, response)
                                : readToEnd(socket.get(), deadline, stop, response);
    socket.close();
    if (code < 0)
    {
        log(207, "Fehler in der GetLine Abfrage, für Details siehe bitte im GetLine Log", __LINE__);
        result.code = code;
        return result;
    }

    reply = response;
    result.code = 1;
    result.text = std::move(response);
    return result;
}

int TCPIP::CheckSocketConnection()
{
    SocketIO::Socket socket(::socket(AF_INET, SOCK_STREAM, 0));
    if (!socket.valid())
        return -1;
    const Wait waited = SocketIO::connectWithin(socket.get(), ip.get(), port, 1000, nullptr);
    switch (waited)
    {
    case Wait::ready:
        return 1;
    case Wait::timedOut:
        log(2, "Timeout or error()", __LINE__);
        return -1;
    case Wait::refused:
        log(1, "Error in connection", __LINE__);
        return -1;
    case Wait::failed:
    case Wait::quit:
        break;
    }
    log(3, "Error connecting", __LINE__);
    return -1;
}
