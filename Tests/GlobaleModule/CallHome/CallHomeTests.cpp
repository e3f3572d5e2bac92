// The daily check end to end: a real file in a fresh home, a real thread, a real loopback
// web server that records what it was asked.
#include "CallHome.h"
#include "GlobalData.h"
#include "LocalListener.h"
#include "Settings.h"
#include "SettingsPaths.h"
#include "TestEnvironment.h"
#include "UpdateServer.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <sys/stat.h>
#include <thread>
#include <unistd.h>

using TestEnvironment::pumpUntil;
using TestEnvironment::readFile;

namespace
{
const std::string offerBody = R"({"version":"2_3_11","update":true,"link":"/downloads/Morvane_2_3_11.pkg"})";
const std::string noOfferBody = R"({"version":"2_3_10","update":false,"link":""})";

std::string httpAnswer(const std::string& body, const std::string& status = "200 OK")
{
    return LocalListener::httpAnswer(body, status);
}

class CallHomeTest : public testing::Test
{
protected:
    void SetUp() override
    {
        // A home of its own below the run's home, so that no stored date leaks between cases.
        static const std::string runHome = TestEnvironment::home();
        static int counter = 0;
        home = runHome + "/callhome-" + std::to_string(++counter);
        ::mkdir(home.c_str(), 0755);
        ::setenv("Home", home.c_str(), 1);

        global.deviceSerial = "MRV4567";
        check.setClock([] { return CallHome::Today{10, 126}; });
        CallHome::downloadlink = "";
        CallHome::setQuestionHook(
            [this](const std::string& link)
            {
                questionOnMessageThread = juce::MessageManager::getInstance()->isThisTheMessageThread();
                questions.push_back(link);
            });
    }
    void TearDown() override { CallHome::setQuestionHook({}); }

    void pointAt(const LocalListener& server)
    {
        check.setBaseUrl("http://127.0.0.1:" + std::to_string(server.port()));
    }

    // Runs the check through its thread entry, as the editor does, against a server giving
    // this reply, and lets the message thread deliver what it posted. Returns the requests.
    std::vector<std::string> runCheck(const std::string& reply)
    {
        questions.clear();
        LocalListener server(LocalListener::Mode::answer, reply);
        pointAt(server);
        std::atomic<bool> finished{false};
        std::thread worker(
            [this, &finished]
            {
                delegatorCallHome(&check);
                finished = true;
            });
        EXPECT_TRUE(pumpUntil([&finished] { return finished.load(); }, 20000));
        worker.join();
        TestEnvironment::pump(50);
        EXPECT_FALSE(global.callHomeRunning.load());
        return server.requests();
    }

    std::string storedText() const { return readFile(CallHome::settingsFile()); }
    std::string log() const { return readFile(SettingsPaths::applicationFolder() + "/Morvane/Log.txt"); }

    std::string home;
    Settings settings;
    GlobalData global{&settings};
    CallHome check{&global, &settings};
    std::vector<std::string> questions;
    bool questionOnMessageThread = false;
};
} // namespace

TEST_F(CallHomeTest, DayAndYearDecideWhetherToAskAndTheDateIsWrittenFirst)
{
    EXPECT_EQ(CallHome::settingsFile(), home + "/.config/Velmora Audio Works/Bindewerk/UpdateSettings.ini");
    struct Case
    {
        const char* stored; // nullptr: no file; "/": a folder in the file's place
        bool asks;
        const char* afterwards; // nullptr: not readable
    };
    const Case cases[] = {
        {nullptr, true, "10:::126"},       // first check: no line end
        {"10:::126", false, "10:::126"},   // today already: not even an update waiting is fetched
        {"300:::125", true, "10:::126"},   // last year, later day: the year decides
        {"200:::127", false, "200:::127"}, // a later year with a later day: nothing today
        {"5:::127", true, "10:::126"},     // a later year with an earlier day: asks, rewrites
        {"9:::126", true, "10:::126"},     // yesterday
        {"12", true, "10:::126"},          // no ':': the year reads as 0
        {"", true, "10:::126"},            // empty counts as missing
        {"/", true, nullptr},              // the date cannot be stored; the check still runs
    };
    for (const auto& entry : cases)
    {
        SCOPED_TRACE(entry.stored != nullptr ? entry.stored : "no file");
        ::unlink(CallHome::settingsFile().c_str());
        if (entry.stored != nullptr && std::string(entry.stored) == "/")
            ::mkdir(CallHome::settingsFile().c_str(), 0755);
        else if (entry.stored != nullptr)
            TestEnvironment::writeFile(CallHome::settingsFile(), entry.stored);
        EXPECT_EQ(runCheck(httpAnswer(offerBody)).size(), entry.asks ? 1u : 0u);
        EXPECT_EQ(questions.size(), entry.asks ? 1u : 0u);
        if (entry.afterwards != nullptr)
        {
            EXPECT_EQ(storedText(), entry.afterwards);
        }
    }
}

