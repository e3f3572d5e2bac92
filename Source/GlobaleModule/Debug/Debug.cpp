#include "Debug/Debug.h"

#include "Ground/SettingsPaths.h"

#include <cstdio>
#include <cstring>
#include <mutex>

namespace
{
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

void Debug::DebugLog(int level, const juce::String& message, const char* file, int line,
                     const std::string& folder)
{
    if (level < -50)
        return;

    const auto text = formatLine(level, message, file, line);
    std::lock_guard<std::mutex> lock(logLock());
    const auto path = SettingsPaths::makeFolders(folder);
    if (path.empty())
        return;
    if (FILE* out = std::fopen((path + "/Log.txt").c_str(), "ab"))
    {
        std::fwrite(text.data(), 1, text.size(), out);
        std::fclose(out);
    }
}
