#include "ProcessorDrive.h"

#include <juce_events/juce_events.h>

#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <unistd.h>

namespace ProcessorDrive
{
void pump(int ms)
{
    juce::MessageManager::getInstance()->runDispatchLoopUntil(ms);
}

bool pumpUntil(const std::function<bool()>& done, int timeoutMs, int sliceMs)
{
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::milliseconds(timeoutMs);
    while (std::chrono::steady_clock::now() < deadline)
    {
        if (done())
            return true;
        juce::MessageManager::getInstance()->runDispatchLoopUntil(sliceMs);
    }
    return done();
}

TemporaryHome::TemporaryHome(const std::string& name)
{
    std::string pattern = "/tmp/morvane-" + name + "-XXXXXX";
    if (::mkdtemp(pattern.data()) == nullptr)
        return;
    folder = pattern;
    ::setenv("Home", folder.c_str(), 1);
    ::setenv("MORVANE_PRESET_ROOT", (folder + "/presets").c_str(), 1);
}

TemporaryHome::~TemporaryHome()
{
    if (folder.empty())
        return;
    std::error_code ignored;
    std::filesystem::remove_all(folder, ignored);
}

std::string readFile(const std::string& path)
{
    std::ifstream in(path, std::ios::binary);
    return std::string((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
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
} // namespace ProcessorDrive
