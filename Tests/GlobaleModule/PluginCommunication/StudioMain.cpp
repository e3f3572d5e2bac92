// Test programs of the studio network start here. The network is built first; then the main
// thread enters the computer's namespace, before the framework or anything else makes a
// thread, so that every socket and thread of the plug-in lives there.
#include "Studio.h"
#include "TestEnvironment.h"

#include <dirent.h>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <juce_events/juce_events.h>
#include <sched.h>
#include <unistd.h>

#include <cstdio>
#include <functional>

namespace
{
std::unique_ptr<morvane::test::StudioNet> network;

bool enterNamespace(const std::string& name)
{
    const int fd = ::open(("/run/netns/" + name).c_str(), O_RDONLY | O_CLOEXEC);
    if (fd < 0)
        return false;
    const bool entered = ::setns(fd, CLONE_NEWNET) == 0;
    ::close(fd);
    return entered;
}

void forEachThread(const std::function<void(const std::string& task)>& visit)
{
    DIR* tasks = ::opendir("/proc/self/task");
    if (tasks == nullptr)
        return;
    while (const dirent* entry = ::readdir(tasks))
        if (entry->d_name[0] != '.')
            visit(entry->d_name);
    ::closedir(tasks);
}
} // namespace

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

std::unique_ptr<morvane::sim::Unit> startUnit(int k)
{
    if (!network || k < 1 || k > network->units())
        return nullptr;
    morvane::sim::UnitConfig config;
    config.address = network->unitAddress(k);
    config.httpPort = 80;
    config.statusPort = (uint16_t)(7000 + k);
    config.serial = serial(k);
    config.periodMs = 40;
    auto unit = std::make_unique<morvane::sim::Unit>(config);
    bool started = false;
    network->runIn(network->unitNamespace(k), [&] { started = unit->start(); });
    return started ? std::move(unit) : nullptr;
}

std::string threadNames()
{
    std::string names;
    forEachThread([&names](const std::string& task)
                  { names += TestEnvironment::readFile("/proc/self/task/" + task + "/comm"); });
    return names;
}

int threadCount()
{
    int count = 0;
    forEachThread([&count](const std::string&) { ++count; });
    return count;
}
} // namespace Studio

int main(int argc, char** argv)
{
    const int result = TestEnvironment::runAllTests(
        argc, argv,
        []
        {
            if (testing::GTEST_FLAG(list_tests) || !morvane::test::StudioNet::usable())
                return;
            network = std::make_unique<morvane::test::StudioNet>(Studio::unitCount);
            if (!network->ok() || !enterNamespace(network->hostNamespace()))
            {
                std::fprintf(stderr, "No studio network: %s\n", network->error().c_str());
                network.reset();
            }
        });
    network.reset();
    return result;
}
