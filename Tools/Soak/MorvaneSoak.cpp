// morvane-soak: editor-less instances against hostile simulated units for a bounded time.
// The units switch through every fault, vanish and come back; instances come and go and
// have their addresses changed under them. Everything runs on this thread, which is the
// framework's message thread, as in a host. At the end it checks what a host relies on:
// no tick and no host call (from a thread of the host's) waited longer than 50 ms on any
// fault, every instance went within 100 ms, no thread or socket was left over, and what was written before
// the faults (settings files, session state) reads back intact.
#include "GlobalData/GlobalData.h"
#include "PluginProcessor.h"
#include "ProcessorDrive.h"
#include "SafeAndLoad/SafeAndLoad.h"
#include "StudioNet.h"
#include "TCPIP/TCPIP.h"

#include "MorvaneUnit/Faults.h"
#include "MorvaneUnit/Unit.h"

#include <juce_events/juce_events.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <dirent.h>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <unistd.h>
#include <vector>

namespace
{
using Clock = std::chrono::steady_clock;

double msSince(Clock::time_point start)
{
    return std::chrono::duration<double, std::milli>(Clock::now() - start).count();
}

// No tick of the loop and no host call may wait longer on any unit fault: the network work
// runs on threads of its own. A stall of the message thread may also hold the destruction
// of an instance, which has its own bound.
constexpr double tickLimitMs = 50.0;
constexpr double hostCallLimitMs = 50.0;
constexpr double destructionLimitMs = 100.0;
constexpr double stallLimitMs = destructionLimitMs + tickLimitMs;
// Kept for the report: what the old bounds of one stall were.
constexpr double firstStatusBoundMs = 2000.0 + 1000.0;
constexpr double getSiteBoundMs = TCPIP::connectTimeoutMs + TCPIP::responseTimeoutMs;

// The fault the units are under at the moment (faultCount: none), for the figures per fault.
std::atomic<int> currentFault{morvane::sim::faultCount};

struct Longest
{
    std::atomic<double> tickMs[morvane::sim::faultCount + 1] = {};
    std::atomic<double> hostCallMs[morvane::sim::faultCount + 1] = {};

