#pragma once

#include <functional>
#include <string>

namespace TestEnvironment
{
// The whole run of a test program: its own network namespace (or a refusal to run in the
// machine's), a fresh home, the framework with this thread as its message thread.
// beforeFramework runs once the process is in its own network, before any thread is made.
int runAllTests(int argc, char** argv, const std::function<void()>& beforeFramework = {});
// Points "Home" and MORVANE_PRESET_ROOT at new temporary folders.
void useFreshHome();
void removeFreshHome();
// The temporary home of this run, and a new empty one for a single test.
std::string home();
std::string newHome();
// Reads a whole file; empty when it does not exist.
std::string readFile(const std::string& path);
void writeFile(const std::string& path, const std::string& content);
// Runs the message loop for ms milliseconds.
void pump(int ms);
// Runs the message loop until done() or the time is up; true when done() came.
bool pumpUntil(const std::function<bool()>& done, int timeoutMs);
// True when this process may make network devices (root in its own namespace).
bool canConfigureNetwork();
// As root, moves this process into a network namespace of its own with loopback up, so
// that test programs running side by side never share a port. Returns false otherwise.
bool enterOwnNetwork();
// True when this process does not share the network namespace of process 1, or when
// MORVANE_ALLOW_HOST_NETWORK=1 says the caller took care of it.
bool inPrivateNetwork();
// True on CI, where nothing that CI can do may be skipped.
bool onCi();
} // namespace TestEnvironment
