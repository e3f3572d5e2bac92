// The parts that the daily and the manual check share: address, reply cutting, and the
// request's bounds against real loopback servers.
#include "LocalListener.h"
#include "UpdateHost.h"
#include "UpdateServer.h"

#include <gtest/gtest.h>

#include <chrono>
#include <cstdio>

namespace
{
std::string loopback(int port)
{
    return "http://127.0.0.1:" + std::to_string(port);
}
} // namespace

TEST(UpdateAddress, SerialCannotReshapeThePath)
{
    // The 7, 3 and 25 character serials are checked on the wire by the daily check's tests.
    EXPECT_EQ(UpdateServer::identityText("MR"), "");
    EXPECT_EQ(UpdateServer::identityText("MRV1/../x?y"), "1%2F..%2Fx%3Fy");
#if defined(__linux__)
    EXPECT_STREQ(UpdateServer::platformWord(), "Linux");
#endif
    EXPECT_EQ(UpdateServer::productBase(), std::string("https://") + UpdateHost::name);
}

TEST(UpdateReply, ThreeFieldsAreCut)
{
    UpdateServer::Offer offer;
    ASSERT_TRUE(
        UpdateServer::cutReply(R"({"version":"2_3_11","update":true,"link":"/dl/Morvane.pkg"})", offer));
    EXPECT_TRUE(offer.available);
    EXPECT_EQ(offer.link, "/dl/Morvane.pkg");

    ASSERT_TRUE(UpdateServer::cutReply(R"({"version":"2_3_10","update":false,"link":""})", offer));
    EXPECT_FALSE(offer.available);
    EXPECT_EQ(offer.link, "");

    // The first field is never read, even when it says "true".
    ASSERT_TRUE(UpdateServer::cutReply(R"({"true":"x","update":no,"link":"/a"})", offer));
    EXPECT_FALSE(offer.available);

    // A link without its closing quote is empty, never a read past the end.
    ASSERT_TRUE(UpdateServer::cutReply(R"(a,b:true,c:")", offer));
    EXPECT_TRUE(offer.available);
    EXPECT_EQ(offer.link, "");
}

TEST(UpdateReply, MissingSeparatorsEndTheReading)
{
    UpdateServer::Offer offer;
    EXPECT_FALSE(UpdateServer::cutReply("", offer));
    EXPECT_FALSE(UpdateServer::cutReply("update:true link:/x", offer));         // no comma
    EXPECT_FALSE(UpdateServer::cutReply("version,update true", offer));         // no ':' behind it
    EXPECT_FALSE(UpdateServer::cutReply("version,update:true", offer));         // no second comma
    EXPECT_FALSE(UpdateServer::cutReply("version,update:true,link /x", offer)); // no ':' in the link
    EXPECT_FALSE(offer.available);
}

TEST(UpdateReply, ErrorsAndLinks)
{
    EXPECT_TRUE(UpdateServer::reportsError(R"({"v":"1","update":true,"link":"/dl/x404.pkg"})"));
    EXPECT_TRUE(UpdateServer::reportsError("404 Not Found"));
    EXPECT_FALSE(UpdateServer::reportsError(R"({"v":"2_3_11","update":true,"link":"/dl/x.pkg"})"));

    EXPECT_TRUE(UpdateServer::isServerPath("/dl/Morvane_2_3_11.pkg?x=1"));
    EXPECT_FALSE(UpdateServer::isServerPath(""));
    EXPECT_FALSE(UpdateServer::isServerPath("@evil.example/x")); // would change the host
    EXPECT_FALSE(UpdateServer::isServerPath(".evil.example/x"));
    EXPECT_FALSE(UpdateServer::isServerPath("/a b"));
    EXPECT_FALSE(UpdateServer::isServerPath("/a\"b"));
    EXPECT_FALSE(UpdateServer::isServerPath("/a\nb"));
}

TEST(UpdateRequest, ReadsTheBodyAndRefusesHttpErrors)
{
    const std::string body = R"({"v":"2_3_11","update":true,"link":"/dl/x.pkg"})";
    struct Case
    {
        LocalListener::Mode mode;
        std::string answer;
        int result;
    };
    const Case cases[] = {
        {LocalListener::Mode::answer, LocalListener::httpAnswer(body), UpdateServer::received},
        {LocalListener::Mode::answer, LocalListener::httpAnswer(body, "500 Internal Server Error"),
         UpdateServer::errorStatus},
        {LocalListener::Mode::closeAtOnce, "", UpdateServer::noStream},
    };
    for (const auto& entry : cases)
    {
        SCOPED_TRACE(entry.result);
        LocalListener server(entry.mode, entry.answer);
        std::string reply;
        EXPECT_EQ(UpdateServer::fetch(loopback(server.port()) + "/Plugin/Linux/1/2", reply), entry.result);
        if (entry.result != UpdateServer::received)
            continue;
        EXPECT_EQ(reply, body);
        ASSERT_EQ(server.requests().size(), 1u);
        EXPECT_EQ(server.requests()[0].rfind("GET /Plugin/Linux/1/2 HTTP/1.1\r\n", 0), 0u);
    }
}

TEST(UpdateRequest, TricklingServerIsCancelledAtTheHardLimit)
{
    LocalListener server(LocalListener::Mode::trickle);
    std::string reply;
    const auto start = std::chrono::steady_clock::now();
    const int result = UpdateServer::fetch(loopback(server.port()) + "/x", reply, {}, 2000, 1500);
    const double seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    std::printf("trickling update server: cancelled after %.2f s, %d bytes received\n", seconds,
                server.bytesTrickled());
    EXPECT_EQ(result, UpdateServer::stopped);
    EXPECT_GT(server.bytesTrickled(), 100); // it really kept curl busy
    EXPECT_LT(seconds, 4.0);
}
