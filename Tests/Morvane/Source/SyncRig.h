#pragma once

#include "GlobalData/GlobalData.h"
#include "PluginProcessor.h"
#include "TCPIP/TCPIP.h"
#include "TestEnvironment.h"

#include "MorvaneUnit/Unit.h"

#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

// A processor without an editor against a simulated unit on loopback, as a host holds it.
class SyncRig : private juce::AudioProcessorListener
{
public:
    // A unit that is not findable stays out of the processor's own search: the test decides
    // when connect() points the processor at it.
    // clientMemoryMs: how long the unit keeps streaming to a plug-in that does not connect.
    explicit SyncRig(const std::string& address = "127.0.0.2", int statusPort = 7101,
                     const std::string& serial = "MORVAN0001", bool findable = true,
                     int clientMemoryMs = 300000);
    ~SyncRig() override;

    // Waits for Running: connected and a status message taken over.
    bool connect(int timeoutMs = 15000);
    // Points the processor at the unit as the address page does, and returns at once.
    void pointAtUnit();
    // The knob requests the unit received since the last clearRequests().
    std::vector<std::string> knobRequests() const;
    void clearRequests() { unit->clearRecords(); }
    bool waitForRequests(std::size_t n, int timeoutMs = 5000)
    {
        return TestEnvironment::pumpUntil([&] { return knobRequests().size() >= n; }, timeoutMs);
    }
    // Another unit beside the rig's: 127.0.0.3, serial MORVAN0002, not yet started.
    static std::unique_ptr<morvane::sim::Unit> secondUnit();
    // As the host deletes the plug-in; the unit stays.
    void closeProcessor();
    // Runs the loop for about n status cycles.
    void runCycles(int n) { TestEnvironment::pump(n * 50); }

    // Values the host was told, by parameter index, latest last.
    std::vector<float> hostHeard(int parameter) const;
    void clearHostHeard();

    std::unique_ptr<morvane::sim::Unit> unit;
    std::unique_ptr<MorvaneProcessor> processor;
    GlobalData* global = nullptr;

private:
    void audioProcessorParameterChanged(juce::AudioProcessor*, int index, float value) override;
    void audioProcessorChanged(juce::AudioProcessor*, const ChangeDetails&) override {}

    mutable std::mutex heardLock;
    std::map<int, std::vector<float>> heard;
};
