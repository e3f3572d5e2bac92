#pragma once

#include "Ground/SharedText.h"
#include "TCPIP/TCPandIP/SocketIO.h"

#include <atomic>
#include <cstddef>
#include <mutex>
#include <string>

class GlobalData;

// Finds the units on the local networks: one UDP request per IPv4 interface, from port 4028
// to the interface's broadcast address on port 4029, and a short list of the units that
// answered with the product's code.
//
// The finder's thread and the device check's thread both run searches on the one object of
// an instance, and the editor reads the results: the lists are guarded, and two searches run
// one after the other, never interleaved. Port 4028 is one per computer: the searches of all
// instances of the process take turns at it, interface by interface, and a port held by
// another program's search is tried again with growing waits for up to five seconds.
class Broadcast
{
public:
    Broadcast(GlobalData* global, const std::string& deviceCode);

    // One complete search. Blocks at least a second per interface, and returns within about
    // a tenth of a second once quitRequested rises.
    void BroadcastToAllInterfaces();

    // One reply of length bytes (no terminator needed) from sourceAddress (network order).
    // Records the unit unless the reply lacks the code, repeats a name, or the list is full.
    void handleReply(const char* data, std::size_t length, unsigned int sourceAddress);

    // The name rule: behind the first ':' and its first '"', up to the next '"'.
    static std::string nameInReply(const std::string& reply);
    // What follows the first ':' and its first '"', the text the code is looked for in.
    static std::string textBehindKey(const std::string& reply);

    static constexpr int maxUnits = 9;
    static constexpr int requestPort = 4028;
    static constexpr int unitPort = 4029;
    static constexpr std::size_t maxReply = 512;
    static constexpr const char* request = "Ciao Mac ist hier";

    // Results of the last search, entries 1 to count; entry 0 is never used.
    SharedStringList<10> names;
    GlobalData* global;
    const std::string deviceCode;
    SharedString lastIp;
    SharedStringList<10> ips;
    std::atomic<int> count{0};
    // The address of the reply being handled, last number first.
    int addressParts[4] = {};

private:
    void searchInterface(unsigned int broadcastAddress);
    // This process's turn at port 4028; false when the instance closes or the wait is too long.
    bool waitForTurn(std::unique_lock<std::mutex>& turn) const;
    // Port 4028 bound, retried while another program holds it; invalid when it stays taken.
    SocketIO::Socket bindRequestPort() const;
    bool quitting() const;
    void enterRun();
    void leaveRun();
    void log(const char* message, int line) const;

    std::mutex runLock;   // one search at a time
    std::mutex stateLock; // the count of searches under way and broadcastRunning
    int runsUnderWay = 0;
};
