// The discovery listener: one per network namespace and port in a process, shared by the units that
// live there, so that several units each answer a request exactly once.
#pragma once

#include <atomic>
#include <cstdint>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

namespace morvane::sim
{

class Unit;

class DiscoveryHub
{
public:
    static constexpr const char* request = "Ciao Mac ist hier";
    static constexpr size_t requestSize = 17;

    // The hub of the calling thread's namespace for this port, made on first use. nullptr: see err.
    static std::shared_ptr<DiscoveryHub> acquire(uint16_t port, std::string& err);

    ~DiscoveryHub();
    void add(Unit* unit);
    void remove(Unit* unit);

private:
    DiscoveryHub(int fd);
    void loop();
    void answer(uint32_t from, uint16_t fromPort, uint32_t to);

    int fd_;
    std::atomic<bool> stop_{false};
    std::mutex mutex_;
    std::vector<Unit*> units_;
    std::thread thread_;
};

} // namespace morvane::sim
