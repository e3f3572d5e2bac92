// The daily check end to end: a real file in a fresh home, a real thread, a real loopback
// web server that records what it was asked.
#include "CallHome/CallHome.h"
#include "CallHome/UpdateServer.h"
#include "GlobalData/GlobalData.h"
#include "GlobalData/Settings.h"
#include "Ground/SettingsPaths.h"
#include "LocalListener.h"
#include "TestEnvironment.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <functional>
#include <sys/stat.h>
#include <thread>
#include <tuple>
#include <unistd.h>

using TestEnvironment::pumpUntil;
using TestEnvironment::readFile;

namespace
{
const std::string offerBody = R"({"version":"2_3_11","update":true,"link":"/downloads/Morvane_2_3_11.pkg"})";
const std::string offer = LocalListener::httpAnswer(offerBody);
const std::string noOfferBody = R"({"version":"2_3_10","update":false,"link":""})";

class CallHomeTest : public testing::Test
{
protected:
    void SetUp() override
    {
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

    // Runs the check through its thread entry, as the editor does, against a server in this
    // mode; `during` acts once it runs. Lets the message thread deliver what it posted, keeps
    // the seconds from `during` to the end, and returns the requests.
    std::vector<std::string> runCheck(const std::string& reply,
                                      LocalListener::Mode mode = LocalListener::Mode::answer,
                                      const std::function<void(LocalListener&)>& during = {})
    {
        questions.clear();
        LocalListener server(mode, reply);
        check.setBaseUrl("http://127.0.0.1:" + std::to_string(server.port()));
        std::atomic<bool> finished{false};
        std::thread worker(
            [this, &finished]
            {
                delegatorCallHome(&check);
                finished = true;
            });
        if (during)
        {
            EXPECT_TRUE(pumpUntil([this] { return global.callHomeRunning.load(); }, 2000));
            during(server);
        }
        const auto start = std::chrono::steady_clock::now();
        EXPECT_TRUE(pumpUntil([&finished] { return finished.load(); }, 20000));
        seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
        worker.join();
        TestEnvironment::pump(50);
        EXPECT_FALSE(global.callHomeRunning.load());
        return server.requests();
    }

    // A home of its own, so that no stored date leaks between cases.
    const std::string home = TestEnvironment::newHome();
    const std::string file = CallHome::settingsFile();
    Settings settings;
    GlobalData global{&settings};
    CallHome check{&global, &settings};
    std::vector<std::string> questions;
    bool questionOnMessageThread = false;
    double seconds = 0.0;
};
} // namespace

TEST_F(CallHomeTest, DayAndYearDecideWhetherToAskAndTheDateIsWrittenFirst)
{
    EXPECT_EQ(CallHome::settingsFile(), home + "/.config/Velmora Audio Works/Bindewerk/UpdateSettings.ini");
    // Stored text (nullptr: no file; "/": a folder in its place), asks, text afterwards (if readable).
    const std::tuple<const char*, bool, const char*> cases[] = {
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
    for (const auto& [stored, asks, afterwards] : cases)
    {
        SCOPED_TRACE(stored != nullptr ? stored : "no file");
        ::unlink(file.c_str());
        if (stored != nullptr && std::string(stored) == "/")
            ::mkdir(file.c_str(), 0755);
        else if (stored != nullptr)
            TestEnvironment::writeFile(file, stored);
        EXPECT_EQ(runCheck(offer).size(), asks ? 1u : 0u);
        EXPECT_EQ(questions.size(), asks ? 1u : 0u);
        EXPECT_EQ(afterwards != nullptr ? readFile(file) : "", afterwards != nullptr ? afterwards : "");
    }
}

TEST_F(CallHomeTest, IdentityTextComesFromTheSerialAndTooShortAsksNobody)
{
    // Serial, identity text (nullptr: no request, but the day counts).
    const std::pair<const char*, const char*> cases[] = {
        {"MRV4567", "4567"}, {"MRV", ""},     {"MRV12345678901234567890AB", "12345678901234567890"},
        {"", nullptr},       {"MR", nullptr},
    };
    for (const auto& [serial, identity] : cases)
    {
        SCOPED_TRACE(serial);
        ::unlink(file.c_str());
        global.deviceSerial = serial;
        const auto requests = runCheck(LocalListener::httpAnswer(noOfferBody));
        EXPECT_EQ(readFile(file), "10:::126");
        const std::string line = identity == nullptr
                                     ? ""
                                     : std::string("GET /Plugin/") + UpdateServer::platformWord() + "/" +
                                           identity + "/" + settings.version + " HTTP/1.1\r\n";
        ASSERT_EQ(requests.size(), line.empty() ? 0u : 1u);
        EXPECT_EQ(requests.empty() ? "" : requests[0].substr(0, line.size()), line);
    }
}

TEST_F(CallHomeTest, OfferedUpdateRaisesTheQuestionOnTheMessageThread)
{
    runCheck(offer);
    EXPECT_EQ(questions, std::vector<std::string>{"/downloads/Morvane_2_3_11.pkg"});
    EXPECT_TRUE(questionOnMessageThread);
    EXPECT_EQ(CallHome::downloadlink.get(), "/downloads/Morvane_2_3_11.pkg");
    const auto text = readFile(SettingsPaths::applicationFolder() + "/Morvane/Log.txt");
    std::size_t at = 0; // each line behind the one before
    for (const char* line : {"0:::Call Home Thread started:::", "0:::Delete Choose Device and v3:::",
                             "0:::Delete Choose Device and v3 done:::", "0:::Call Home Thread ended:::"})
        EXPECT_NE(at = text.find(line, at), std::string::npos) << line;

    // Without its blackboard the check does nothing at all.
    CallHome orphan;
    orphan.calling();
    EXPECT_EQ(delegatorCallHome(nullptr), nullptr);
}

TEST_F(CallHomeTest, RepliesThatOfferNothingStaySilent)
{
    const std::string bodies[] = {
        R"({"version":"2_3_11","update":true,"link":"/downloads/Morvane_404.pkg"})",
        noOfferBody,
        "update available: true",                              // no commas
        "version,update true,link",                            // no ':'
        R"({"v":"1","update":true,"link":"@evil.example/x"})", // not a path on our host
    };
    std::vector<std::string> replies{"", LocalListener::httpAnswer(offerBody, "503 Service Unavailable")};
    for (const auto& body : bodies)
        replies.push_back(LocalListener::httpAnswer(body));
    for (const auto& reply : replies)
    {
        SCOPED_TRACE(reply);
        ::unlink(file.c_str());
        CallHome::downloadlink = "/earlier";
        EXPECT_EQ(runCheck(reply).size(), 1u);
        EXPECT_TRUE(questions.empty());
        EXPECT_EQ(CallHome::downloadlink.get(), "/earlier");
    }
}

TEST_F(CallHomeTest, SilentServerEndsWithinTheTimeOutAndCanBeStopped)
{
    const auto silent = LocalListener::Mode::neverAnswer;
    runCheck("", silent, [](LocalListener&) {});
    EXPECT_LT(seconds, UpdateServer::hardLimitMs / 1000.0 + 1.0);
    EXPECT_EQ(readFile(file), "10:::126"); // the attempt counts for the day

    ::unlink(file.c_str());
    runCheck("", silent,
             [this](LocalListener& server)
             {
                 pumpUntil([&server] { return server.requests().size() == 1; }, 3000);
                 global.quitRequested = true; // the processor going away
             });
    // Well below the request's own time-out: the stop, not curl, ended it.
    EXPECT_LT(seconds, UpdateServer::requestTimeoutMs / 1000.0 - 1.0);
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
    for (int button : {0, 2, 1})
        worker.modalStateFinished(button);
    EXPECT_EQ(opened,
              std::vector<std::string>{UpdateServer::productBase() + "/downloads/Morvane_2_3_11.pkg"});

    // A link that would change the host is never opened.
    CallHome::downloadlink = "@evil.example/x";
    worker.modalStateFinished(1);
    EXPECT_EQ(opened.size(), 1u);
    CallHome::setOpenHook({});
}
