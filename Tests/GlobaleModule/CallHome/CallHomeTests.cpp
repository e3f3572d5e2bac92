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
#include <juce_events/juce_events.h>

#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <pthread.h>
#include <thread>
#include <unistd.h>

namespace
{
const std::string offerBody = R"({"version":"2_3_11","update":true,"link":"/downloads/Morvane_2_3_11.pkg"})";
const std::string noOfferBody = R"({"version":"2_3_10","update":false,"link":""})";
const CallHome::Today today{10, 126};

std::string httpAnswer(const std::string& body, const std::string& status = "200 OK")
{
    return LocalListener::httpAnswer(body, status);
}

// Every case gets a home of its own below the run's home, so no stored date leaks.
class CallHomeTest : public testing::Test
{
protected:
    void SetUp() override
    {
        runHome = TestEnvironment::home();
        static int counter = 0;
        const auto caseHome = runHome + "/callhome-" + std::to_string(++counter);
        ASSERT_EQ(std::system(("mkdir -p '" + caseHome + "'").c_str()), 0);
        ::setenv("Home", caseHome.c_str(), 1);

        global.deviceSerial = "MRV4567";
        check.setClock([] { return today; });
        CallHome::downloadlink = "";
        CallHome::setQuestionHook(
            [this](const std::string& link)
            {
                questionOnMessageThread = juce::MessageManager::getInstance()->isThisTheMessageThread();
                questions.push_back(link);
            });
    }
    void TearDown() override
    {
        CallHome::setQuestionHook({});
        CallHome::setOpenHook({});
        ::setenv("Home", runHome.c_str(), 1);
    }

    // Runs the check on a thread of its own, as the editor does, and lets the message
    // thread deliver what it posted.
    void runCheck(LocalListener* server)
    {
        if (server != nullptr)
            check.setBaseUrl("http://127.0.0.1:" + std::to_string(server->port()));
        std::atomic<bool> finished{false};
        std::thread worker(
            [this, &finished]
            {
                check.calling();
                finished = true;
            });
        const bool ended = TestEnvironment::pumpUntil([&finished] { return finished.load(); }, 20000);
        worker.join();
        ASSERT_TRUE(ended);
        TestEnvironment::pump(50);
        EXPECT_FALSE(global.callHomeRunning.load());
    }

    std::string storedText() const { return TestEnvironment::readFile(CallHome::settingsFile()); }
    void store(const std::string& text) const { TestEnvironment::writeFile(CallHome::settingsFile(), text); }

    std::string runHome;
    Settings settings;
    GlobalData global{&settings};
    CallHome check{&global, &settings};
    std::vector<std::string> questions;
    bool questionOnMessageThread = false;
};
} // namespace

TEST_F(CallHomeTest, FirstCheckWritesTheDateBeforeAsking)
{
    LocalListener server(LocalListener::Mode::answer, httpAnswer(noOfferBody));
    ASSERT_FALSE(SettingsPaths::isFile(CallHome::settingsFile()));
    runCheck(&server);

    EXPECT_EQ(server.requests().size(), 1u);
    EXPECT_EQ(storedText(), "10:::126"); // no line end
    const auto expected =
        TestEnvironment::home() + "/.config/Velmora Audio Works/Bindewerk/UpdateSettings.ini";
    EXPECT_EQ(CallHome::settingsFile(), expected);
    EXPECT_TRUE(questions.empty());
}

TEST_F(CallHomeTest, DayAndYearDecideWhetherToAsk)
{
    struct Case
    {
        const char* stored;
        bool asks;
        const char* afterwards;
    };
    const Case cases[] = {
        {"10:::126", false, "10:::126"},   // today already: not even an update waiting is fetched
        {"300:::125", true, "10:::126"},   // last year, later day: the year decides
        {"200:::127", false, "200:::127"}, // a later year with a later day: nothing today
        {"5:::127", true, "10:::126"},     // a later year with an earlier day: asks, rewrites
        {"9:::126", true, "10:::126"},     // yesterday
        {"12", true, "10:::126"},          // no ':': the year reads as 0
        {"", true, "10:::126"},            // empty counts as missing
    };
    for (const auto& entry : cases)
    {
        SCOPED_TRACE(entry.stored);
        questions.clear();
        LocalListener server(LocalListener::Mode::answer, httpAnswer(offerBody));
        store(entry.stored);
        runCheck(&server);
        EXPECT_EQ(server.requests().size(), entry.asks ? 1u : 0u);
        EXPECT_EQ(questions.size(), entry.asks ? 1u : 0u);
        EXPECT_EQ(storedText(), entry.afterwards);
    }
}

