#pragma once

#include <functional>
#include <string>

// What every program that drives a real processor needs, the tests included: the framework's
// message loop on this thread, a home of its own in /tmp, and the check that the process is
// off the machine's network.
namespace ProcessorDrive
{
// Runs the message loop for ms milliseconds.
void pump(int ms);
// Runs the message loop until done() or the time is up, giving done() a look every sliceMs;
// true when done() came.
bool pumpUntil(const std::function<bool()>& done, int timeoutMs, int sliceMs = 10);

// A new folder /tmp/morvane-<name>-XXXXXX that "Home" and MORVANE_PRESET_ROOT (its
// "presets") point at while the object lives; removed with everything in it at the end.
// path() is empty when no folder could be made.
class TemporaryHome
{
public:
    explicit TemporaryHome(const std::string& name);
    ~TemporaryHome();
    TemporaryHome(const TemporaryHome&) = delete;
    TemporaryHome& operator=(const TemporaryHome&) = delete;

    const std::string& path() const { return folder; }

private:
    std::string folder;
};

// Reads a whole file; empty when it does not exist.
std::string readFile(const std::string& path);
// True when this process does not share the network namespace of process 1, or when
// MORVANE_ALLOW_HOST_NETWORK=1 says the caller took care of it.
bool inPrivateNetwork();
} // namespace ProcessorDrive
