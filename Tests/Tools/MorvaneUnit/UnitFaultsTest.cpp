// HTTP faults and vanishing (discovery's part: in the studio network); stop() stays bounded under them.
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

TEST_F(UnitFaults, RefusedCloseHangAndSlowHoldUntilSwitchedOffAndStopStaysBounded)
{
    const std::string normal = text("/dinfo");
    EXPECT_EQ(unit.command("fault refused on"), "ok");
    ASSERT_TRUE(waitUntil([&] { return !get("/info"); }, 1000));
    unit.command("fault refused off");
    ASSERT_TRUE(waitUntil([&] { return get("/info").has_value(); }, 1000));
    unit.command("fault close on");
    unit.clearRecords();
    EXPECT_EQ(get("/dinfo", true), "");
    EXPECT_EQ(get("/info"), "");
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
    unit.command("fault slow on 2");
    EXPECT_EQ(text("/dinfo", true), "H") << "one read gets one byte";
    // A loaded machine stretches the pauses between bytes: a long bound for the whole page.
    EXPECT_EQ(httpGet(cfg.address, cfg.httpPort, "/dinfo", false, 15000), normal) << "the page is whole";
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
    unit.command("fault shortdinfo on");
    std::string page = text("/dinfo", true);
    EXPECT_TRUE(page.size() < 200 && serialIn(page) == cfg.serial) << page;
    unit.command("fault shortdinfo off");
    unit.command("fault product on");
    page = text("/dinfo", true);
    EXPECT_TRUE(page.size() >= 200 && page.find("MORVAN") == std::string::npos && serialIn(page).size() == 10)
        << "another product names nothing of ours: " << page;
    unit.command("fault product off");
    unit.command("fault serial on");
    page = text("/dinfo", true);
    EXPECT_EQ(page.find(cfg.serial), std::string::npos) << "the stored serial is found nowhere";
    EXPECT_TRUE(serialIn(page).rfind("MORVAN", 0) == 0 && serialIn(page) == unit.name())
        << "still the product";
    unit.command("fault serial on MORVAN7777");
    EXPECT_EQ(serialIn(text("/dinfo", true)), "MORVAN7777");
    unit.command("fault serial off");
    EXPECT_EQ(serialIn(text("/dinfo", true)), cfg.serial);
    unit.command("fault noport on");
    page = text("/info");
    EXPECT_TRUE(page.find("port") == std::string::npos && page.find("\"comp\":[") != std::string::npos)
        << page;
}

TEST_F(UnitFaults, VanishClosesEverySocketAndReturnKeepsTheState)
{
    UdpPort status("0.0.0.0", cfg.statusPort);
    unit.command("set 2 600");
    ASSERT_TRUE(get("/info"));
    ASSERT_TRUE(status.receive(1000));
    EXPECT_EQ(unit.command("vanish"), "ok");
    EXPECT_FALSE(get("/info"));
    status.drain();
    EXPECT_FALSE(status.receive(150));
    EXPECT_EQ(unit.command("return"), "ok");
    EXPECT_NE(text("/info").find("[600, 1023, 0, 0, 0]"), std::string::npos);
    EXPECT_TRUE(status.receive(1000));
    EXPECT_TRUE(logged(" VANISH ") && logged(" RETURN "));
}
} // namespace
