#pragma once

#include <atomic>
#include <cstddef>
#include <memory>
#include <thread>

// Threads whose starter went away before they ended (a window closed during the search it
// started). Such a thread uses only what owner keeps alive, never its starter. It is joined
// by owner before those parts go (joinOf), by a later hand-over once it has ended, and at the
// latest when the code is unloaded.
namespace HandedThreads
{
// finished is raised by the thread as its very last step.
void handOver(const void* owner, std::thread thread, std::shared_ptr<const std::atomic<bool>> finished);
// Waits for every thread handed over for owner; each ends once owner's closing flag is up.
void joinOf(const void* owner);
// Threads held, ended or not.
std::size_t held();
} // namespace HandedThreads
