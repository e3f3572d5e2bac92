#pragma once

#include <atomic>
#include <memory>
#include <thread>

class MorvaneProcessor;

// The search that the Ok button of the IP page starts, on a thread of its own. The thread
// holds the processor's parts, never the window: a window that closes during the search
// hands the thread over rather than waiting for it, and the processor joins it before its
// parts go (the search ends within a tenth of a second of quitRequested).
class EditorSearch
{
public:
    explicit EditorSearch(MorvaneProcessor& owner) : processor(owner) {}
    ~EditorSearch();

    // False, starting nothing, while the last search still runs.
    bool start();
    bool underWay() const { return thread.joinable() && !finished->load(); }

private:
    MorvaneProcessor& processor;
    std::thread thread;
    std::shared_ptr<std::atomic<bool>> finished = std::make_shared<std::atomic<bool>>(true);

    EditorSearch(const EditorSearch&) = delete;
    EditorSearch& operator=(const EditorSearch&) = delete;
};

// Thread entry: the search of the processor's instance.
void delegatorFindDeviceFromEditor(MorvaneProcessor* processor);