    static void raise(std::atomic<double>& slot, double ms)
    {
        double seen = slot.load();
        while (ms > seen && !slot.compare_exchange_weak(seen, ms))
        {
        }
    }
    double overall(const std::atomic<double>* slots) const
    {
        double most = 0.0;
        for (int f = 0; f <= morvane::sim::faultCount; ++f)
            most = std::max(most, slots[f].load());
        return most;
    }
};
Longest longest;

// The longest single tick of the instance's loop.
class TimedProcessor : public MorvaneProcessor
{
public:
    void timerCallback() override
    {
        const auto start = Clock::now();
        MorvaneProcessor::timerCallback();
        Longest::raise(longest.tickMs[currentFault.load()], msSince(start));
    }
};

// A host's other threads: every 20 ms they read and write parameters and take the state
// block, as a host saving its session or running automation does.
class HostCalls
{
public:
    explicit HostCalls(MorvaneProcessor& target)
        : thread(
              [this, &target]
              {
                  for (int call = 0; !stop.load(); ++call)
                  {
                      const auto start = Clock::now();
                      hostCall(target, call);
                      Longest::raise(longest.hostCallMs[currentFault.load()], msSince(start));
                      std::this_thread::sleep_for(std::chrono::milliseconds(20));
                  }
              })
    {
    }
    ~HostCalls()
    {
        stop = true;
        thread.join();
    }

private:
    static void hostCall(MorvaneProcessor& target, int call)
    {
        const int index = 3 + call % 10;
        switch (call % 3)
        {
        case 0:
        {
            juce::MemoryBlock state;
            target.getStateInformation(state);
            break;
        }
        case 1:
            target.setParameter(index, 0.1f + 0.05f * (float)(call % 7));
            break;
        default:
            (void)target.getParameter(index);
            break;
        }
    }
    std::atomic<bool> stop{false};
    std::thread thread;
};

// Ticks every 10 ms; the gap between two ticks is how long the message thread was held.
class StallProbe : private juce::Timer
{
public:
    StallProbe() { startTimer(10); }
    ~StallProbe() override { stopTimer(); }
    double longestGapMs = 0.0;
    int overFirstStatusBound = 0;
    int overGetSiteBound = 0;

private:
    void timerCallback() override
    {
        const auto now = Clock::now();
        if (ticked)
        {
            const double gap = std::chrono::duration<double, std::milli>(now - last).count();
            longestGapMs = std::max(longestGapMs, gap);
            overFirstStatusBound += gap > firstStatusBoundMs ? 1 : 0;
            overGetSiteBound += gap > getSiteBoundMs ? 1 : 0;
        }
        ticked = true;
        last = now;
    }
    bool ticked = false;
    Clock::time_point last;
};

const auto soakStart = Clock::now();

// One line per phase on the error stream, so that a run that stalls shows where.
void phase(const char* what)
{
    std::fprintf(stderr, "[%7.1f s] %s\n", msSince(soakStart) / 1000.0, what);
}

// When the message loop last gave control back to the soak. The framework's queue runs every
// message it finds in one go, and a timer whose tick blocks has its next message posted
// before the tick ends: ticks that block back to back never let the loop return, and
// nothing else on the message thread (a host's window events) gets its turn either.
std::atomic<long long> lastControlMs{0};

long long nowMs()
{
    return std::chrono::duration_cast<std::chrono::milliseconds>(Clock::now().time_since_epoch()).count();
}

void pump(int ms)
{
    lastControlMs = nowMs();
    ProcessorDrive::pump(ms);
    lastControlMs = nowMs();
}

bool pumpUntil(const std::function<bool()>& done, int ms)
{
    lastControlMs = nowMs();
    const bool result = ProcessorDrive::pumpUntil(done, ms);
    lastControlMs = nowMs();
    return result;
}

int countEntries(const char* folder, const char* linkPrefix)
{
    DIR* dir = ::opendir(folder);
    if (dir == nullptr)
        return -1;
    int count = 0;
    while (const dirent* entry = ::readdir(dir))
    {
        if (entry->d_name[0] == '.')
            continue;
        if (linkPrefix == nullptr)
        {
            ++count;
            continue;
        }
        char target[256] = {};
        const std::string path = std::string(folder) + "/" + entry->d_name;
        if (::readlink(path.c_str(), target, sizeof(target) - 1) > 0 &&
            std::strncmp(target, linkPrefix, std::strlen(linkPrefix)) == 0)
            ++count;
    }
    ::closedir(dir);
    return count;
}

int threadCount()
{
    return countEntries("/proc/self/task", nullptr);
}

int socketCount()
{
    return countEntries("/proc/self/fd", "socket:");
}

struct SoakUnit
{
    std::unique_ptr<morvane::sim::Unit> unit;
    std::string address;
};

class Soak
{
public:
    Soak(int secondsToRun, bool sharedUnits) : seconds(secondsToRun), shareUnits(sharedUnits) {}

    int run()
    {
        phase("warm-up instance");
        warmUp();
        baselineThreads = threadCount();
        baselineSockets = socketCount();
        if (!startUnits())
            return 2;

        phase("first instance takes unit 1");
        if (!makeWitness())
            return fail("the first instance never took the unit's status");
        writeBeforeFaults();

        phase("faults");
        StallProbe probe;
        {
            HostCalls hostCalls(*witness);
            faultRounds();
        }
        currentFault = morvane::sim::faultCount;
        stallGapMs = probe.longestGapMs;
        overFirstStatus = probe.overFirstStatusBound;
        overGetSite = probe.overGetSiteBound;

        phase("faults off, instances go");
        calmUnits();
        while (!slaves.empty())
            destroyOldestSlave();
        checkFilesAfterFaults();
        destroy(witness);
        stopUnits();
        phase("a new instance reads the files and the session state");
        checkSessionReadsBack();
        phase("left-over threads and sockets");
        checkLeftOvers();
        report();
        return violations == 0 ? 0 : 1;
    }

private:
    // The framework starts its timer thread with the first timer: an instance made and gone
    // before the count means only our own threads are counted.
    void warmUp()
    {
        auto first = std::make_unique<TimedProcessor>();
        ++created;
        pumpUntil([&] { return first->getGlobalData()->deviceFinderRunning.load() == 0; }, 15000);
        destroy(first);
        pump(200);
    }

    bool startUnits()
    {
        for (int k = 0; k < unitCount; ++k)
        {
            morvane::sim::UnitConfig config;
            config.address = "127.0.0." + std::to_string(21 + k);
            config.statusPort = (uint16_t)(7301 + k);
            config.serial = "MORVAN00" + std::to_string(21 + k);
            SoakUnit soakUnit;
            soakUnit.address = config.address;
            soakUnit.unit = std::make_unique<morvane::sim::Unit>(config);
            if (!soakUnit.unit->start())
            {
                std::fprintf(stderr, "unit %s: %s\n", config.address.c_str(),
                             soakUnit.unit->startError().c_str());
                return false;
            }
            units.push_back(std::move(soakUnit));
        }
        return true;
    }