TEST_F(CallHomeTest, IdentityTextComesFromTheSerialAndTooShortAsksNobody)
{
    struct Case
    {
        const char* serial;
        const char* identity; // nullptr: no request, but the day counts
    };
    const Case cases[] = {
        {"MRV4567", "4567"}, {"MRV", ""},     {"MRV12345678901234567890AB", "12345678901234567890"},
        {"", nullptr},       {"MR", nullptr},
    };
    for (const auto& entry : cases)
    {
        SCOPED_TRACE(entry.serial);
        ::unlink(CallHome::settingsFile().c_str());
        global.deviceSerial = entry.serial;
        const auto requests = runCheck(httpAnswer(noOfferBody));
        EXPECT_EQ(storedText(), "10:::126");
        const std::string line = entry.identity == nullptr
                                     ? ""
                                     : std::string("GET /Plugin/") + UpdateServer::platformWord() + "/" +
                                           entry.identity + "/" + settings.version + " HTTP/1.1\r\n";
        ASSERT_EQ(requests.size(), line.empty() ? 0u : 1u);
        EXPECT_EQ(requests.empty() ? "" : requests[0].substr(0, line.size()), line);
    }
}

TEST_F(CallHomeTest, OfferedUpdateRaisesTheQuestionOnTheMessageThread)
{
    runCheck(httpAnswer(offerBody));
    ASSERT_EQ(questions.size(), 1u);
    EXPECT_TRUE(questionOnMessageThread);
    EXPECT_EQ(questions[0], "/downloads/Morvane_2_3_11.pkg");
    EXPECT_EQ(CallHome::downloadlink.get(), "/downloads/Morvane_2_3_11.pkg");

    const auto text = log();
    for (const char* line : {"0:::Delete Choose Device and v3:::", "0:::Delete Choose Device and v3 done:::"})
        EXPECT_NE(text.find(line), std::string::npos) << line;
    const auto started = text.find("0:::Call Home Thread started:::");
    ASSERT_NE(started, std::string::npos);
    EXPECT_NE(text.find("0:::Call Home Thread ended:::", started), std::string::npos);

    // Without its blackboard the check does nothing at all.
    CallHome orphan;
    orphan.calling();
    EXPECT_EQ(delegatorCallHome(nullptr), nullptr);
}

TEST_F(CallHomeTest, RepliesThatOfferNothingStaySilent)
{
    const std::string replies[] = {
        httpAnswer(R"({"version":"2_3_11","update":true,"link":"/downloads/Morvane_404.pkg"})"),
        httpAnswer(noOfferBody),
        httpAnswer("update available: true"),                              // no commas
        httpAnswer("version,update true,link"),                            // no ':'
        httpAnswer(R"({"v":"1","update":true,"link":"@evil.example/x"})"), // not a path on our host
        httpAnswer(offerBody, "503 Service Unavailable"),
        "", // closed without a reply
    };
    for (const auto& reply : replies)
    {
        SCOPED_TRACE(reply);
        ::unlink(CallHome::settingsFile().c_str());
        CallHome::downloadlink = "/earlier";
        EXPECT_EQ(runCheck(reply).size(), 1u);
        EXPECT_TRUE(questions.empty());
        EXPECT_EQ(CallHome::downloadlink.get(), "/earlier");
    }
}

TEST_F(CallHomeTest, SilentServerEndsWithinTheTimeOutAndCanBeStopped)
{
    // Starts the check against a silent server, lets `interrupt` act, and returns how many
    // seconds after that the check was over.
    auto secondsToEnd = [this](const std::function<void(LocalListener&)>& interrupt)
    {
        LocalListener server(LocalListener::Mode::neverAnswer);
        pointAt(server);
        std::thread worker([this] { check.calling(); });
        EXPECT_TRUE(pumpUntil([this] { return global.callHomeRunning.load(); }, 2000));
        interrupt(server);
        const auto start = std::chrono::steady_clock::now();
        EXPECT_TRUE(pumpUntil([this] { return !global.callHomeRunning.load(); }, 20000));
        worker.join();
        return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    };
    EXPECT_LT(secondsToEnd([](LocalListener&) {}), UpdateServer::hardLimitMs / 1000.0 + 1.0);
    EXPECT_EQ(storedText(), "10:::126"); // the attempt counts for the day

    ::unlink(CallHome::settingsFile().c_str());
    const double afterQuit = secondsToEnd(
        [this](LocalListener& server)
        {
            pumpUntil([&server] { return server.requests().size() == 1; }, 3000);
            global.quitRequested = true; // the processor going away
        });
    // Well below the request's own time-out: the stop, not curl, ended it.
    EXPECT_LT(afterQuit, UpdateServer::requestTimeoutMs / 1000.0 - 1.0);
}

TEST(CallHomeQuestion, OnlyTheLeftButtonOpensTheDownloadAndNoDisplayBreaksNothing)
{
    // No hook: the real box is skipped on a headless host, and nothing may break.
    CallHome::offerDownload("/downloads/Morvane_2_3_11.pkg", "Morvane");
    TestEnvironment::pump(100);
    EXPECT_EQ(CallHome::downloadlink.get(), "/downloads/Morvane_2_3_11.pkg");
    juce::ModalComponentManager::getInstance()->cancelAllModalComponents();
    TestEnvironment::pump(50);

    std::vector<std::string> opened;
    CallHome::setOpenHook([&opened](const std::string& address) { opened.push_back(address); });
    CallHome::ManuelUpdate_AlertWindowResultWorker worker;
    worker.modalStateFinished(0);
    worker.modalStateFinished(2);
    EXPECT_TRUE(opened.empty());
    worker.modalStateFinished(1);
    ASSERT_EQ(opened.size(), 1u);
    EXPECT_EQ(opened[0], UpdateServer::productBase() + "/downloads/Morvane_2_3_11.pkg");

    // A link that would change the host is never opened.
    CallHome::downloadlink = "@evil.example/x";
    worker.modalStateFinished(1);
    EXPECT_EQ(opened.size(), 1u);
    CallHome::setOpenHook({});
}
