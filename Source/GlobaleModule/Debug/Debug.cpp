#include "Debug/Debug.h"

#include "Ground/SettingsPaths.h"

#include <chrono>
#include <cstdio>
#include <cstring>
#include <map>
#include <mutex>
#include <sys/stat.h>

namespace
{
constexpr long long rolloverBytes = 1024 * 1024;
constexpr double repeatWindowMs = 1000.0;

std::mutex& logLock()
{
    static std::mutex lock;
    return lock;
}

const char* baseName(const char* file)
{
    if (file == nullptr)
        return "";
    const char* slash = std::strrchr(file, '/');
    return slash != nullptr ? slash + 1 : file;
}

double nowMs()
{
    using namespace std::chrono;
    return duration<double, std::milli>(steady_clock::now().time_since_epoch()).count();
}

// The last line written to one log file, and how often it came again since, unwritten.
struct Repeats
{
    int level = 0;
    juce::String message;
    std::string file;
    int line = 0;
    std::string text;
    double writtenAt = 0.0;
    int count = 0;
};

struct FlushAtExit
{
    ~FlushAtExit() { Debug::flushRepeats(); }
};

std::map<std::string, Repeats>& repeatsOfFiles()
{
    static std::map<std::string, Repeats> files;
    // Made after the map, so it goes first at exit and the counts still held are written.
    static FlushAtExit flusher;
    return files;
}

void append(const std::string& path, const std::string& text)
{
    struct stat info
    {
    };
    if (::stat(path.c_str(), &info) == 0 && (long long)info.st_size + (long long)text.size() > rolloverBytes)
        std::rename(path.c_str(), (path.substr(0, path.size() - 4) + ".old.txt").c_str());
    if (FILE* out = std::fopen(path.c_str(), "ab"))
    {
        std::fwrite(text.data(), 1, text.size(), out);
        std::fclose(out);
    }
}

// The lines held back since the last one written, as one line with their count.
void writeRepeats(const std::string& path, Repeats& last)
{
    if (last.count == 0)
        return;
    append(path, Debug::formatLine(last.level, Debug::repeatedMessage(last.message, last.count),
                                   last.file.c_str(), last.line));
    last.count = 0;
}
} // namespace

std::string Debug::formatLine(int level, const juce::String& message, const char* file, int line)
{
    std::string text = std::to_string(level);
    text += ":::";
    text += message.toStdString();
    text += ":::";
    text += baseName(file);
    text += ":::";
    text += std::to_string(line);
    text += ":::\n";
    return text;
}

juce::String Debug::repeatedMessage(const juce::String& message, int count)
{
    return message + " (" + juce::String(count) + " times more)";
}

void Debug::DebugLog(int level, const juce::String& message, const char* file, int line,
                     const std::string& folder)
{
    if (level < -50)
        return;

    const auto text = formatLine(level, message, file, line);
    std::lock_guard<std::mutex> lock(logLock());
    const auto folderPath = SettingsPaths::makeFolders(folder);
    if (folderPath.empty())
        return;
    const auto path = folderPath + "/Log.txt";
    auto& last = repeatsOfFiles()[path];
    const double now = nowMs();
    if (text == last.text && now - last.writtenAt < repeatWindowMs)
    {
        ++last.count;
        return;
    }
    if (text == last.text && last.count > 0)
    {
        // A second is over: its repeats and this one go out as one line, and a new one begins.
        ++last.count;
        writeRepeats(path, last);
        last.writtenAt = now;
        return;
    }
    writeRepeats(path, last);
    append(path, text);
    last = Repeats{level, message, baseName(file), line, text, now, 0};
}

void Debug::flushRepeats()
{
    std::lock_guard<std::mutex> lock(logLock());
    for (auto& [path, last] : repeatsOfFiles())
        writeRepeats(path, last);
}