    void stopUnits()
    {
        for (auto& soakUnit : units)
            soakUnit.unit->stop();
        units.clear();
    }

    // The address goes over as the preferences' address field hands it to the loop.
    static void pointAt(MorvaneProcessor& processor, const std::string& address)
    {
        auto* global = processor.getGlobalData();
        global->SetIp(address);
        global->ipChanged = true;
        global->connected = true;
    }

    bool makeWitness()
    {
        witness = std::make_unique<TimedProcessor>();
        ++created;
        auto* global = witness->getGlobalData();
        pumpUntil([&] { return global->deviceFinderRunning.load() == 0; }, 15000);
        pointAt(*witness, units[0].address);
        return pumpUntil([&] { return witness->isRunning(); }, 20000);
    }

    // The first instance's files and session state, with values no default has.
    void writeBeforeFaults()
    {
        auto* global = witness->getGlobalData();
        // The knob resolution stays: the knobs took their step from it when they were made.
        global->guiSize = 0.25f;
        global->fps = 25;
        resolutionBefore = global->knobResolution.load();
        global->safeGuiSettings();
        folder = global->settingsFolder.get();
        ipBefore = ProcessorDrive::readFile(folder + "/IP.txt");
        guiBefore = ProcessorDrive::readFile(folder + "/GuiSettings.txt");
        for (int i = 0; i < 16; ++i)
            witness->setParameterNotifyingHost(i, i == 2 ? 0.0f : 0.05f * (float)(i + 1));
        pump(500);
        witness->getStateInformation(stateBefore);
    }

    void faultRounds()
    {
        const auto deadline = Clock::now() + std::chrono::seconds(seconds);
        for (int round = 0; Clock::now() < deadline; ++round)
        {
            const auto fault = static_cast<morvane::sim::Fault>(round % morvane::sim::faultCount);
            auto& target = *units[(std::size_t)(round % unitCount)].unit;
            target.setFault(fault, true);
            currentFault = (int)fault;
            ++faultsTried;
            phase((std::string("fault ") + morvane::sim::faultName(fault) + " on " +
                   units[(std::size_t)(round % unitCount)].address + ", " +
                   std::to_string(slaves.size() + 1) + " instance(s)")
                      .c_str());
            if (round % 2 == 1)
                churnInstances(round);
            if (round % 3 == 2 && !slaves.empty())
                changeAddress(*slaves[(std::size_t)round % slaves.size()], round);
            pump(1200);
            target.setFault(fault, false);
            currentFault = morvane::sim::faultCount;
            if (round % 5 == 4)
                vanishAndReturn(*units[(std::size_t)(round / 5) % unitCount].unit);
            pump(300);
        }
    }

    // Two instances of one computer on one unit share its status port, and only one of them
    // gets the datagrams; the other stays in First status. Unless sharing is asked for, an
    // instance is pointed only at a unit no other instance drives.
    const std::string* unitFor(MorvaneProcessor* instance, int round) const
    {
        for (int k = 0; k < unitCount; ++k)
        {
            const auto& address = units[(std::size_t)((round + k) % unitCount)].address;
            bool taken = witness->getGlobalData()->deviceIp.get() == address;
            for (const auto& slave : slaves)
                taken =
                    taken || (slave.get() != instance && slave->getGlobalData()->deviceIp.get() == address);
            if (shareUnits || !taken)
                return &address;
        }
        return nullptr;
    }

    void changeAddress(MorvaneProcessor& instance, int round)
    {
        if (const auto* address = unitFor(&instance, round + 1))
        {
            pointAt(instance, *address);
            ++addressChanges;
        }
    }

    void churnInstances(int round)
    {
        if (slaves.size() >= 2)
        {
            destroyOldestSlave();
            return;
        }
        slaves.push_back(std::make_unique<TimedProcessor>());
        ++created;
        if (const auto* address = unitFor(slaves.back().get(), round))
            pointAt(*slaves.back(), *address);
    }

    void vanishAndReturn(morvane::sim::Unit& unit)
    {
        unit.command("vanish");
        pump(1000);
        unit.command("return");
        ++vanishings;
    }

    void calmUnits()
    {
        for (auto& soakUnit : units)
        {
            for (int f = 0; f < morvane::sim::faultCount; ++f)
                soakUnit.unit->setFault(static_cast<morvane::sim::Fault>(f), false);
            soakUnit.unit->command("return");
        }
    }

