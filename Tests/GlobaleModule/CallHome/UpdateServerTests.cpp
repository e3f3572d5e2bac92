// The parts that the daily and the manual check share: address, reply cutting, and the
// request's bounds against real loopback servers.
#include "CallHome/UpdateHost.h"
#include "CallHome/UpdateServer.h"
#include "LocalListener.h"

#include <gtest/gtest.h>

#include <chrono>
#include <tuple>

TEST(UpdateAddress, SerialCannotReshapeThePath)
{
    // The 2, 3, 7 and 25 character serials are checked on the wire by the daily check's tests.
    EXPECT_EQ(UpdateServer::identityText("MRV1/../x?y"), "1%2F..%2Fx%3Fy");
#if defined(__linux__)
    EXPECT_STREQ(UpdateServer::platformWord(), "Linux");
#endif
    EXPECT_EQ(UpdateServer::productBase(), std::string("https://") + UpdateHost::name);
}

TEST(UpdateReply, ThreeFieldsAreCutAndMissingSeparatorsEndTheReading)
{
    // Reply, cut, available, link.
    const std::tuple<const char*, bool, bool, const char*> cases[] = {
        {R"({"version":"2_3_11","update":true,"link":"/dl/Morvane.pkg"})", true, true, "/dl/Morvane.pkg"},
        {R"({"version":"2_3_10","update":false,"link":""})", true, false, ""},
        {R"({"true":"x","update":no,"link":"/a"})", true, false, "/a"}, // the first field is never read
        {R"(a,b:true,c:")", true, true, ""}, // a link without its closing quote is empty
        {"", false, false, ""},
        {"update:true link:/x", false, false, ""},         // no comma
        {"version,update true", false, false, ""},         // no ':' behind it
        {"version,update:true", false, false, ""},         // no second comma
        {"version,update:true,link /x", false, false, ""}, // no ':' in the link
    };
    for (const auto& [reply, cut, available, link] : cases)
    {
        UpdateServer::Offer offer;
        const bool wasCut = UpdateServer::cutReply(reply, offer);
        EXPECT_EQ(std::tie(wasCut, offer.available, offer.link), std::tie(cut, available, link)) << reply;
    }
}

// "404" in a reply and a link off our host are checked on the wire by the daily check's tests.
TEST(UpdateReply, ErrorsAndLinks)
{
    EXPECT_TRUE(UpdateServer::isServerPath("/dl/Morvane_2_3_11.pkg?x=1"));
    for (const char* link : {"", "@evil.example/x", ".evil.example/x", "/a b", "/a\"b", "/a\nb"})
        EXPECT_FALSE(UpdateServer::isServerPath(link)) << link;
}

// Body, status and a peer that closes are checked through the daily check's own tests.
TEST(UpdateRequest, ATricklingServerIsCancelledAtTheHardLimit)
{
    LocalListener trickle(LocalListener::Mode::trickle);
    std::string reply;
    const auto start = std::chrono::steady_clock::now();
    EXPECT_EQ(UpdateServer::fetch("http://127.0.0.1:" + std::to_string(trickle.port()) + "/x", reply, {},
                                  2000, 1500),
              UpdateServer::stopped);
    EXPECT_LT(std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count(), 4.0);
    EXPECT_GT(trickle.bytesTrickled(), 100); // it really kept curl busy
}
