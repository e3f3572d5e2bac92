#include "SyncRig.h"

SyncRig::SyncRig(const std::string& address, int statusPort, const std::string& serial, bool findable,
                 int clientMemoryMs)
{
    TestEnvironment::newHome();
    morvane::sim::UnitConfig config;
    config.address = address;
    config.statusPort = (uint16_t)statusPort;
    config.serial = serial;
    config.periodMs = 40;
    config.clientMemoryMs = clientMemoryMs;
    if (!findable)
        config.discoveryPort = 14029;
    unit = std::make_unique<morvane::sim::Unit>(config);
    unit->start();
    processor = std::make_unique<MorvaneProcessor>();
    global = processor->getGlobalData();
    processor->addListener(this);
}

std::unique_ptr<morvane::sim::Unit> SyncRig::secondUnit()
{
    morvane::sim::UnitConfig other;
    other.address = "127.0.0.3";
    other.statusPort = 7102;
    other.serial = "MORVAN0002";
    return std::make_unique<morvane::sim::Unit>(other);
}

SyncRig::~SyncRig()
{
    closeProcessor();
    unit->stop();
}

void SyncRig::closeProcessor()
{
    if (processor == nullptr)
        return;
    processor->removeListener(this);
    processor.reset();
}

bool SyncRig::connect(int timeoutMs)
{
    // The master's own search may be under way: let it end, then take the unit directly if
    // it did not.
    TestEnvironment::pumpUntil([this] { return global->deviceFinderRunning.load() == 0; }, 10000);
    if (!global->connected.load())
    {
        const auto address = unit->config().address;
        global->SetIp(address);
        processor->getTcp()->SetIP(address);
        global->deviceSerial = processor->GetSerialFromDevice();
        global->devicePort = processor->GetDevicePort();
        global->connected = true;
    }
    return TestEnvironment::pumpUntil([this] { return processor->isRunning(); }, timeoutMs);
}

void SyncRig::pointAtUnit()
{
    global->SetIp(unit->config().address);
    global->ipChanged = true;
    global->connected = true;
}

std::vector<std::string> SyncRig::knobRequests() const
{
    std::vector<std::string> knobs;
    for (const auto& line : unit->requests())
        if (line.find("/knob?") != std::string::npos)
            knobs.push_back(line);
    return knobs;
}

std::vector<float> SyncRig::hostHeard(int parameter) const
{
    std::lock_guard<std::mutex> guard(heardLock);
    const auto found = heard.find(parameter);
    return found == heard.end() ? std::vector<float>() : found->second;
}

void SyncRig::clearHostHeard()
{
    std::lock_guard<std::mutex> guard(heardLock);
    heard.clear();
}

void SyncRig::audioProcessorParameterChanged(juce::AudioProcessor*, int index, float value)
{
    std::lock_guard<std::mutex> guard(heardLock);
    heard[index].push_back(value);
}