    void destroyOldestSlave()
    {
        destroy(slaves.front());
        slaves.erase(slaves.begin());
    }

    void destroy(std::unique_ptr<TimedProcessor>& processor)
    {
        const auto start = Clock::now();
        processor.reset();
        const double took = msSince(start);
        longestDestructionMs = std::max(longestDestructionMs, took);
        ++destroyed;
    }

    void checkFilesAfterFaults()
    {
        const auto ipAfter = ProcessorDrive::readFile(folder + "/IP.txt");
        const auto guiAfter = ProcessorDrive::readFile(folder + "/GuiSettings.txt");
        if (ipAfter != ipBefore)
            fail("IP.txt changed: \"" + ipBefore + "\" became \"" + ipAfter + "\"");
        if (guiAfter != guiBefore)
            fail("GuiSettings.txt changed:\n" + guiBefore + "became\n" + guiAfter);
    }

    // A new instance reads the files and the host's block as they were before the faults.
    void checkSessionReadsBack()
    {
        auto restored = std::make_unique<TimedProcessor>();
        ++created;
        auto* global = restored->getGlobalData();
        // The file holds the resolution as a whole number.
        if (global->guiSize.load() != 0.25f ||
            global->knobResolution.load() != (float)(int)resolutionBefore || global->fps.load() != 25)
            fail("GuiSettings.txt does not read back into a new instance");
        restored->setStateInformation(stateBefore.getData(), (int)stateBefore.getSize());
        juce::MemoryBlock stateAfter;
        restored->getStateInformation(stateAfter);
        const auto before =
            juce::AudioProcessor::getXmlFromBinary(stateBefore.getData(), (int)stateBefore.getSize());
        const auto after =
            juce::AudioProcessor::getXmlFromBinary(stateAfter.getData(), (int)stateAfter.getSize());
        if (before == nullptr || after == nullptr || !after->isEquivalentTo(before.get(), false))
            fail("the session state does not read back:\n" + text(before) + "became\n" + text(after));
        pumpUntil([&] { return global->deviceFinderRunning.load() == 0; }, 15000);
        destroy(restored);
    }

    // Threads and sockets end a moment after their owner; give them that moment.
    void checkLeftOvers()
    {
        pumpUntil([&] { return threadCount() <= baselineThreads && socketCount() <= baselineSockets; }, 3000);
        leakedThreads = std::max(0, threadCount() - baselineThreads);
        leakedSockets = std::max(0, socketCount() - baselineSockets);
        if (leakedThreads != 0)
            fail(std::to_string(leakedThreads) + " thread(s) left over");
        if (leakedSockets != 0)
            fail(std::to_string(leakedSockets) + " socket(s) left over");
        if (longest.overall(longest.tickMs) > tickLimitMs)
            fail("a tick of the loop took " + std::to_string(longest.overall(longest.tickMs)) + " ms");
        if (longest.overall(longest.hostCallMs) > hostCallLimitMs)
            fail("a host call took " + std::to_string(longest.overall(longest.hostCallMs)) + " ms");
        if (stallGapMs > stallLimitMs)
            fail("the message thread was held for " + std::to_string(stallGapMs) + " ms");
        if (longestDestructionMs > destructionLimitMs)
            fail("an instance took " + std::to_string(longestDestructionMs) + " ms to go");
    }

    static std::string text(const std::unique_ptr<juce::XmlElement>& xml)
    {
        return xml == nullptr ? std::string("nothing\n") : xml->toString().toStdString();
    }

    int fail(const std::string& what)
    {
        std::fprintf(stderr, "VIOLATION: %s\n", what.c_str());
        ++violations;
        return 1;
    }

