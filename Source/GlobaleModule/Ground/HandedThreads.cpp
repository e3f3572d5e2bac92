#include "Ground/HandedThreads.h"

#include <algorithm>
#include <mutex>
#include <vector>

namespace HandedThreads
{
namespace
{
struct Entry
{
    const void* owner = nullptr;
    std::thread thread;
    std::shared_ptr<const std::atomic<bool>> finished;
};

class Holder
{
public:
    ~Holder()
    {
        joinAll(takeIf([](const Entry&) { return true; }));
    }

    void add(Entry entry)
    {
        std::lock_guard<std::mutex> guard(lock);
        entries.push_back(std::move(entry));
    }
    template <typename Test> std::vector<Entry> takeIf(Test test)
    {
        std::lock_guard<std::mutex> guard(lock);
        std::vector<Entry> taken;
        const auto kept =
            std::partition(entries.begin(), entries.end(), [&](const Entry& e) { return !test(e); });
        std::move(kept, entries.end(), std::back_inserter(taken));
        entries.erase(kept, entries.end());
        return taken;
    }
    std::size_t size()
    {
        std::lock_guard<std::mutex> guard(lock);
        return entries.size();
    }
    static void joinAll(std::vector<Entry> taken)
    {
        for (auto& entry : taken)
            if (entry.thread.joinable())
                entry.thread.join();
    }

private:
    std::mutex lock;
    std::vector<Entry> entries;
};

Holder& holder()
{
    static Holder threads;
    return threads;
}
} // namespace

void handOver(const void* owner, std::thread thread, std::shared_ptr<const std::atomic<bool>> finished)
{
    auto& all = holder();
    Holder::joinAll(all.takeIf([](const Entry& e) { return e.finished->load(); }));
    all.add({owner, std::move(thread), std::move(finished)});
}

void joinOf(const void* owner)
{
    Holder::joinAll(holder().takeIf([owner](const Entry& e) { return e.owner == owner; }));
}

std::size_t held()
{
    return holder().size();
}
} // namespace HandedThreads
