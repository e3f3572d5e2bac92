// A simulated Morvane unit: the hardware's network face, written from the unit's side.
//
//   morvane::sim::UnitConfig cfg;            // every field has a default
//   cfg.address = "127.0.0.5"; cfg.httpPort = 8080; cfg.statusPort = 7005;
//   morvane::sim::Unit unit(cfg);
//   if (!unit.start()) { ... unit.startError() ... }
//   unit.command("turn 2 800 500");          // the same line commands as morvane-unit's stdin
//   unit.row(2).value; unit.knobWrites(); unit.requests(); unit.datagramsSent();
//   unit.stop();                             // joins every thread, bounded (about 1 s worst case)
//
// Wire:
//   HTTP on address:httpPort, one request per connection, "Connection: close":
//     /info, /dinfo, /knob?row/value{/row/value}, /balance, /balance?value, else a page with "Error 404".
//     The unit's web page for a person: / (the front panel), /ui/state (JSON), /ui/command?<line>.
//   Status datagram every periodMs to statusPort of every address that connected to the web server
//   (a request or a bare connection) in the last clientMemoryMs, sent from address (or foreignAddress while
//   the fault "foreign" is on). Discovery: "Ciao Mac ist hier" on UDP discoveryPort (any address of the
//   unit's network namespace); the reply {"name":"<name>",...} goes from the unit's own address to the
//   sender's port. Several units of one process and one namespace share one listener; each answers once.
//
// Network namespaces: start() remembers the calling thread's network namespace; every socket and
// thread of the unit lives there, also when "return" is commanded from a thread in another one.
//
// Line commands (Unit::command and morvane-unit): see commandHelp().
#pragma once

#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "MorvaneUnit/Faults.h"
#include "MorvaneUnit/Panel.h"

namespace morvane::sim
{

struct UnitConfig
{
    std::string address = "127.0.0.2";
    uint16_t httpPort = 80;
    uint16_t statusPort = 7001;
    uint16_t discoveryPort = 4029;
    std::string serial = "MORVAN0001";
    std::string name;           // empty: the serial (it then holds "MORVAN" as the discovery name must)
    std::string mac;            // empty: 02:4d:56 and the address's last three bytes
    std::string foreignAddress; // source of the fault "foreign"; empty: derived on 127/8
    int periodMs = 40;
    std::string logPath; // empty: no log file (the in-memory records are kept anyway)
    bool logDatagrams = true;
    int clientMemoryMs = 300000; // how long a client of the web server keeps getting status datagrams
    int slowByteMs = 20;         // pause per byte under the fault "slow"
};

// One value of a knob request as it arrived and what became of it.
struct KnobWrite
{
    int row = -1;
    std::string text;      // the value as written in the request
    int applied = 0;       // the row's value afterwards
    bool accepted = false; // false: malformed or the row is held on the panel
};

class UnitLog;
class DiscoveryHub;

class Unit
{
public:
    explicit Unit(UnitConfig config);
    ~Unit();
    Unit(const Unit&) = delete;
    Unit& operator=(const Unit&) = delete;

    bool start(); // false: see startError(); the unit then runs nothing
    void stop();
    bool running() const { return running_; }
    std::string startError() const;

    // One line command; the reply starts with "ok" or "error:".
    std::string command(const std::string& line);
    static std::string commandHelp();

    RowState row(int r) const { return panel_.row(r); }
    Panel& panel() { return panel_; }
    const UnitConfig& config() const { return config_; }
    std::string serial() const; // as the unit reports it now (faults included)
    std::string name() const;

    bool fault(Fault f) const { return faults_[static_cast<int>(f)]; }
    void setFault(Fault f, bool on);

    std::vector<std::string> requests() const; // request lines, oldest first
    std::vector<KnobWrite> knobWrites() const;
    void clearRecords();
    uint64_t datagramsSent() const { return datagrams_; }
    uint64_t discoveryReplies() const { return discoveryReplies_; }

    // Called by the discovery listener; sends the reply from the unit's own address.
    void answerDiscovery(uint32_t toAddress, uint16_t toPort);
    uint32_t addressValue() const { return address_; }

private:
    struct Identity
    {
        std::string serial, name, model;
    };

    bool startThreads();
    void stopThreads();
    void vanish();
    void comeBack();
    template <typename F> void inUnitNamespace(F&& work);

    bool pause(int ms); // false when the threads are to stop
    void httpLoop();
    void statusLoop();
    void handleConnection(int fd, uint32_t peer);
    std::string respond(const std::string& target);
    std::string knobPage(const std::string& query);
    std::string balancePage(const std::string& query);
    std::string webPage(const std::string& path, const std::string& query);
    std::string stateJson() const;
    void sendResponse(int fd, const std::string& response, bool mayBeSlow);
    void releaseHungConnections();

    void sendStatus(int& normalFd, int& foreignFd);
    std::string shapeDatagram();
    std::vector<uint32_t> currentClients();
    size_t clientCount() const;
    void rememberClient(uint32_t peer);

    Identity identity() const;
    std::string panelCommand(const std::vector<std::string>& words, bool& handled);
    std::string unitCommand(const std::vector<std::string>& words, bool& handled);
    std::string faultCommand(const std::vector<std::string>& words);
    std::string statusReport() const;
    void record(const std::string& request);
    void recordKnob(const KnobWrite& write);

    UnitConfig config_;
    uint32_t address_ = 0;
    uint32_t foreignAddress_ = 0;
    Panel panel_;
    std::unique_ptr<UnitLog> log_;
    std::atomic<bool> faults_[faultCount]{};
    std::atomic<bool> running_{false};
    std::atomic<bool> vanished_{false};
    std::atomic<bool> threadsStop_{false};
    std::atomic<bool> logDatagrams_{true};
    std::atomic<int> periodMs_{40};
    std::atomic<int> slowByteMs_{20};
    std::string mac_;
    std::atomic<uint64_t> datagrams_{0};
    std::atomic<uint64_t> discoveryReplies_{0};

    mutable std::mutex lifeMutex_; // start, stop, vanish, return
    std::string startError_;
    int netnsFd_ = -1;
    unsigned long netnsInode_ = 0;
    std::thread httpThread_, statusThread_;
    int listenFd_ = -1;        // owned by the HTTP thread while it runs
    std::vector<int> hungFds_; // HTTP thread only
    std::shared_ptr<DiscoveryHub> hub_;

    std::mutex wakeMutex_;
    std::condition_variable wake_;

    mutable std::mutex clientMutex_;
    std::map<uint32_t, int64_t> clients_; // address -> last request, ms of the steady clock

    mutable std::mutex recordMutex_;
    std::vector<std::string> requests_;
    std::vector<KnobWrite> knobWrites_;
    uint32_t garbageSeed_ = 12345; // status thread only
    std::string alternateSerial_;
    mutable std::mutex alternateMutex_;
};

} // namespace morvane::sim
