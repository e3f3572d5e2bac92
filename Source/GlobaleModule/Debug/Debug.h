#pragma once

#include <juce_core/juce_core.h>

#include <string>

class Debug
{
public:
    // Appends "<level>:::<message>:::<file base name>:::<line>:::\n" to Log.txt in the maker's
    // folder + "/" + folder. Levels below -50 are not written. Lines of concurrent threads
    // never interleave: the whole line is written under one process-wide lock.
    static void DebugLog(int level, const juce::String& message, const char* file, int line,
                         const std::string& folder);

    // The line as it is written, for the log and for tests.
    static std::string formatLine(int level, const juce::String& message, const char* file, int line);
};

// The common call: this source file and line.
#define MORVANE_LOG(level, message, folder) Debug::DebugLog((level), (message), __FILE__, __LINE__, (folder))
