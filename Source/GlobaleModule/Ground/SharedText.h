#pragma once

#include <array>
#include <mutex>
#include <string>

// A byte string that several threads read and write: every access takes the lock, and
// readers get a copy, so a writer on another thread never tears what they hold.
class SharedString
{
public:
    SharedString() = default;
    explicit SharedString(std::string initial) : text(std::move(initial)) {}

    std::string get() const
    {
        std::lock_guard<std::mutex> lock(mutex);
        return text;
    }
    void set(std::string value)
    {
        std::lock_guard<std::mutex> lock(mutex);
        text = std::move(value);
    }
    bool empty() const
    {
        std::lock_guard<std::mutex> lock(mutex);
        return text.empty();
    }
    operator std::string() const { return get(); }
    SharedString& operator=(std::string value)
    {
        set(std::move(value));
        return *this;
    }

private:
    mutable std::mutex mutex;
    std::string text;
};

// A fixed list of byte strings whose counts start at 1 (entry 0 stays empty by habit).
// Out-of-range indices read as empty and are not written, so a hostile count can't reach
// past the end.
template <int Size> class SharedStringList
{
public:
    static constexpr int size = Size;

    std::string get(int index) const
    {
        std::lock_guard<std::mutex> lock(mutex);
        return inRange(index) ? entries[(size_t)index] : std::string();
    }
    void set(int index, std::string value)
    {
        std::lock_guard<std::mutex> lock(mutex);
        if (inRange(index))
            entries[(size_t)index] = std::move(value);
    }
    void clear()
    {
        std::lock_guard<std::mutex> lock(mutex);
        for (auto& entry : entries)
            entry.clear();
    }
    // First index in [from, to] holding exactly value, or 0 when there is none.
    int indexOf(const std::string& value, int from, int to) const
    {
        std::lock_guard<std::mutex> lock(mutex);
        for (int i = from < 0 ? 0 : from; i <= to && inRange(i); ++i)
            if (entries[(size_t)i] == value)
                return i;
        return 0;
    }
    std::array<std::string, Size> copy() const
    {
        std::lock_guard<std::mutex> lock(mutex);
        return entries;
    }
    void assign(const std::array<std::string, Size>& values)
    {
        std::lock_guard<std::mutex> lock(mutex);
        entries = values;
    }

private:
    static bool inRange(int index) { return index >= 0 && index < Size; }

    mutable std::mutex mutex;
    std::array<std::string, Size> entries{};
};

using IpList = SharedStringList<99>;
