#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

class GlobalData;
class MorvaneProcessor;
class SafeAndLoad;
struct Settings;

// What every fuzz target shares: a private network, a fresh home and the framework, set up
// once per process; and the one processor of the targets that need a whole instance.
namespace Fuzz
{
// Run by LLVMFuzzerInitialize, which this library defines for every target. Ends the process
// when it is not in a private network.
void setUp();
// The input as the plug-in would receive it: at most limit bytes, up to the first zero byte.
std::string received(const uint8_t* data, std::size_t size, std::size_t limit);
// The input byte for byte.
std::string bytes(const uint8_t* data, std::size_t size);
// An editor-less instance, made on first use and kept for the whole run.
MorvaneProcessor& processor();
// The settings, blackboard and file store of one instance without a processor, made on first use.
Settings& settings();
GlobalData& global();
SafeAndLoad& store();
// Runs the framework's queue now and then, so that asynchronous knob updates don't pile up.
void drainMessages();
// Replaces a file with the given bytes.
void writeFile(const std::string& path, const std::string& content);
} // namespace Fuzz
