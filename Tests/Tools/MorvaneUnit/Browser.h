// Debian's Chromium, headless, driven over its DevTools pipe: fd 3 takes commands, fd 4 gives
// replies and events, each one JSON text closed by a zero byte. No WebSocket, no driver program.
//
//   Browser browser;                          // starts it with a fresh profile folder
//   browser.open("http://127.0.0.2/");        // one page, console and log watched, loaded
//   browser.evaluate("document.title");       // a value of the page
//   browser.drag({x, y}, {x, y - 80});        // a hand with the mouse
//   browser.consoleErrors();                  // every error the page showed
//
// Waiting runs the framework's message loop, so a plug-in in the same process keeps running.
#pragma once

#include <juce_core/juce_core.h>

#include <atomic>
#include <deque>
#include <map>
#include <mutex>
#include <string>
#include <sys/types.h>
#include <thread>
#include <vector>

class Browser
{
public:
    struct Point
    {
        double x = 0, y = 0;
    };

    Browser();
    ~Browser();
    Browser(const Browser&) = delete;
    Browser& operator=(const Browser&) = delete;

    static bool installed();
    bool running() const { return pid > 0; }
    // Chromium's own output, for a failure message.
    std::string output() const;

    bool open(const std::string& url, int timeoutMs = 10000);
    // The result of a command on the page, void when it failed or took too long.
    juce::var call(const std::string& method, const juce::var& params, int timeoutMs = 5000);
    // The value of an expression in the page, void on an exception.
    juce::var evaluate(const std::string& expression);
    // The middle of an element, scrolled into view first; (-1, -1) when there is none.
    Point centreOf(const std::string& elementId);
    void click(Point at);
    void drag(Point from, Point to, int steps = 16, int msPerStep = 15);
    std::vector<std::string> consoleErrors();

private:
    bool start();
    void readLoop();
    void send(const juce::var& message);
    void takeMessages();
    void noteEvent(const juce::var& message);
    bool waitFor(const std::function<bool()>& done, int timeoutMs);
    void mouse(const char* type, Point at, int buttons, const char* button = "left");

    std::string profile;
    pid_t pid = -1;
    int toBrowser = -1, fromBrowser = -1;
    std::thread reader;
    std::atomic<bool> stopReading{false};

    std::mutex incomingLock;
    std::deque<std::string> incoming; // raw texts, reader thread to the waiting thread

    int nextId = 1;
    std::string session;
    std::map<int, juce::var> replies;
    std::vector<std::string> methodsSeen;
    std::vector<std::string> errors;
};
