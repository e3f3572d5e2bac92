#include "CallHome/UpdateServer.h"

#include "CallHome/UpdateHost.h"
#include "Ground/TextHelpers.h"

#include <juce_core/juce_core.h>

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <memory>
#include <mutex>
#include <thread>
#include <vector>

namespace UpdateServer
{
namespace
{
bool unreserved(unsigned char c)
{
    return (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || (c >= '0' && c <= '9') || c == '-' ||
           c == '_' || c == '.' || c == '~';
}

// The serial comes from the unit: whatever it holds must not change the path's shape.
std::string escapePathSegment(const std::string& text)
{
    static const char* const hex = "0123456789ABCDEF";
    std::string out;
    for (const char ch : text)
    {
        const auto c = static_cast<unsigned char>(ch);
        if (unreserved(c))
        {
            out += ch;
            continue;
        }
        out += '%';
        out += hex[c >> 4];
        out += hex[c & 0x0f];
    }
    return out;
}

// Cancels the stream when the hard limit passes or shouldStop says so. curl's own time-out
// ends a silent server; this ends one that trickles bytes just fast enough to keep curl
// waiting. Joined in the destructor, before the stream goes.
class Watchdog
{
public:
    Watchdog(juce::WebInputStream& watched, int limitMs, const std::function<bool()>& stopTest)
        : stream(watched), shouldStop(stopTest),
          deadline(std::chrono::steady_clock::now() + std::chrono::milliseconds(limitMs))
    {
        worker = std::thread([this] { watch(); });
    }
    ~Watchdog()
    {
        {
            std::lock_guard<std::mutex> guard(lock);
            done = true;
        }
        wake.notify_all();
        worker.join();
    }
    bool fired() const { return hasFired.load(); }

private:
    void watch()
    {
        std::unique_lock<std::mutex> guard(lock);
        while (!done)
        {
            if (std::chrono::steady_clock::now() >= deadline || (shouldStop && shouldStop()))
            {
                hasFired = true;
                guard.unlock();
                stream.cancel();
                return;
            }
            wake.wait_for(guard, std::chrono::milliseconds(50));
        }
    }

    juce::WebInputStream& stream;
    std::function<bool()> shouldStop;
    const std::chrono::steady_clock::time_point deadline;
    std::mutex lock;
    std::condition_variable wake;
    bool done = false;
    std::atomic<bool> hasFired{false};
    std::thread worker;
};

bool isHttpError(int status)
{
    return status >= 400;
}

// Reads until the end, the size limit or the watchdog. Every read returns within about a
// second (curl's poll), so the watchdog is seen in time.
void readBody(juce::WebInputStream& stream, const Watchdog& watchdog, std::string& reply)
{
    char buffer[1024];
    while (!watchdog.fired() && reply.size() < replyLimit)
    {
        const int count = stream.read(buffer, (int)sizeof(buffer));
        if (count <= 0)
            return;
        reply.append(buffer, (std::size_t)count);
    }
}
} // namespace

const char* platformWord()
{
#if defined(__APPLE__)
    return "Mac";
#elif defined(_WIN32)
    return "Windows";
#else
    return "Linux";
#endif
}

std::string productBase()
{
    return std::string("https://") + UpdateHost::name;
}

std::string identityText(const std::string& serial)
{
    return escapePathSegment(TextCut::cut(serial, 3, 20));
}

std::string checkPath(const std::string& serial, const std::string& version)
{
    return std::string("/Plugin/") + platformWord() + "/" + identityText(serial) + "/" + version;
}

namespace
{
// The request itself, on the thread that runs it.
int fetchHere(const std::string& address, std::string& reply, const std::function<bool()>& shouldStop,
              int timeoutMs, int limitMs)
{
    reply.clear();
    juce::WebInputStream stream(juce::URL(juce::String::fromUTF8(address.c_str())), false);
    // The server answers directly; a redirect would only lead away from the host we trust.
    stream.withConnectionTimeout(timeoutMs).withNumRedirectsToFollow(0);

    Watchdog watchdog(stream, limitMs, shouldStop);
    const bool connected = stream.connect(nullptr);
    if (watchdog.fired())
        return stopped;
    // connect also comes back true when curl gave up (time-out, reset): the error says so.
    if (!connected || stream.isError())
        return noStream;
    if (isHttpError(stream.getStatusCode()))
        return errorStatus;
    readBody(stream, watchdog, reply);
    if (watchdog.fired())
        return stopped;
    return stream.isError() ? noStream : received;
}

// One request on a thread of its own. A cancelled stream can keep curl in its wait for a
// good part of a second; the asker does not wait for that, the request's thread does.
struct Request
{
    std::string address;
    int timeoutMs = 0;
    int limitMs = 0;
    std::atomic<bool> cancelled{false};
    std::mutex lock;
    std::condition_variable ended;
    bool finished = false;
    int result = noStream;
    std::string reply;
};

// The threads of requests whose askers stopped waiting. Joined by the next request, by
// joinPendingRequests, and at the latest when the process ends.
class PendingRequests
{
public:
    ~PendingRequests() { joinAll(); }

