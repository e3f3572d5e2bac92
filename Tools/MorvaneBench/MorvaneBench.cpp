// morvane-bench: how fast a move crosses between host and unit (moves at random moments of
// the loop's tick), and what idle connected instances cost in a host next to a bare plug-in
// with one 40 ms timer. Runs in a network namespace of its own (as root) against simulated
// units; run it through Tools/private-net.sh.
#include "BenchRig.h"
#include "GlobalData/GlobalData.h"
#include "Ground/SettingsPaths.h"
#include "PluginProcessor.h"
#include "ProcessorDrive.h"
#include "TCPIP/TCPIP.h"

#include "MorvaneUnit/Unit.h"
#include "StudioNet.h"

#include <benchmark/benchmark.h>

#include <algorithm>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <functional>
#include <memory>
#include <net/if.h>
#include <random>
#include <sched.h>
#include <sys/ioctl.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

namespace
{
using Clock = std::chrono::steady_clock;

// One tick of the loop plus one status period: the design's bound for a move either way.
constexpr double designBoundMs = 40.0 + 40.0;

double msSince(Clock::time_point start)
{
    return std::chrono::duration<double, std::milli>(Clock::now() - start).count();
}

// A look every millisecond: the figures are latencies.
bool pumpUntil(const std::function<bool()>& done, int timeoutMs)
{
    return ProcessorDrive::pumpUntil(done, timeoutMs, 1);
}

// Moves come at random moments of the loop's 40 ms tick, as a hand or a host does.
void pumpForRandomMoment(std::mt19937& random)
{
    ProcessorDrive::pumpUntil([] { return false; }, std::uniform_int_distribution<int>(0, 39)(random), 1);
}

// Takes a processor to Running against the unit at address.
bool connect(MorvaneProcessor& p, const std::string& address)
{
    auto* g = p.getGlobalData();
    pumpUntil([g] { return g->deviceFinderRunning.load() == 0; }, 15000);
    if (!g->connected.load())
    {
        g->SetIp(address);
        p.getTcp()->SetIP(address);
        g->deviceSerial = p.GetSerialFromDevice();
        g->devicePort = p.GetDevicePort();
        g->connected = true;
    }
    return pumpUntil([&p] { return p.isRunning(); }, 15000);
}

void report(benchmark::State& state, std::vector<double> samples)
{
    if (samples.empty())
    {
        state.SkipWithError("no samples");
        return;
    }
    std::sort(samples.begin(), samples.end());
    state.counters["median_ms"] = samples[samples.size() / 2];
    state.counters["p99_ms"] = samples[std::min(samples.size() - 1, samples.size() * 99 / 100)];
    state.counters["max_ms"] = samples.back();
    state.counters["bound_ms"] = designBoundMs;
    state.counters["moves"] = (double)samples.size();
}

class HostListener : public juce::AudioProcessorListener
{
public:
    std::atomic<int> lastIndex{-1};
    std::atomic<float> lastValue{-1.0f};
    void audioProcessorParameterChanged(juce::AudioProcessor*, int index, float value) override
    {
        lastValue = value;
        lastIndex = index;
    }
    void audioProcessorChanged(juce::AudioProcessor*, const ChangeDetails&) override {}
};

struct Rig : LoopbackRig
{
    Rig() : LoopbackRig("bench", 7301)
    {
        connect(*processor, unitAddress);
        pumpUntil([] { return false; }, 300);
    }
};

void HostToUnit(benchmark::State& state)
{
    Rig rig;
    std::mt19937 random(15);
    std::vector<double> samples;
    int move = 0;
    for (auto _ : state)
    {
        const int target = 100 + (move++ % 2) * 700;
        pumpForRandomMoment(random);
        const auto writes = rig.unit->knobWrites().size();
        const auto start = Clock::now();
        rig.processor->setParameter(3, (float)target / 1023.0f);
        const bool arrived = pumpUntil([&] { return rig.unit->knobWrites().size() > writes; }, 3000);
        const double ms = msSince(start);
        state.SetIterationTime(ms / 1000.0);
        if (arrived)
            samples.push_back(ms);
    }
    report(state, samples);
}

void UnitToHost(benchmark::State& state)
{
    Rig rig;
    HostListener listener;
    rig.processor->addListener(&listener);
    std::mt19937 random(16);
    std::vector<double> samples;
    int move = 0;
    for (auto _ : state)
    {
        const int target = 100 + (move++ % 2) * 700;
        const float expected = (float)(target - 0) / 1023.0f;
        pumpForRandomMoment(random);
        listener.lastIndex = -1;
        const auto start = Clock::now();
        rig.unit->command("turn 3 " + std::to_string(target) + " 0");
        const bool heard = pumpUntil(
            [&] {
                return listener.lastIndex.load() == 3 &&
                       std::abs(listener.lastValue.load() - expected) < 1e-3f;
            },
            3000);
        const double ms = msSince(start);
        state.SetIterationTime(ms / 1000.0);
        rig.unit->command("release 3");
        if (heard)
            samples.push_back(ms);
    }
    rig.processor->removeListener(&listener);
    report(state, samples);
}

double cpuSeconds()
{
    rusage usage{};
    ::getrusage(RUSAGE_SELF, &usage);
    return (double)usage.ru_utime.tv_sec + usage.ru_utime.tv_usec / 1e6 + (double)usage.ru_stime.tv_sec +
           usage.ru_stime.tv_usec / 1e6;
}

std::string serialOf(int k)
{
    return "MORVAN" + std::string(k < 10 ? "000" : "00") + std::to_string(k);
}

// N units on a studio network, each a program of its own with its own status port, and a
// session saved before: instance k remembers unit k, as its folder says.
void startUnits(morvane::test::StudioNet& net, int n, int firstPort)
{
    for (int k = 1; k <= n; ++k)
    {
        net.spawnIn(net.unitNamespace(k),
                    {MORVANE_UNIT_PROGRAM, "--address", net.unitAddress(k), "--status-port",
                     std::to_string(firstPort + k), "--serial", serialOf(k), "--no-datagram-log", "--log",
                     "/dev/null"},
                    "/dev/null");
        const auto folder = SettingsPaths::makeFolders("Morvane/" + std::to_string(k));
        juce::File(folder + "/IP.txt").replaceWithText(net.unitAddress(k));
        juce::File(folder + "/GuiSettings.txt")
            .replaceWithText("Size = 0.1;\nKnob Resolution = 0;\nSerial = " + serialOf(k) +
                             ";\nFPS = 30;\nZeroPreset = 1;\nMonoMode = 0;\n");
    }
    ::usleep(300000);
}

// N units on a studio network, each stored in its instance's folder of a temporary home.
struct StudioRig
{
    morvane::test::StudioNet net;
    ProcessorDrive::TemporaryHome home{"bench"};

