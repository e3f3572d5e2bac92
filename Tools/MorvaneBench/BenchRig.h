#pragma once

#include "PluginProcessor.h"
#include "ProcessorDrive.h"

#include "MorvaneUnit/Unit.h"

#include <memory>

// A simulated unit on loopback that logs no datagrams, and one instance beside it, in a
// temporary home of their own. What the instance does first is up to the benchmark.
struct LoopbackRig
{
    static constexpr const char* unitAddress = "127.0.0.2";

    ProcessorDrive::TemporaryHome home;
    std::unique_ptr<morvane::sim::Unit> unit;
    std::unique_ptr<MorvaneProcessor> processor;

    LoopbackRig(const char* homeName, int statusPort) : home(homeName)
    {
        morvane::sim::UnitConfig config;
        config.address = unitAddress;
        config.statusPort = statusPort;
        config.logDatagrams = false;
        unit = std::make_unique<morvane::sim::Unit>(config);
        unit->start();
        processor = std::make_unique<MorvaneProcessor>();
    }
    ~LoopbackRig()
    {
        processor.reset();
        unit->stop();
    }
};
