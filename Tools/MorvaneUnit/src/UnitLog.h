// The unit's log: one line per event, flushed at once so that `tail -f` follows it.
#pragma once

#include <cstdio>
#include <mutex>
#include <string>

namespace morvane::sim
{

class UnitLog
{
public:
    UnitLog(const std::string& path, const std::string& who);
    ~UnitLog();
    UnitLog(const UnitLog&) = delete;
    UnitLog& operator=(const UnitLog&) = delete;

    bool ok() const { return path_.empty() || file_ != nullptr; }
    // "HH:MM:SS.mmm <address> <TAG> <text>"
    void write(const char* tag, const std::string& text);

private:
    std::mutex mutex_;
    std::string path_, who_;
    std::FILE* file_ = nullptr;
};

} // namespace morvane::sim
