#include "Browser.h"

#include "TestEnvironment.h"

#include <csignal>
#include <cstdlib>
#include <fcntl.h>
#include <filesystem>
#include <poll.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

extern char** environ;

namespace
{
const char* const chromium = "/usr/bin/chromium";
constexpr int pipeIn = 3, pipeOut = 4; // the descriptors Chromium's pipe mode expects

juce::var object(std::initializer_list<std::pair<const char*, juce::var>> fields)
{
    auto* o = new juce::DynamicObject();
    for (const auto& [name, value] : fields)
        o->setProperty(name, value);
    return juce::var(o);
}

// Above the descriptors the child is given, so that no dup2 there overwrites another.
int highCopy(int fd)
{
    const int copy = ::fcntl(fd, F_DUPFD_CLOEXEC, 100);
    ::close(fd);
    return copy;
}

void closeFd(int& fd)
{
    if (fd >= 0)
        ::close(fd);
    fd = -1;
}
} // namespace

Browser::Browser()
{
    if (installed() && !start())
        closeFd(toBrowser);
}

Browser::~Browser()
{
    if (pid > 0)
    {
        send(object({{"id", nextId++}, {"method", "Browser.close"}}));
        int status = 0;
        bool ended = false;
        for (int i = 0; i < 250 && !(ended = ::waitpid(pid, &status, WNOHANG) == pid); ++i)
            std::this_thread::sleep_for(std::chrono::milliseconds(20));
        ::kill(-pid, SIGKILL); // its helpers, and itself when it did not close within 5 s
        if (!ended)
            ::waitpid(pid, &status, 0);
    }
    stopReading = true;
    if (reader.joinable())
        reader.join();
    closeFd(toBrowser);
    closeFd(fromBrowser);
    std::error_code ignored;
    if (!profile.empty())
        std::filesystem::remove_all(profile, ignored);
}

bool Browser::installed()
{
    return ::access(chromium, X_OK) == 0;
}

bool Browser::start()
{
    char folder[] = "/tmp/morvane-browser-XXXXXX";
    if (::mkdtemp(folder) == nullptr)
        return false;
    profile = folder;
    int commands[2], answers[2];
    if (::pipe2(commands, O_CLOEXEC) != 0)
        return false;
    if (::pipe2(answers, O_CLOEXEC) != 0)
    {
        ::close(commands[0]);
        ::close(commands[1]);
        return false;
    }
    int childIn = highCopy(commands[0]), childOut = highCopy(answers[1]);
    toBrowser = commands[1];
    fromBrowser = answers[0];

    const std::string userData = "--user-data-dir=" + profile;
    const std::string log = profile + "/output.txt";
    std::vector<const char*> args = {chromium,
                                     "--headless",
                                     "--no-sandbox",
                                     "--disable-gpu",
                                     "--disable-quic",
                                     "--no-first-run",
                                     "--disable-background-networking",
                                     "--disable-component-update",
                                     "--disable-sync",
                                     "--window-size=1200,900",
                                     userData.c_str(),
                                     "--remote-debugging-pipe",
                                     "about:blank",
                                     nullptr};
    posix_spawn_file_actions_t files;
    posix_spawn_file_actions_init(&files);
    posix_spawn_file_actions_addopen(&files, 1, log.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
    posix_spawn_file_actions_adddup2(&files, 1, 2);
    posix_spawn_file_actions_adddup2(&files, childIn, pipeIn);
    posix_spawn_file_actions_adddup2(&files, childOut, pipeOut);
    posix_spawnattr_t attributes;
    posix_spawnattr_init(&attributes);
    posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETPGROUP); // one group: its helpers end with it
    posix_spawnattr_setpgroup(&attributes, 0);
    const int failed =
        ::posix_spawn(&pid, chromium, &files, &attributes, const_cast<char* const*>(args.data()), environ);
    posix_spawn_file_actions_destroy(&files);
    posix_spawnattr_destroy(&attributes);
    closeFd(childIn);
    closeFd(childOut);
    if (failed != 0)
    {
        pid = -1;
        return false;
    }
    reader = std::thread([this] { readLoop(); });
    return true;
}

std::string Browser::output() const
{
    return TestEnvironment::readFile(profile + "/output.txt");
}

void Browser::readLoop()
{
    std::string pending;
    while (!stopReading)
    {
        pollfd p{fromBrowser, POLLIN, 0};
        if (::poll(&p, 1, 50) <= 0)
            continue;
        char buffer[65536];
        const ssize_t n = ::read(fromBrowser, buffer, sizeof buffer);
        if (n <= 0)
            return; // the browser has gone
        pending.append(buffer, static_cast<size_t>(n));
        std::lock_guard<std::mutex> guard(incomingLock);
        for (size_t end; (end = pending.find('\0')) != std::string::npos; pending.erase(0, end + 1))
            incoming.push_back(pending.substr(0, end));
    }
}

