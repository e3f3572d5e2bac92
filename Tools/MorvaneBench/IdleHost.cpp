// morvane-idle-host: loads one VST2 plug-in N times, as a DAW with its window closed does,
// runs the message loop, and prints the CPU time the whole process spends per window.
//   morvane-idle-host <plug-in> <instances> <warm-up s> <windows> <window s>
// Output, one line: "cpu_s_per_window <median> windows <w1> <w2> ...".
#include <juce_audio_processors/juce_audio_processors.h>

#include <algorithm>
#include <cstdio>
#include <sys/resource.h>
#include <vector>

namespace
{
double cpuSeconds()
{
    rusage usage{};
    ::getrusage(RUSAGE_SELF, &usage);
    return (double)usage.ru_utime.tv_sec + usage.ru_utime.tv_usec / 1e6 + (double)usage.ru_stime.tv_sec +
           usage.ru_stime.tv_usec / 1e6;
}

// Ends the warm-up, then takes the CPU time of each window, then stops the loop.
class Windows : public juce::Timer
{
public:
    Windows(int count, int windowMs) : left(count), periodMs(windowMs) {}
    std::vector<double> figures;

    void timerCallback() override
    {
        const double now = cpuSeconds();
        if (started)
            figures.push_back(now - last);
        started = true;
        last = now;
        startTimer(periodMs);
        if (left-- <= 0)
        {
            stopTimer();
            juce::MessageManager::getInstance()->stopDispatchLoop();
        }
    }

private:
    int left;
    int periodMs;
    bool started = false;
    double last = 0.0;
};
} // namespace

int main(int argc, char** argv)
{
    if (argc != 6)
    {
        std::fprintf(stderr, "usage: %s <plug-in> <instances> <warm-up s> <windows> <window s>\n", argv[0]);
        return 2;
    }
    juce::ScopedJuceInitialiser_GUI framework;
    juce::AudioPluginFormatManager manager;
    manager.addDefaultFormats();
    juce::OwnedArray<juce::PluginDescription> found;
    for (auto* format : manager.getFormats())
        if (format->getName() == "VST")
            format->findAllTypesForFile(found, argv[1]);
    if (found.isEmpty())
    {
        std::fprintf(stderr, "no VST2 plug-in in %s\n", argv[1]);
        return 1;
    }

    std::vector<std::unique_ptr<juce::AudioPluginInstance>> instances;
    for (int i = 0; i < std::atoi(argv[2]); ++i)
    {
        juce::String error;
        instances.push_back(manager.createPluginInstance(*found[0], 48000.0, 256, error));
        if (instances.back() == nullptr)
        {
            std::fprintf(stderr, "instance %d: %s\n", i + 1, error.toRawUTF8());
            return 1;
        }
    }

    Windows windows(std::atoi(argv[4]), std::atoi(argv[5]) * 1000);
    windows.startTimer(std::max(1, std::atoi(argv[3]) * 1000));
    juce::MessageManager::getInstance()->runDispatchLoop();
    instances.clear();

    auto sorted = windows.figures;
    std::sort(sorted.begin(), sorted.end());
    std::printf("cpu_s_per_window %.4f windows", sorted.empty() ? 0.0 : sorted[sorted.size() / 2]);
    for (double figure : windows.figures)
        std::printf(" %.4f", figure);
    std::printf("\n");
    return 0;
}
