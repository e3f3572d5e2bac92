#pragma once

#include "Ground/SharedText.h"

#include <juce_gui_basics/juce_gui_basics.h>

#include <atomic>
#include <functional>
#include <sstream>
#include <string>

class GlobalData;
struct Settings;

// The once-a-day update check. The editor starts delegatorCallHome on a thread of its own
// each time it opens; only the first run of the day on this user account asks the server.
// The day is stored before the server is asked: one attempt a day, not one success.
class CallHome
{
public:
    struct Today
    {
        int day = 0;  // tm_yday of local time, 0 to 365
        int year = 0; // tm_year of local time, years since 1900
    };
    using Clock = std::function<Today()>;

    // The modal callback of the update question: result 1 (the left button) opens the
    // download in the default browser; any other result does nothing.
    class ManuelUpdate_AlertWindowResultWorker : public juce::ModalComponentManager::Callback
    {
    public:
        void modalStateFinished(int result) override;
    };

    CallHome() = default;
    CallHome(GlobalData* globalData, Settings* globalSettings) : global(globalData), settings(globalSettings)
    {
    }

    // The whole check, blocking; runs on the check's thread. Never throws.
    void calling();
    // Writes content to "UpdateSettings.ini"; nothing is reported when it can't.
    void SafeFile(std::stringstream& content);
    // Cuts a running request short, for an editor that closes.
    void requestStop() { stopRequested = true; }

    // "<home>/.../Velmora Audio Works/Bindewerk/UpdateSettings.ini", or empty without a home.
    static std::string settingsFile();
    // "https://" + the update host + downloadlink: what the left button opens.
    static std::string downloadAddress();
    // The address of a check for serial: base when given (a test's), else the one set for
    // every check, else the update host.
    static std::string checkAddress(const std::string& serial, const std::string& version,
                                    const std::string& base = {});
    // Opens address in the default browser, or hands it to the open hook of the tests.
    static void openInBrowser(const std::string& address);
    // Posts the question to the message thread, after storing link in downloadlink.
    static void offerDownload(const std::string& link, const std::string& logFolder);

    // Test seams. The product never calls these: tests point the check at a loopback
    // server, fix "today", and see the question without a display.
    void setBaseUrl(std::string base) { baseUrl = std::move(base); }
    // The same for every check made from now on (the editor's own); empty: the update host.
    static void setBaseUrlForEveryCheck(const std::string& base);
    void setClock(Clock replacement) { clock = std::move(replacement); }
    static void setQuestionHook(std::function<void(const std::string& link)> hook);
    static void setOpenHook(std::function<void(const std::string& address)> hook);

    GlobalData* global = nullptr;
    Settings* settings = nullptr;
    // Written by the check's thread; read by others only after it has been joined.
    std::atomic<int> todayDay{0};
    std::atomic<int> storedDay{0};
    std::atomic<int> todayYear{0};
    std::atomic<int> storedYear{0};

    // The server path of the download offered last; one per process, the last writer wins.
    static SharedString downloadlink;

private:
    void readClock();
    // Reads the stored day and year; false when the file is missing, a folder or empty.
    bool readStoredDate();
    bool dueToday() const;
    void storeToday();
    void askServer(const std::string& serial);
    bool shouldStop() const;
    static void showQuestion();

    std::string baseUrl;
    Clock clock;
    std::atomic<bool> stopRequested{false};
};

// The thread entry: arg is the CallHome to run (the editor's callHome).
void* delegatorCallHome(void* arg);
