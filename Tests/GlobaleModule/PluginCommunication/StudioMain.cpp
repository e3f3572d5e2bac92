// Test programs of the studio network start here: the main thread enters the computer's
// namespace before the framework or anything else makes a thread, so every socket lives there.
#include "Studio.h"

#include <cstdio>
#include <cstdlib>
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
        found += at == 0 || log[at - 1] == '\n';
    // The log writes a line repeated within a second once, then "<message> (N times more)".
    const std::string fields = ":::";
    if (line.size() <= fields.size() || line.compare(line.size() - fields.size(), fields.size(), fields) != 0)
        return found;
    const std::string repeats = line.substr(0, line.size() - fields.size()) + " (";
    for (auto at = log.find(repeats); at != std::string::npos; at = log.find(repeats, at + 1))
        if (at == 0 || log[at - 1] == '\n')
            found += std::atoi(log.c_str() + at + repeats.size());
    return found;
}

morvane::test::StudioNet* Studio::net()
{
    return network.get();
}

std::unique_ptr<morvane::sim::Unit> Studio::startUnit(int k, const std::string& serialText)
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

int main(int argc, char** argv)
{
    const int result = TestEnvironment::runAllTests(
        argc, argv,
        []
        {
            if (!needsNetwork() || !morvane::test::StudioNet::usable())
                return;
            network = std::make_unique<morvane::test::StudioNet>(4);
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