TEST_F(CallHomeTest, AFolderInPlaceOfTheFileCountsAsMissing)
{
    ASSERT_EQ(std::system(("mkdir -p '" + CallHome::settingsFile() + "'").c_str()), 0);
    LocalListener server(LocalListener::Mode::answer, httpAnswer(noOfferBody));
    runCheck(&server);
    EXPECT_EQ(server.requests().size(), 1u); // the date could not be stored; the check still ran
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
        LocalListener server(LocalListener::Mode::answer, httpAnswer(noOfferBody));
        runCheck(&server);
        EXPECT_EQ(storedText(), "10:::126");
        ASSERT_EQ(server.requests().size(), entry.identity != nullptr ? 1u : 0u);
        if (entry.identity == nullptr)
            continue;
        const std::string line = std::string("GET /Plugin/") + UpdateServer::platformWord() + "/" +
                                 entry.identity + "/" + settings.version + " HTTP/1.1\r\n";
        EXPECT_EQ(server.requests()[0].rfind(line, 0), 0u) << server.requests()[0];
    }
}

TEST_F(CallHomeTest, OfferedUpdateRaisesTheQuestionOnTheMessageThread)
{
    LocalListener server(LocalListener::Mode::answer, httpAnswer(offerBody));
    runCheck(&server);
    ASSERT_EQ(questions.size(), 1u);
    EXPECT_TRUE(questionOnMessageThread);
    EXPECT_EQ(questions[0], "/downloads/Morvane_2_3_11.pkg");
    EXPECT_EQ(CallHome::downloadlink.get(), "/downloads/Morvane_2_3_11.pkg");

    const auto log = TestEnvironment::readFile(SettingsPaths::applicationFolder() + "/Morvane/Log.txt");
    EXPECT_NE(log.find("0:::Delete Choose Device and v3:::"), std::string::npos);
    EXPECT_NE(log.find("0:::Delete Choose Device and v3 done:::"), std::string::npos);
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
        LocalListener server(LocalListener::Mode::answer, reply);
        runCheck(&server);
        EXPECT_EQ(server.requests().size(), 1u);
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
        check.setBaseUrl("http://127.0.0.1:" + std::to_string(server.port()));
        std::thread worker([this] { check.calling(); });
        EXPECT_TRUE(TestEnvironment::pumpUntil([this] { return global.callHomeRunning.load(); }, 2000));
        interrupt(server);
        const auto start = std::chrono::steady_clock::now();
        EXPECT_TRUE(TestEnvironment::pumpUntil([this] { return !global.callHomeRunning.load(); }, 20000));
        worker.join();
        return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    };
    const double untilTimeOut = secondsToEnd([](LocalListener&) {});
    std::printf("daily check against a silent server ended after %.2f s\n", untilTimeOut);
    EXPECT_LT(untilTimeOut, UpdateServer::hardLimitMs / 1000.0 + 1.0);
    EXPECT_EQ(storedText(), "10:::126"); // the attempt counts for the day

    ::unlink(CallHome::settingsFile().c_str());
    const double afterQuit = secondsToEnd(
        [this](LocalListener& server)
        {
            TestEnvironment::pumpUntil([&server] { return server.requests().size() == 1; }, 3000);
            global.quitRequested = true; // the processor going away
        });
    std::printf("daily check stopped %.2f s after quitRequested\n", afterQuit);
    // Well below the request's own time-out: the stop, not curl, ended it.
    EXPECT_LT(afterQuit, UpdateServer::requestTimeoutMs / 1000.0 - 1.0);
}

TEST_F(CallHomeTest, ThreadEntryLogsAndRunsTheCheck)
{
    LocalListener server(LocalListener::Mode::answer, httpAnswer(noOfferBody));
    check.setBaseUrl("http://127.0.0.1:" + std::to_string(server.port()));
    pthread_t thread{};
    ASSERT_EQ(pthread_create(&thread, nullptr, delegatorCallHome, &check), 0);
    pthread_join(thread, nullptr);

    EXPECT_EQ(server.requests().size(), 1u);
    EXPECT_FALSE(global.callHomeRunning.load());
    const auto log = TestEnvironment::readFile(SettingsPaths::applicationFolder() + "/Morvane/Log.txt");
    const auto started = log.find("0:::Call Home Thread started:::");
    const auto ended = log.find("0:::Call Home Thread ended:::");
    ASSERT_NE(started, std::string::npos);
    ASSERT_NE(ended, std::string::npos);
    EXPECT_LT(started, ended);

    // Without its blackboard the check does nothing at all.
    CallHome orphan;
    orphan.calling();
    EXPECT_EQ(delegatorCallHome(nullptr), nullptr);
}

TEST(CallHomeQuestion, OnlyTheLeftButtonOpensTheDownload)
{
    std::vector<std::string> opened;
    CallHome::setOpenHook([&opened](const std::string& address) { opened.push_back(address); });
    CallHome::downloadlink = "/downloads/Morvane_2_3_11.pkg";
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

TEST(CallHomeQuestion, WithoutADisplayTheRealBoxIsSkipped)
{
    // No hook: the real path runs. A headless host has no screen, and nothing may break.
    CallHome::offerDownload("/downloads/x.pkg", "Morvane");
    TestEnvironment::pump(100);
    EXPECT_EQ(CallHome::downloadlink.get(), "/downloads/x.pkg");
    juce::ModalComponentManager::getInstance()->cancelAllModalComponents();
    TestEnvironment::pump(50);
}
