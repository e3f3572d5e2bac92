// Figures of the window: how soon it shows something and the panel, what it costs in memory
// for one and for eight instances, and the message thread's longest stall while the pictures
// load. Needs a display: run the bench under xvfb-run.
#include "BenchRig.h"
#include "GlobalData/GlobalData.h"
#include "PluginEditor.h"
#include "PluginProcessor.h"
#include "ProcessorDrive.h"
#include "XErrors.h"

#include "MorvaneUnit/Unit.h"

#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstdlib>
#include <fstream>
#include <memory>
#include <unistd.h>
#include <vector>

namespace
{
double nowMs()
{
    return juce::Time::getMillisecondCounterHiRes();
}

double residentMb()
{
    std::ifstream statm("/proc/self/statm");
    long size = 0, resident = 0;
    statm >> size >> resident;
    return (double)resident * (double)sysconf(_SC_PAGESIZE) / (1024.0 * 1024.0);
}

// A transparent child over the whole window: the window's children are drawn after the
// window itself, so its paint marks a frame that reached the screen.
class FrameProbe : public juce::Component
{
public:
    explicit FrameProbe(std::function<void()> painted) : onPaint(std::move(painted))
    {
        setInterceptsMouseClicks(false, false);
    }
    void paint(juce::Graphics&) override { onPaint(); }

private:
    std::function<void()> onPaint;
};

// The longest gap between the callbacks of a 1 ms timer on the message thread.
class StallMeter : public juce::Timer
{
public:
    StallMeter() { startTimer(1); }
    void timerCallback() override
    {
        const double now = nowMs();
        longest = std::max(longest, now - last);
        last = now;
    }
    double last = nowMs();
    double longest = 0.0;
};

struct Opening
{
    double firstFrameMs = -1.0, panelMs = -1.0, constructorMs = 0.0, stallMs = 0.0, picturesMs = 0.0;
};

// Opens a window on the processor, waits for the panel, and closes it again unless kept.
Opening openWindow(MorvaneProcessor& processor, std::unique_ptr<MorvaneEditor>& keep)
{
    Opening opening;
    StallMeter stall;
    const double start = nowMs();
    keep.reset(static_cast<MorvaneEditor*>(processor.createEditor()));
    auto& editor = *keep;
    opening.constructorMs = nowMs() - start;
    FrameProbe probe(
        [&]
        {
            const double at = nowMs() - start;
            if (opening.firstFrameMs < 0.0)
                opening.firstFrameMs = at;
            if (opening.panelMs < 0.0 && editor.getRuntime() == 4 && editor.knobs[3]->isVisible())
                opening.panelMs = at;
        });
    editor.addAndMakeVisible(probe);
    probe.setBounds(editor.getLocalBounds());
    editor.addToDesktop(0);
    editor.setVisible(true);
    stall.last = nowMs();
    ProcessorDrive::pumpUntil([&] { return !editor.isLoadingImages(); }, 10000);
    opening.picturesMs = nowMs() - start;
    opening.stallMs = std::max(stall.longest, opening.constructorMs);
    ProcessorDrive::pumpUntil([&] { return opening.panelMs >= 0.0; }, 10000);
    editor.removeChildComponent(&probe);
    return opening;
}

struct EditorRig : LoopbackRig
{
    EditorRig() : LoopbackRig("editor-bench", 7401)
    {
        ProcessorDrive::pumpUntil([this] { return processor->isRunning(); }, 20000);
    }
};

bool haveDisplay(benchmark::State& state)
{
    if (std::getenv("DISPLAY") != nullptr)
    {
        XErrors::survive();
        return true;
    }
    state.SkipWithError("needs a display: run morvane-bench under xvfb-run");
    return false;
}

void EditorOpen(benchmark::State& state)
{
    if (!haveDisplay(state))
        return;
    EditorRig rig;
    std::vector<Opening> openings;
    for (auto _ : state)
    {
        std::unique_ptr<MorvaneEditor> editor;
        openings.push_back(openWindow(*rig.processor, editor));
        state.SetIterationTime(openings.back().panelMs / 1000.0);
        editor.reset();
        ProcessorDrive::pump(200);
    }
    const auto worst = [&](double Opening::*field)
    {
        double most = 0.0;
        for (const auto& o : openings)
            most = std::max(most, o.*field);
        return most;
    };
    const auto median = [&](double Opening::*field)
    {
        std::vector<double> values;
        for (const auto& o : openings)
            values.push_back(o.*field);
        std::sort(values.begin(), values.end());
        return values[values.size() / 2];
    };
    state.counters["first_frame_ms"] = median(&Opening::firstFrameMs);
    state.counters["first_frame_max_ms"] = worst(&Opening::firstFrameMs);
    state.counters["panel_ms"] = median(&Opening::panelMs);
    state.counters["panel_max_ms"] = worst(&Opening::panelMs);
    state.counters["pictures_ms"] = median(&Opening::picturesMs);
    state.counters["first_opening_panel_ms"] = openings.front().panelMs;
    state.counters["constructor_ms"] = median(&Opening::constructorMs);
    state.counters["longest_stall_ms"] = worst(&Opening::stallMs);
}

// Memory of open windows: one, and one on each of eight instances.
void EditorMemory(benchmark::State& state)
{
    if (!haveDisplay(state))
        return;
    const int windows = (int)state.range(0);
    EditorRig rig;
    std::vector<std::unique_ptr<MorvaneProcessor>> others;
    for (int i = 1; i < windows; ++i)
        others.push_back(std::make_unique<MorvaneProcessor>());
    ProcessorDrive::pump(500);
    for (auto _ : state)
    {
        const double before = residentMb();
        std::vector<std::unique_ptr<MorvaneEditor>> open(windows);
        openWindow(*rig.processor, open[0]);
        const double first = residentMb();
        for (int i = 1; i < windows; ++i)
            openWindow(*others[(size_t)i - 1], open[(size_t)i]);
        ProcessorDrive::pump(300);
        const double all = residentMb();
        state.SetIterationTime(0.001);
        state.counters["first_window_mb"] = first - before;
        state.counters["all_windows_mb"] = all - before;
        if (windows > 1)
            state.counters["each_further_mb"] = (all - first) / (windows - 1);
        open.clear();
    }
    others.clear();
}
} // namespace

BENCHMARK(EditorOpen)->Iterations(10)->UseManualTime()->Unit(benchmark::kMillisecond);
BENCHMARK(EditorMemory)->Arg(1)->Arg(8)->Iterations(1)->UseManualTime()->Unit(benchmark::kMillisecond);
