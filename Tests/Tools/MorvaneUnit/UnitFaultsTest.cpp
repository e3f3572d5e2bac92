// Each HTTP fault and vanishing do what they say, and stop() stays bounded under them.
#include "UnitTestSupport.h"

using namespace morvane;
using namespace morvane::test;

namespace
{
using UnitFaults = UnitCase<4>;

// True when the server closes fd within ms without sending a byte.
bool closedWithoutAByte(int fd, int ms)
{
    char c;
    return readable(fd, ms) && ::recv(fd, &c, 1, MSG_DONTWAIT) == 0;
}

TEST_F(UnitFaults, RefusedCloseAndHangHoldUntilSwitchedOff)
{
    EXPECT_EQ(unit.command("fault refused on"), "ok");
    ASSERT_TRUE(waitUntil([&] { return get("/info").code == -6; }, 1000));
    unit.command("fault refused off");
    ASSERT_TRUE(waitUntil([&] { return get("/info").code == 1; }, 1000));

    unit.command("fault close on");
    unit.clearRecords();
    EXPECT_EQ(get("/dinfo", true).code, -8);
    const HttpReply whole = get("/info");
    EXPECT_EQ(whole.code, 1);
    EXPECT_TRUE(whole.text.empty());
    EXPECT_EQ(unit.requests().size(), 2u);
    unit.command("fault close off");

    unit.command("fault hang on");
    unit.clearRecords();
    const int fd = sendGet(cfg.address, cfg.httpPort, "/dinfo");
    ASSERT_GE(fd, 0);
    ASSERT_TRUE(waitUntil([&] { return !unit.requests().empty(); }, 1000)) << "the request is read";
    EXPECT_FALSE(closedWithoutAByte(fd, 300)) << "nothing comes, the connection stays";
    unit.command("fault hang off");
    EXPECT_TRUE(closedWithoutAByte(fd, 1000));
    ::close(fd);
}

TEST_F(UnitFaults, SlowAnswersAByteAtATimeAndStopStaysBounded)
{
    const std::string normal = get("/dinfo").text;
    unit.command("fault slow on 2");
    EXPECT_EQ(get("/dinfo", true).text, "H") << "one read gets one byte";
    // A loaded machine stretches the pauses between bytes: a long bound for the whole page.
    EXPECT_EQ(httpGet(cfg.address, cfg.httpPort, "/dinfo", false, 15000).text, normal) << "the page is whole";

    unit.command("fault slow on 500");
    unit.clearRecords();
    std::thread client([&] { get("/info"); });
    ASSERT_TRUE(waitUntil([&] { return !unit.requests().empty(); }, 1000));
    const auto start = std::chrono::steady_clock::now();
    unit.stop();
    const auto took = std::chrono::steady_clock::now() - start;
    client.join();
    EXPECT_LT(took, std::chrono::seconds(2));
}

TEST_F(UnitFaults, IdentityFaultsChangeThePages)
{
    const auto dinfo = [&]
    {
        return get("/dinfo", true).text;
    };
    unit.command("fault shortdinfo on");
    EXPECT_LT(dinfo().size(), 200u);
    EXPECT_EQ(serialIn(dinfo()), cfg.serial);
    unit.command("fault shortdinfo off");

    unit.command("fault product on");
    std::string page = dinfo();
    EXPECT_GE(page.size(), 200u);
    EXPECT_EQ(page.find("MORVAN"), std::string::npos) << "another product names nothing of ours";
    EXPECT_EQ(serialIn(page).size(), 10u);
    unit.command("fault product off");

    unit.command("fault serial on");
    page = dinfo();
    EXPECT_NE(serialIn(page), cfg.serial);
    EXPECT_EQ(page.find(cfg.serial), std::string::npos) << "the stored serial is found nowhere";
    EXPECT_NE(page.find("MORVAN"), std::string::npos) << "still the product";
    EXPECT_EQ(unit.name(), serialIn(page));
    unit.command("fault serial on MORVAN7777");
    EXPECT_EQ(serialIn(dinfo()), "MORVAN7777");
    unit.command("fault serial off");
    EXPECT_EQ(serialIn(dinfo()), cfg.serial);

    unit.command("fault noport on");
    page = get("/info").text;
    EXPECT_EQ(page.find("port"), std::string::npos);
    EXPECT_NE(page.find("\"comp\":["), std::string::npos);
}

TEST_F(UnitFaults, VanishClosesEverySocketAndReturnKeepsTheState)
{
    UdpPort status("0.0.0.0", cfg.statusPort);
    UdpPort finder("0.0.0.0", testPort(18));
    const auto discovered = [&](int ms)
    {
        finder.sendTo(cfg.address, cfg.discoveryPort, "Ciao Mac ist hier");
        return finder.receive(ms).has_value();
    };
    unit.command("set 2 600");
    ASSERT_EQ(get("/info").code, 1);
    ASSERT_TRUE(status.receive(1000).has_value());

    EXPECT_EQ(unit.command("vanish"), "ok");
    EXPECT_TRUE(unit.fault(sim::Fault::Vanish));
    EXPECT_EQ(get("/info").code, -6);
    status.drain();
    EXPECT_FALSE(status.receive(150).has_value());
    EXPECT_FALSE(discovered(200));

    EXPECT_EQ(unit.command("return"), "ok");
    const HttpReply back = get("/info");
    ASSERT_EQ(back.code, 1);
    EXPECT_NE(back.text.find("[600, 1023, 0, 0, 0]"), std::string::npos);
    EXPECT_TRUE(status.receive(1000).has_value());
    EXPECT_TRUE(discovered(1000));
    EXPECT_TRUE(logged(" VANISH "));
    EXPECT_TRUE(logged(" RETURN "));
}
} // namespace
