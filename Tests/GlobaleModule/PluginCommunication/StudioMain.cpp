// Test programs of the studio network start here. The network is built first; then the main
// thread enters the computer's namespace, before the framework or anything else makes a
// thread, so that every socket and thread of the plug-in lives there.
#include "Studio.h"

#include <dirent.h>

#include <cstdio>
#include <optional>

namespace
{
std::unique_ptr<morvane::test::StudioNet> network;
std::optional<morvane::test::ScopedNamespace> onComputer;

// Suites named "Offline..." read replies and pages only; a network costs seconds to build.
bool needsNetwork()
{
    const std::string filter = testing::GTEST_FLAG(filter);
    return !testing::GTEST_FLAG(list_tests) && filter.rfind("Offline", 0) != 0;
}
} // namespace

int countLines(const std::string& log, const std::string& line)
{
    int found = 0;
    for (auto at = log.find(line); at != std::string::npos; at = log.find(line, at + 1))
        if (at == 0 || log[at - 1] == '\n')
            ++found;
    return found;
}

namespace Studio
{
morvane::test::StudioNet* net()
{
    return network.get();
}

std::string address(int k)
{
    return network ? network->unitAddress(k) : std::string();
}

std::string serial(int k)
{
    return "MORVAN00" + std::to_string(10 + k);
}

std::unique_ptr<morvane::sim::Unit> startUnit(int k, const std::string& serialText)
{
    if (!network || k < 1 || k > network->units())
        return nullptr;
    morvane::sim::UnitConfig config;
    config.address = network->unitAddress(k);
    config.foreignAddress = network->foreignAddress(k);
    config.statusPort = (uint16_t)(7000 + k);
    config.serial = serialText.empty() ? serial(k) : serialText;
    auto unit = std::make_unique<morvane::sim::Unit>(config);
    bool started = false;
    network->runIn(network->unitNamespace(k), [&] { started = unit->start(); });
    return started ? std::move(unit) : nullptr;
}

std::string threadNames()
{
    std::string names;
    DIR* tasks = ::opendir("/proc/self/task");
    while (const dirent* entry = tasks != nullptr ? ::readdir(tasks) : nullptr)
        if (entry->d_name[0] != '.')
            names += TestEnvironment::readFile("/proc/self/task/" + std::string(entry->d_name) + "/comm");
    if (tasks != nullptr)
        ::closedir(tasks);
    return names;
}
} // namespace Studio

int main(int argc, char** argv)
{
    const int result = TestEnvironment::runAllTests(
        argc, argv,
        []
        {
            if (!needsNetwork() || !morvane::test::StudioNet::usable())
                return;
            network = std::make_unique<morvane::test::StudioNet>(Studio::unitCount);
            if (network->ok())
                onComputer.emplace(network->hostNamespace());
            if (!network->ok() || !onComputer->ok())
            {
                std::fprintf(stderr, "No studio network: %s\n", network->error().c_str());
                network.reset();
            }
        });
    onComputer.reset();
    network.reset();
    return result;
}
