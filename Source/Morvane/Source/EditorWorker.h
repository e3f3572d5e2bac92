#pragma once

#include <atomic>
#include <functional>
#include <thread>

// One request of the window at a time, on a thread of its own, so that the message thread
// never waits for the network. A start while the last one runs is refused; the owner tries
// again at its next tick. The work is handed a flag that the closing window raises: it
// passes it to every wait, so that stop() (and the destructor) returns within a wait's slice.
class EditorWorker
{
public:
    using Work = std::function<void(const std::atomic<bool>& stopping)>;

    EditorWorker() = default;
    ~EditorWorker() { stop(); }

    bool start(Work work)
    {
        if (busy.load() || stopping.load())
            return false;
        join();
        busy = true;
        thread = std::thread(
            [this, job = std::move(work)]
            {
                job(stopping);
                busy = false;
            });
        return true;
    }
    bool isBusy() const { return busy.load(); }
    // For good: a stopped worker starts nothing more.
    void stop()
    {
        stopping = true;
        join();
    }

private:
    void join()
    {
        if (thread.joinable())
            thread.join();
    }

    std::atomic<bool> busy{false};
    std::atomic<bool> stopping{false};
    std::thread thread;

    EditorWorker(const EditorWorker&) = delete;
    EditorWorker& operator=(const EditorWorker&) = delete;
};
