#pragma once

#include <juce_core/juce_core.h>

#include <string>

class Debug
{
public:
    // Appends "<level>:::<message>:::<file base name>:::<line>:::\n" to Log.txt in the maker's
    // folder + "/" + folder. Levels below -50 are not written. Lines of concurrent threads
    // never interleave: the whole line is written under one process-wide lock.
    // A line that repeats the last one of its file within a second of it is held back and
    // counted; the count goes out as one line (repeatedMessage) before the next line that
    // differs, or with the first repeat after the second, so a flood writes one line a second
    // and a line repeated more slowly is written each time. A Log.txt that would pass 1 MiB is
    // renamed to Log.old.txt (replacing the one before) and started anew.
    static void DebugLog(int level, const juce::String& message, const char* file, int line,
                         const std::string& folder);

    // The line as it is written, for the log and for tests.
    static std::string formatLine(int level, const juce::String& message, const char* file, int line);
    // The message of the line that stands for count repeats held back.
    static juce::String repeatedMessage(const juce::String& message, int count);
    // Writes the counts still held back (at the end of a process, and for tests).
    static void flushRepeats();
};

// The common call: this source file and line.
#define MORVANE_LOG(level, message, folder) Debug::DebugLog((level), (message), __FILE__, __LINE__, (folder))
