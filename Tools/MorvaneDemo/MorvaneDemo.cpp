// morvane-demo: one plug-in instance and one simulated unit on a studio network of network
// namespaces made for this run. The instance starts with no stored unit, finds it by
// broadcast, takes every knob from it, follows a turn on the unit's panel and sends a host
// automation move back. Everything stays inside the namespaces; nothing reaches the
// machine's own interfaces.
#include "GlobalData/GlobalData.h"
#include "PluginProcessor.h"
#include "ProcessorDrive.h"
#include "StudioNet.h"
#include "TCPIP/TCPIP.h"

#include "MorvaneUnit/Unit.h"

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <memory>

namespace
{
using Clock = std::chrono::steady_clock;
const auto started = Clock::now();

double secondsSinceStart()
{
    return std::chrono::duration<double>(Clock::now() - started).count();
}

void say(const std::string& text)
{
    std::printf("[%6.2f s] %s\n", secondsSinceStart(), text.c_str());
    std::fflush(stdout);
}

bool runUntil(const std::function<bool()>& done, int timeoutMs)
{
    return ProcessorDrive::pumpUntil(done, timeoutMs, 20);
}

void printParameters(MorvaneProcessor& p)
{
    for (int i = 0; i < p.getNumParameters(); ++i)
        std::printf("    %2d %-12s %.4f\n", i, p.getParameterName(i).toRawUTF8(), p.getParameter(i));
}

int run()
{
    if (!morvane::test::StudioNet::usable())
    {
        std::fprintf(stderr, "morvane-demo builds a private studio network and needs root (run it through "
                             "Tools/run-main.sh)\n");
        return 2;
    }
    morvane::test::StudioNet net(1);
    if (!net.ok())
    {
        std::fprintf(stderr, "%s\n", net.error().c_str());
        return 2;
    }
    const ProcessorDrive::TemporaryHome temporaryHome("demo");
    const auto& home = temporaryHome.path();
    say("studio network " + net.hostNamespace() + ": computer " + net.hostAddress() + ", unit " +
        net.unitAddress(1) + "; settings below " + home);

    morvane::sim::UnitConfig config;
    config.address = net.unitAddress(1);
    config.serial = "MORVAN0042";
    config.logPath = home + "/unit.log";
    config.logDatagrams = false;
    morvane::sim::Unit unit(config);
    bool unitUp = false;
    net.runIn(net.unitNamespace(1), [&] { unitUp = unit.start(); });
    if (!unitUp)
    {
        std::fprintf(stderr, "the simulated unit did not start: %s\n", unit.startError().c_str());
        return 1;
    }
    unit.command("set 3 700");
    unit.command("mode 5");
    unit.command("program sine");
    say("simulated unit " + unit.serial() + " up (log: " + config.logPath + ")");

    morvane::test::ScopedNamespace computer(net.hostNamespace());
    juce::ScopedJuceInitialiser_GUI framework;
    auto processor = std::make_unique<MorvaneProcessor>();
    auto* global = processor->getGlobalData();
    say("plug-in instance made: master " + std::string(global->isMaster ? "yes" : "no") + ", searching");

    if (!runUntil([&] { return global->connected.load(); }, 30000))
    {
        say("no unit found within 30 s");
        return 1;
    }
    say("connected to " + global->deviceIp.get() + ", serial " + global->deviceSerial.get() +
        ", status port " + std::to_string(global->devicePort.load()));
    if (!runUntil([&] { return processor->isRunning(); }, 15000))
    {
        say("no status from the unit within 15 s");
        return 1;
    }
    say("running: every knob taken from the unit");
    printParameters(*processor);

    unit.command("turn 3 900 300");
    runUntil([&] { return std::abs(processor->getParameter(3) - 900.0f / 1023.0f) < 0.002f; }, 3000);
    unit.command("release 3");
    say("turned Output L on the unit's panel to 900: the host reads " +
        std::to_string(processor->getParameter(3)));

    unit.clearRecords();
    processor->setParameter(4, 0.25f);
    runUntil([&] { return unit.row(8).value == 150; }, 3000);
    std::string request = "(none)";
    for (const auto& line : unit.requests())
        if (line.find("/knob?") != std::string::npos)
            request = line;
    say("host automation moved Threshold to 0.25: the unit got \"" + request + "\", its row 8 is now " +
        std::to_string(unit.row(8).value));

    for (int i = 0; i < 3; ++i)
    {
        runUntil([] { return false; }, 400);
        say("needles " + std::to_string(processor->getMeterLeft()) + " / " +
            std::to_string(processor->getMeterRight()));
    }

    const auto closing = Clock::now();
    processor.reset();
    say("instance closed in " +
        std::to_string(std::chrono::duration<double>(Clock::now() - closing).count()) + " s");
    unit.stop();
    return 0;
}
} // namespace

int main()
{
    return run();
}
