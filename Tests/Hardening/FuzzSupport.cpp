#include "FuzzSupport.h"

#include "GlobalData/GlobalData.h"
#include "PluginProcessor.h"
#include "SafeAndLoad/SafeAndLoad.h"
#include "TestEnvironment.h"

#include <juce_events/juce_events.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>

namespace Fuzz
{
namespace
{
// Lives until the process ends: libFuzzer leaves by exit(), and the instance must not be
// torn down under a framework that is already going.
juce::ScopedJuceInitialiser_GUI* framework = nullptr;
MorvaneProcessor* instance = nullptr;
} // namespace

void setUp()
{
    // The processor broadcasts on every interface: only in a network of our own.
    TestEnvironment::enterOwnNetwork();
    if (!TestEnvironment::inPrivateNetwork())
    {
        std::fprintf(stderr, "Refusing to run in the machine's own network namespace: use Tools/fuzz.sh\n");
        std::exit(1);
    }
    TestEnvironment::useFreshHome();
    std::atexit([] { TestEnvironment::removeFreshHome(); });
    framework = new juce::ScopedJuceInitialiser_GUI();
}

std::string received(const uint8_t* data, std::size_t size, std::size_t limit)
{
    const auto* text = reinterpret_cast<const char*>(data);
    const std::size_t length = size < limit ? size : limit;
    return std::string(text, strnlen(text, length));
}

std::string bytes(const uint8_t* data, std::size_t size)
{
    return std::string(reinterpret_cast<const char*>(data), size);
}

Settings& settings()
{
    static Settings s;
    return s;
}

GlobalData& global()
{
    static GlobalData g(&settings());
    return g;
}

SafeAndLoad& store()
{
    static SafeAndLoad s(&settings(), &global());
    return s;
}

MorvaneProcessor& processor()
{
    if (instance == nullptr)
        instance = new MorvaneProcessor();
    return *instance;
}

void drainMessages()
{
    static unsigned calls = 0;
    if (++calls % 64 == 0)
        juce::MessageManager::getInstance()->runDispatchLoopUntil(1);
}

void writeFile(const std::string& path, const std::string& content)
{
    std::ofstream out(path, std::ios::binary | std::ios::trunc);
    out << content;
}
} // namespace Fuzz

// Every target calls into this object, so the linker always takes this entry with it.
extern "C" int LLVMFuzzerInitialize(int*, char***)
{
    Fuzz::setUp();
    return 0;
}