    void add(std::shared_ptr<Request> request, std::thread thread)
    {
        std::lock_guard<std::mutex> guard(lock);
        threads.emplace_back(std::move(request), std::move(thread));
    }
    void joinFinished()
    {
        auto done = take([](const Entry& entry) { return isFinished(*entry.first); });
        for (auto& entry : done)
            entry.second.join();
    }
    void joinAll()
    {
        auto all = take([](const Entry&) { return true; });
        for (auto& entry : all)
            entry.second.join();
    }

private:
    using Entry = std::pair<std::shared_ptr<Request>, std::thread>;

    static bool isFinished(Request& request)
    {
        std::lock_guard<std::mutex> guard(request.lock);
        return request.finished;
    }
    template <typename Test> std::vector<Entry> take(Test test)
    {
        std::lock_guard<std::mutex> guard(lock);
        std::vector<Entry> taken, kept;
        for (auto& entry : threads)
            (test(entry) ? taken : kept).push_back(std::move(entry));
        threads = std::move(kept);
        return taken;
    }

    std::mutex lock;
    std::vector<Entry> threads;
};

PendingRequests& pending()
{
    static PendingRequests requests;
    return requests;
}

void runRequest(const std::shared_ptr<Request>& request)
{
    std::string reply;
    const int result = fetchHere(
        request->address, reply, [request] { return request->cancelled.load(); }, request->timeoutMs,
        request->limitMs);
    std::lock_guard<std::mutex> guard(request->lock);
    request->reply = std::move(reply);
    request->result = result;
    request->finished = true;
    request->ended.notify_all();
}
} // namespace

int fetch(const std::string& address, std::string& reply, const std::function<bool()>& shouldStop,
          int timeoutMs, int limitMs)
{
    pending().joinFinished();
    reply.clear();
    auto request = std::make_shared<Request>();
    request->address = address;
    request->timeoutMs = timeoutMs;
    request->limitMs = limitMs;
    std::thread worker([request] { runRequest(request); });

    std::unique_lock<std::mutex> guard(request->lock);
    while (!request->finished)
    {
        if (shouldStop && shouldStop())
        {
            request->cancelled = true;
            guard.unlock();
            pending().add(request, std::move(worker));
            return stopped;
        }
        request->ended.wait_for(guard, std::chrono::milliseconds(10));
    }
    reply = std::move(request->reply);
    const int result = request->result;
    guard.unlock();
    worker.join();
    return result;
}

void joinPendingRequests()
{
    pending().joinAll();
}

bool reportsError(const std::string& reply)
{
    return TextCut::find(reply, "404") != TextCut::npos;
}

bool cutReply(const std::string& reply, Offer& offer)
{
    offer = Offer();
    const auto firstComma = TextCut::find(reply, ",");
    if (firstComma == TextCut::npos)
        return false;
    const std::string afterFirst = TextCut::tail(reply, firstComma + 1);

    const auto flagColon = TextCut::find(afterFirst, ":");
    const auto flagEnd = TextCut::find(afterFirst, ",", flagColon);
    if (flagColon == TextCut::npos || flagEnd == TextCut::npos)
        return false;
    const std::string flag = TextCut::cut(afterFirst, flagColon, flagEnd - flagColon);
    const std::string linkField = TextCut::tail(afterFirst, flagEnd + 1);

    const auto linkColon = TextCut::find(linkField, ":");
    if (linkColon == TextCut::npos)
        return false;
    const auto lastQuote = linkField.rfind('"');
    const bool quoted = lastQuote != std::string::npos && lastQuote > linkColon + 2;

    offer.available = TextCut::find(flag, "true") != TextCut::npos;
    offer.link = quoted ? TextCut::cut(linkField, linkColon + 2, lastQuote - linkColon - 2) : std::string();
    return true;
}

bool isServerPath(const std::string& link)
{
    if (link.empty() || link[0] != '/')
        return false;
    for (const char ch : link)
    {
        const auto c = static_cast<unsigned char>(ch);
        if (c <= 0x20 || c >= 0x7f || c == '"' || c == '\\' || c == '<' || c == '>' || c == '`')
            return false;
    }
    return true;
}

Answer readAnswer(const std::string& reply, std::string& link)
{
    link.clear();
    if (reportsError(reply))
        return Answer::unavailable;
    Offer offer;
    if (!cutReply(reply, offer) || !offer.available || !isServerPath(offer.link))
        return Answer::latest;
    link = offer.link;
    return Answer::update;
}
} // namespace UpdateServer
