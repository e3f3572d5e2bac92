// One host process of the studio tests: a single instance in a process of its own, as hosts
// that run every plug-in in its own process make it. Usage: morvane-host-process <home> <ms>.
// Prints the address of the unit it drives once it runs on it, or "none" after ms.
#include "GlobalData/GlobalData.h"
#include "PluginProcessor.h"
#include "TestEnvironment.h"

#include <cstdio>
#include <cstdlib>
#include <string>

int main(int argc, char** argv)
{
    if (argc != 3 || !TestEnvironment::inPrivateNetwork())
    {
        std::fprintf(stderr, "usage: morvane-host-process <home> <ms>, inside a private network\n");
        return 2;
    }
    const std::string home = argv[1];
    ::setenv("Home", home.c_str(), 1);
    ::setenv("MORVANE_PRESET_ROOT", (home + "/presets").c_str(), 1);
    std::string driven = "none";
    {
        juce::ScopedJuceInitialiser_GUI framework;
        auto processor = std::make_unique<MorvaneProcessor>();
        auto* global = processor->getGlobalData();
        if (TestEnvironment::pumpUntil([&] { return processor->isRunning(); }, std::atoi(argv[2])))
            driven = global->deviceIp.get();
        processor.reset();
    }
    std::printf("%s\n", driven.c_str());
    return driven == "none" ? 1 : 0;
}
