#include "UnitLog.h"

#include <chrono>
#include <ctime>

namespace morvane::sim
{

UnitLog::UnitLog(const std::string& path, const std::string& who) : path_(path), who_(who)
{
    if (!path_.empty())
        file_ = std::fopen(path_.c_str(), "a");
}

UnitLog::~UnitLog()
{
    if (file_)
        std::fclose(file_);
}

void UnitLog::write(const char* tag, const std::string& text)
{
    if (!file_)
        return;
    const auto now = std::chrono::system_clock::now();
    const std::time_t secs = std::chrono::system_clock::to_time_t(now);
    const int ms = static_cast<int>(
        std::chrono::duration_cast<std::chrono::milliseconds>(now.time_since_epoch()).count() % 1000);
    std::tm local{};
    localtime_r(&secs, &local);
    std::lock_guard<std::mutex> lock(mutex_);
    std::fprintf(file_, "%02d:%02d:%02d.%03d %s %s %s\n", local.tm_hour, local.tm_min, local.tm_sec, ms,
                 who_.c_str(), tag, text.c_str());
    std::fflush(file_);
}

} // namespace morvane::sim