    void report() const
    {
        std::printf("soak: %d s, %d units\n", seconds, unitCount);
        std::printf("  faults tried:                    %d (all %d kinds)\n", faultsTried,
                    std::min(faultsTried, morvane::sim::faultCount));
        std::printf("  vanishings and returns:          %d\n", vanishings);
        std::printf("  address changes:                 %d\n", addressChanges);
        std::printf("  instances created / destroyed:   %d / %d\n", created, destroyed);
        std::printf("  longest message-thread stall:    %.0f ms (limit %.0f ms; over %.0f ms: %d, over %.0f "
                    "ms: %d)\n",
                    stallGapMs, stallLimitMs, firstStatusBoundMs, overFirstStatus, getSiteBoundMs,
                    overGetSite);
        std::printf("  longest loop tick / host call:   %.1f / %.1f ms (limits %.0f / %.0f ms)\n",
                    longest.overall(longest.tickMs), longest.overall(longest.hostCallMs), tickLimitMs,
                    hostCallLimitMs);
        for (int f = 0; f <= morvane::sim::faultCount; ++f)
            std::printf("    %-12s tick %6.1f ms, host call %6.1f ms\n",
                        f == morvane::sim::faultCount
                            ? "(no fault)"
                            : morvane::sim::faultName(static_cast<morvane::sim::Fault>(f)),
                        longest.tickMs[f].load(), longest.hostCallMs[f].load());
        std::printf("  longest destruction:             %.0f ms (limit %.0f ms)\n", longestDestructionMs,
                    destructionLimitMs);
        std::printf("  leaked threads / sockets:        %d / %d\n", leakedThreads, leakedSockets);
        std::printf("  settings files and session state: %s\n", violations == 0 ? "intact" : "see above");
        std::printf("  violations:                      %d\n", violations);
        std::fflush(stdout);
    }

    static constexpr int unitCount = 3;
    const int seconds;
    const bool shareUnits;
    std::vector<SoakUnit> units;
    std::unique_ptr<TimedProcessor> witness;
    std::vector<std::unique_ptr<TimedProcessor>> slaves;
    std::string folder, ipBefore, guiBefore;
    juce::MemoryBlock stateBefore;
    int baselineThreads = 0, baselineSockets = 0;
    int faultsTried = 0, vanishings = 0, addressChanges = 0, created = 0, destroyed = 0;
    int overFirstStatus = 0, overGetSite = 0;
    int leakedThreads = 0, leakedSockets = 0, violations = 0;
    double stallGapMs = 0.0, longestDestructionMs = 0.0;
    float resolutionBefore = 0.0f;
};

bool hasFlag(int argc, char** argv, const char* flag)
{
    for (int i = 1; i < argc; ++i)
        if (std::strcmp(argv[i], flag) == 0)
            return true;
    return false;
}

int secondsFromArguments(int argc, char** argv)
{
    int seconds = 120;
    for (int i = 1; i + 1 < argc; ++i)
        if (std::strcmp(argv[i], "--seconds") == 0)
            seconds = std::max(1, std::atoi(argv[i + 1]));
    return seconds;
}
} // namespace

// Ends the process when the soak overruns its time by far: a hang is a finding too, and CI
// must hear of it rather than wait for its own time-out.
class Overrun
{
public:
    explicit Overrun(int seconds)
        : watcher(
              [this, seconds]
              {
                  const auto deadline = Clock::now() + std::chrono::seconds(seconds + graceSeconds);
                  std::unique_lock<std::mutex> hold(lock);
                  while (!wake.wait_for(hold, std::chrono::seconds(1), [this] { return done; }))
                  {
                      const long long held = nowMs() - lastControlMs.load();
                      if (lastControlMs.load() != 0 && held > starvedLimitMs)
                      {
                          std::fprintf(
                              stderr,
                              "VIOLATION: the message loop kept the message thread for %lld ms without "
                              "returning: loop ticks blocking back to back starve everything else on it\n",
                              held);
                          std::_Exit(4);
                      }
                      if (Clock::now() > deadline)
                      {
                          std::fprintf(stderr, "VIOLATION: the soak overran its time by %d s\n",
                                       graceSeconds);
                          std::_Exit(3);
                      }
                  }
              })
    {
    }
    ~Overrun()
    {
        {
            std::lock_guard<std::mutex> hold(lock);
            done = true;
        }
        wake.notify_all();
        watcher.join();
    }

private:
    static constexpr int graceSeconds = 180;
    // Far longer than any stall the loop may make: the loop is starving the message thread.
    static constexpr long long starvedLimitMs = 10000;
    std::mutex lock;
    std::condition_variable wake;
    bool done = false;
    std::thread watcher;
};

int main(int argc, char** argv)
{
    // Instances broadcast on every interface: only in a network of our own.
    morvane::test::enterOwnNetwork();
    if (!ProcessorDrive::inPrivateNetwork())
    {
        std::fprintf(stderr,
                     "Refusing to run in the machine's own network namespace: use Tools/private-net.sh\n");
        return 2;
    }
    const ProcessorDrive::TemporaryHome home("soak");
    int result = 0;
    {
        juce::ScopedJuceInitialiser_GUI framework;
        const int seconds = secondsFromArguments(argc, argv);
        Overrun overrun(seconds);
        result = Soak(seconds, hasFlag(argc, argv, "--shared-units")).run();
    }
    return result;
}
