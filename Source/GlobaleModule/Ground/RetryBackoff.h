#pragma once

#include <algorithm>

// Waits between attempts that double after each failure, from first up to longest; a
// success starts over. One mechanism for every "try again later" of discovery: a port held
// by another program's search, a search that found nothing, a hand-out that offered nothing.
class RetryBackoff
{
public:
    RetryBackoff(int first, int longest) : firstMs(first), longestMs(std::max(first, longest)) {}

    // The wait before the next attempt: first, then twice the last, never above longest.
    int nextDelayMs()
    {
        const int delay = nextMs;
        nextMs = std::min(longestMs, nextMs * 2);
        return delay;
    }
    // After a failure at nowMs: the next attempt is due nextDelayMs() later.
    void failedAt(double nowMs) { dueAt = nowMs + nextDelayMs(); }
    bool due(double nowMs) const { return nowMs >= dueAt; }
    void reset()
    {
        nextMs = firstMs;
        dueAt = 0.0;
    }

private:
    int firstMs;
    int longestMs;
    int nextMs = firstMs;
    double dueAt = 0.0;
};