void Browser::send(const juce::var& message)
{
    const std::string text = juce::JSON::toString(message, true).toStdString() + '\0';
    for (size_t sent = 0; sent < text.size();)
    {
        const ssize_t n = ::write(toBrowser, text.data() + sent, text.size() - sent);
        if (n <= 0)
            return;
        sent += static_cast<size_t>(n);
    }
}

void Browser::takeMessages()
{
    std::deque<std::string> taken;
    {
        std::lock_guard<std::mutex> guard(incomingLock);
        taken.swap(incoming);
    }
    for (const auto& text : taken)
    {
        const juce::var message = juce::JSON::parse(juce::String(text));
        if (message.hasProperty("id"))
            replies[(int)message["id"]] = message;
        else
            noteEvent(message);
    }
}

// Uncaught exceptions, console.error and the browser's own error lines (a failed load among them).
void Browser::noteEvent(const juce::var& message)
{
    const juce::String method = message["method"].toString();
    const juce::var params = message["params"];
    methodsSeen.push_back(method.toStdString());
    juce::String error;
    if (method == "Runtime.exceptionThrown")
        error = "exception: " + params["exceptionDetails"]["exception"]["description"].toString() + " " +
                params["exceptionDetails"]["text"].toString();
    else if (method == "Runtime.consoleAPICalled" &&
             (params["type"].toString() == "error" || params["type"].toString() == "assert"))
        error = "console: " + juce::JSON::toString(params["args"], true);
    else if (method == "Log.entryAdded" && params["entry"]["level"].toString() == "error")
        error = "log: " + params["entry"]["text"].toString() + " " + params["entry"]["url"].toString();
    if (error.isNotEmpty())
        errors.push_back(error.toStdString());
}

bool Browser::waitFor(const std::function<bool()>& done, int timeoutMs)
{
    return TestEnvironment::pumpUntil(
        [&]
        {
            takeMessages();
            return done();
        },
        timeoutMs);
}

juce::var Browser::call(const std::string& method, const juce::var& params, int timeoutMs)
{
    if (!running())
        return {};
    const int id = nextId++;
    juce::var message = object({{"id", id}, {"method", juce::String(method)}, {"params", params}});
    if (!session.empty())
        message.getDynamicObject()->setProperty("sessionId", juce::String(session));
    send(message);
    if (!waitFor([&] { return replies.count(id) > 0; }, timeoutMs))
        return {};
    const juce::var reply = replies[id];
    replies.erase(id);
    return reply["result"];
}

bool Browser::open(const std::string& url, int timeoutMs)
{
    const juce::String target = call("Target.createTarget", object({{"url", "about:blank"}}))["targetId"];
    session = call("Target.attachToTarget", object({{"targetId", target}, {"flatten", true}}))["sessionId"]
                  .toString()
                  .toStdString();
    if (session.empty())
        return false;
    for (const char* domain : {"Runtime.enable", "Log.enable", "Page.enable"})
        call(domain, object({}));
    methodsSeen.clear();
    if (!call("Page.navigate", object({{"url", juce::String(url)}})).hasProperty("frameId"))
        return false;
    return waitFor(
        [&] {
            return std::find(methodsSeen.begin(), methodsSeen.end(), "Page.loadEventFired") !=
                   methodsSeen.end();
        },
        timeoutMs);
}

juce::var Browser::evaluate(const std::string& expression)
{
    const juce::var result =
        call("Runtime.evaluate", object({{"expression", juce::String(expression)}, {"returnByValue", true}}));
    return result.hasProperty("exceptionDetails") ? juce::var() : result["result"]["value"];
}

Browser::Point Browser::centreOf(const std::string& elementId)
{
    const juce::var box = evaluate(
        "(() => { const e = document.getElementById('" + elementId +
        "'); if (!e) return null; e.scrollIntoView({block: 'center'});"
        " const r = e.getBoundingClientRect(); return [r.x + r.width / 2, r.y + r.height / 2]; })()");
    if (!box.isArray() || box.size() != 2)
        return {-1, -1};
    return {(double)box[0], (double)box[1]};
}

void Browser::mouse(const char* type, Point at, int buttons, const char* button)
{
    call("Input.dispatchMouseEvent", object({{"type", type},
                                             {"x", at.x},
                                             {"y", at.y},
                                             {"button", button},
                                             {"buttons", buttons},
                                             {"clickCount", 1}}));
}

void Browser::click(Point at)
{
    mouse("mouseMoved", at, 0, "none");
    mouse("mousePressed", at, 1);
    mouse("mouseReleased", at, 0);
}

void Browser::drag(Point from, Point to, int steps, int msPerStep)
{
    mouse("mouseMoved", from, 0, "none");
    mouse("mousePressed", from, 1);
    for (int i = 1; i <= steps; ++i)
    {
        TestEnvironment::pump(msPerStep);
        const double f = double(i) / steps;
        mouse("mouseMoved", {from.x + (to.x - from.x) * f, from.y + (to.y - from.y) * f}, 1);
    }
    mouse("mouseReleased", to, 0);
}

std::vector<std::string> Browser::consoleErrors()
{
    takeMessages();
    return errors;
}