    StudioRig(int n, int firstPort) : net(n)
    {
        if (net.ok())
            startUnits(net, n, firstPort);
    }
    // False, with the benchmark skipped, when the network could not be made.
    bool ready(benchmark::State& state) const
    {
        if (!net.ok())
            state.SkipWithError(net.error().c_str());
        return net.ok();
    }
};

int envOr(const char* name, int fallback)
{
    const char* text = std::getenv(name);
    return text != nullptr && std::atoi(text) > 0 ? std::atoi(text) : fallback;
}

int windowSeconds()
{
    return envOr("MORVANE_BENCH_WINDOW_S", 4);
}

// The median CPU seconds per window of the idle host with n instances of the plug-in, or a
// negative figure when the host failed. The host runs on the studio network's computer.
double idleHostCpu(morvane::test::StudioNet& net, const std::string& home, const char* plugin, int n)
{
    const int warmUp = envOr("MORVANE_BENCH_WARMUP_S", 8 + 2 * n),
              windows = envOr("MORVANE_BENCH_WINDOWS", 5);
    const auto output = juce::File(home).getChildFile("idle-host.txt");
    output.deleteFile();
    const pid_t host = net.spawnIn(net.hostNamespace(),
                                   {MORVANE_IDLE_HOST, plugin, std::to_string(n), std::to_string(warmUp),
                                    std::to_string(windows), std::to_string(windowSeconds())},
                                   output.getFullPathName().toStdString());
    const auto deadline = Clock::now() + std::chrono::seconds(warmUp + (windows + 1) * windowSeconds() + 30);
    siginfo_t info{};
    while (Clock::now() < deadline)
    {
        info.si_pid = 0;
        if (::waitid(P_PID, (id_t)host, &info, WEXITED | WNOHANG | WNOWAIT) == 0 && info.si_pid == host)
            break;
        ::usleep(100000);
    }
    net.stop(host);
    const auto text = output.loadFileAsString();
    const int at = text.indexOf("cpu_s_per_window ");
    if (at < 0)
    {
        std::fprintf(stderr, "idle host with %s: %s\n", plugin, text.toRawUTF8());
        return -1.0;
    }
    return text.substring(at + 17).getDoubleValue();
}

// Idle CPU of n connected instances (editors closed) against the same host with n bare
// plug-ins of one 40 ms timer each, measured one after the other in this run.
void IdleCpuAgainstBareTimer(benchmark::State& state)
{
    const int n = (int)state.range(0);
    StudioRig studio(n, 7500);
    if (!studio.ready(state))
        return;
    auto& net = studio.net;
    double bare = 0.0, morvane = 0.0;
    for (auto _ : state)
    {
        const auto start = Clock::now();
        bare = idleHostCpu(net, studio.home.path(), MORVANE_BARE_VST2, n);
        morvane = idleHostCpu(net, studio.home.path(), MORVANE_VST2, n);
        state.SetIterationTime(msSince(start) / 1000.0);
    }
    if (bare <= 0.0 || morvane <= 0.0)
        state.SkipWithError("the idle host gave no figure");
    state.counters["instances"] = n;
    state.counters["bare_cpu_ms_per_s"] = bare * 1000.0 / windowSeconds();
    state.counters["morvane_cpu_ms_per_s"] = morvane * 1000.0 / windowSeconds();
    state.counters["ratio"] = bare > 0.0 ? morvane / bare : 0.0;
}

// A session of N instances and N units on a studio network: how long until every instance
// drives a unit of its own, and what they cost together once running.
void Scale(benchmark::State& state)
{
    const int n = (int)state.range(0);
    StudioRig studio(n, 7400);
    if (!studio.ready(state))
        return;
    auto& net = studio.net;

    morvane::test::ScopedNamespace computer(net.hostNamespace());
    double allRunningSeconds = 0.0, cpuPerSecond = 0.0;
    int running = 0;
    for (auto _ : state)
    {
        std::vector<std::unique_ptr<MorvaneProcessor>> instances;
        const auto start = Clock::now();
        for (int k = 0; k < n; ++k)
            instances.push_back(std::make_unique<MorvaneProcessor>());
        auto countRunning = [&]
        {
            int count = 0;
            for (auto& p : instances)
                count += p->getGlobalData()->connected.load() && p->isRunning() ? 1 : 0;
            return count;
        };
        pumpUntil([&] { return countRunning() == n; }, 120000);
        allRunningSeconds = msSince(start) / 1000.0;
        running = countRunning();

        const double cpuBefore = cpuSeconds();
        const auto measured = Clock::now();
        pumpUntil([] { return false; }, 5000);
        cpuPerSecond = (cpuSeconds() - cpuBefore) / (msSince(measured) / 1000.0);
        state.SetIterationTime(allRunningSeconds);
        instances.clear();
    }
    state.counters["instances"] = n;
    state.counters["running"] = running;
    state.counters["all_running_s"] = allRunningSeconds;
    state.counters["cpu_ms_per_s"] = cpuPerSecond * 1000.0;
}
} // namespace

BENCHMARK(Scale)->Arg(8)->Iterations(1)->UseManualTime()->Unit(benchmark::kSecond);
BENCHMARK(HostToUnit)->Iterations(500)->UseManualTime()->Unit(benchmark::kMillisecond);
BENCHMARK(UnitToHost)->Iterations(500)->UseManualTime()->Unit(benchmark::kMillisecond);
BENCHMARK(IdleCpuAgainstBareTimer)->Arg(1)->Arg(8)->Iterations(1)->UseManualTime()->Unit(benchmark::kSecond);

int main(int argc, char** argv)
{
    if (!morvane::test::enterOwnNetwork())
    {
        std::fprintf(stderr, "morvane-bench needs root: it runs in a network namespace of its own\n");
        return 2;
    }
    juce::ScopedJuceInitialiser_GUI framework;
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}
