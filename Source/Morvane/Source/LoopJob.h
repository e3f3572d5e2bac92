#pragma once

#include <atomic>
#include <functional>
#include <thread>
#include <utility>

// One piece of network work of the loop on a thread of its own: the tick starts it and takes
// the result at a later tick, so it never waits for the unit itself. One job at a time.
template <typename Result> class LoopJob
{
public:
    LoopJob() = default;
    LoopJob(const LoopJob&) = delete;
    LoopJob& operator=(const LoopJob&) = delete;
    ~LoopJob() { join(); }

    // False when a job is still under way or its result was not taken.
    bool start(std::function<Result()> work)
    {
        if (running)
            return false;
        join();
        finished = false;
        running = true;
        worker = std::thread(
            [this, work = std::move(work)]
            {
                result = work();
                finished = true;
            });
        return true;
    }
    bool underWay() const { return running; }
    bool ready() const { return running && finished.load(); }
    // The result of a ready job; the job is idle again.
    Result take()
    {
        join();
        running = false;
        return std::move(result);
    }
    // Waits for a job under way (its own bounds end it); the result is dropped.
    void join()
    {
        if (worker.joinable())
            worker.join();
    }

private:
    std::thread worker;
    std::atomic<bool> finished{false};
    bool running = false;
    Result result{};
};
