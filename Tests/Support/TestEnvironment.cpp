#include "TestEnvironment.h"

#include "StudioNet.h"

#include <gtest/gtest.h>
#include <juce_events/juce_events.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <net/if.h>
#include <sched.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <thread>
#include <unistd.h>
#include <vector>

namespace TestEnvironment
{
namespace
{
// Every home this run made, removed at its end so that runs leave nothing in /tmp.
std::vector<std::string> madeHomes;
} // namespace

void useFreshHome()
{
    newHome();
}

void removeFreshHome()
{
    std::error_code ignored;
    for (const auto& folder : madeHomes)
        std::filesystem::remove_all(folder, ignored);
    madeHomes.clear();
}

std::string home()
{
    const char* value = std::getenv("Home");
    return value != nullptr ? value : "";
}

std::string newHome()
{
    std::string folder = "/tmp/morvane-test-XXXXXX";
    if (::mkdtemp(folder.data()) == nullptr)
        folder = "/tmp";
    else
        madeHomes.push_back(folder);
    ::setenv("Home", folder.c_str(), 1);
    const auto presets = folder + "/presets";
    ::setenv("MORVANE_PRESET_ROOT", presets.c_str(), 1);
    return folder;
}

std::string readFile(const std::string& path)
{
    std::ifstream in(path, std::ios::binary);
    return std::string((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
}

void writeFile(const std::string& path, const std::string& content)
{
    std::ofstream out(path, std::ios::binary | std::ios::trunc);
    out << content;
}

void pump(int ms)
{
    juce::MessageManager::getInstance()->runDispatchLoopUntil(ms);
}

bool pumpUntil(const std::function<bool()>& done, int timeoutMs)
{
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::milliseconds(timeoutMs);
    while (std::chrono::steady_clock::now() < deadline)
    {
        if (done())
            return true;
        juce::MessageManager::getInstance()->runDispatchLoopUntil(10);
    }
    return done();
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
    const char* allow = std::getenv("MORVANE_ALLOW_HOST_NETWORK");
    if (allow != nullptr && std::string(allow) == "1")
        return true;
    char own[128] = {}, first[128] = {};
    const ssize_t a = ::readlink("/proc/self/ns/net", own, sizeof(own) - 1);
    const ssize_t b = ::readlink("/proc/1/ns/net", first, sizeof(first) - 1);
    return a > 0 && (b <= 0 || std::string(own) != std::string(first));
}

bool onCi()
{
    const char* ci = std::getenv("CI");
    return ci != nullptr && std::string(ci) == "true";
}
} // namespace TestEnvironment
