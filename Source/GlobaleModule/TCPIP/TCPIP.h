#pragma once

#include "Ground/SharedText.h"

#include <atomic>
#include <string>

struct Settings;
class GlobalData;
class SafeAndLoad;

// The plug-in's whole HTTP client: one GET per connection on a raw socket, no keep-alive.
// Every call is bounded in time, so no unit, however broken, holds its caller for long.
class TCPIP
{
public:
    struct Response
    {
        int code = -3;
        std::string text;
    };

    TCPIP(SafeAndLoad* safeAndLoad, GlobalData* globalData, Settings* settings);

    // Sets the address to talk to and makes it permanent ("IP.txt", takenIps[1]).
    void SetIP(const std::string& address);
    // Sets the address of a candidate to be tested, storing nothing: a search that tries
    // several units writes "IP.txt" once, for the one it takes.
    void TryAddress(const std::string& address);
    // One request. 1 with the response in reply, or -3, -5, -6, -7, -8.
    int GetSite(const std::string& path, bool singleRead);
    // The same, and the response by value, so that threads need not share reply. cancel (may
    // be null) ends the request early, as the instance's closing does.
    Response Fetch(const std::string& path, bool singleRead, const std::atomic<bool>* cancel = nullptr);
    // 1 when the unit accepts a TCP connection within a second, else -1. Sends nothing.
    int CheckSocketConnection();

    std::string getIp() const;
    std::string getReply() const;

    // Port of the unit's web server; only tests move it off 80.
    void setPort(int newPort) { port = newPort; }
    int getPort() const { return port; }

    // Bounds of one request: connecting, and reading the whole response.
    static constexpr int connectTimeoutMs = 3000;
    static constexpr int responseTimeoutMs = 4000;

private:
    void log(int code, const char* message, int line) const;

    SafeAndLoad* safeAndLoad;
    GlobalData* globalData;
    Settings* settings;
    std::atomic<int> port{80};

    SharedString ip;
    SharedString reply;
};
