#pragma once

#include <atomic>
#include <functional>
#include <thread>

// One request of the window at a time, on a thread of its own, so that the message thread
// never waits for the network. A start while the last one runs is refused; the owner tries
// again at its next tick. The destructor joins.
class EditorWorker
{
public:
    EditorWorker() = default;
    ~EditorWorker() { join(); }

    bool start(std::function<void()> work)
    {
        if (busy.load())
            return false;
        join();
        busy = true;
        thread = std::thread(
            [this, job = std::move(work)]
            {
                job();
                busy = false;
            });
        return true;
    }
    bool isBusy() const { return busy.load(); }
    void join()
    {
        if (thread.joinable())
            thread.join();
    }

private:
    std::atomic<bool> busy{false};
    std::thread thread;

    EditorWorker(const EditorWorker&) = delete;
    EditorWorker& operator=(const EditorWorker&) = delete;
};
