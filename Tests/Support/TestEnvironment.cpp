#include "TestEnvironment.h"

#include "ProcessorDrive.h"
#include "StudioNet.h"

#include <gtest/gtest.h>
#include <juce_events/juce_events.h>

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <memory>
#include <unistd.h>
#include <vector>

namespace TestEnvironment
{
namespace
{
// Every home this run made, removed at its end so that runs leave nothing in /tmp.
std::vector<std::unique_ptr<ProcessorDrive::TemporaryHome>> madeHomes;
} // namespace

void useFreshHome()
{
    newHome();
}

void removeFreshHome()
{
    madeHomes.clear();
}

std::string home()
{
    const char* value = std::getenv("Home");
    return value != nullptr ? value : "";
}

std::string newHome()
{
    madeHomes.push_back(std::make_unique<ProcessorDrive::TemporaryHome>("test"));
    return madeHomes.back()->path();
}

std::string readFile(const std::string& path)
{
    return ProcessorDrive::readFile(path);
}

void writeFile(const std::string& path, const std::string& content)
{
    std::ofstream out(path, std::ios::binary | std::ios::trunc);
    out << content;
}

void pump(int ms)
{
    ProcessorDrive::pump(ms);
}

bool pumpUntil(const std::function<bool()>& done, int timeoutMs)
{
    return ProcessorDrive::pumpUntil(done, timeoutMs);
}

bool canConfigureNetwork()
{
    return ::geteuid() == 0;
}

int runAllTests(int argc, char** argv, const std::function<void()>& beforeFramework)
{
    testing::InitGoogleTest(&argc, argv);
    // The plug-in broadcasts on every interface: its tests run only in a network namespace
    // of their own.
    enterOwnNetwork();
    if (!inPrivateNetwork())
    {
        std::fprintf(stderr,
                     "Refusing to run in the machine's own network namespace: use Tools/run-tests.sh\n");
        return 1;
    }
    if (beforeFramework)
        beforeFramework();
    useFreshHome();
    int result = 0;
    {
        juce::ScopedJuceInitialiser_GUI framework;
        result = RUN_ALL_TESTS();
    }
    removeFreshHome();
    return result;
}

bool enterOwnNetwork()
{
    return morvane::test::enterOwnNetwork();
}

bool inPrivateNetwork()
{
    return ProcessorDrive::inPrivateNetwork();
}

bool onCi()
{
    const char* ci = std::getenv("CI");
    return ci != nullptr && std::string(ci) == "true";
}
} // namespace TestEnvironment
