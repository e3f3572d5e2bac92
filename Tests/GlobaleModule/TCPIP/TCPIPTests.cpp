// The transport against real listeners on loopback.
#include "LocalListener.h"
#include "TestEnvironment.h"
#include "TransportRig.h"

#include <gtest/gtest.h>

#include <chrono>
#include <cstdlib>
#include <thread>

namespace
{
double secondsOf(const std::function<void()>& work)
{
    const auto start = std::chrono::steady_clock::now();
    work();
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}
} // namespace

TEST(Transport, SendsExactlyTheRequestBytesAndFailuresGiveTheirCodesKeepingTheOldReply)
{
    LocalListener listener(LocalListener::Mode::answer, "HTTP/1.1 200 OK\r\n\r\nhello");
    Transport t(listener.port());
    EXPECT_EQ(t.tcp.GetSite("", true), -3);
    ASSERT_EQ(t.tcp.GetSite("/knob?3/50", true), 1);
    EXPECT_EQ(listener.accepted(), 1) << "the empty path opened a socket";
    ASSERT_EQ(listener.requests().size(), 1u);
    EXPECT_EQ(listener.requests()[0],
              "GET /knob?3/50 HTTP/1.1\r\nHost:127.0.0.1\r\nConnection: close\r\n\r\n");
    EXPECT_EQ(t.tcp.getReply(), "HTTP/1.1 200 OK\r\n\r\nhello");
    const auto response = t.tcp.Fetch("/info", false);
    EXPECT_EQ(std::to_string(response.code) + response.text, "1HTTP/1.1 200 OK\r\n\r\nhello");
    t.tcp.setPort(LocalListener(LocalListener::Mode::closeAtOnce).port()); // nobody listens there any more
    EXPECT_EQ(t.tcp.GetSite("/dinfo", true), -6);
    EXPECT_EQ(t.tcp.CheckSocketConnection(), -1);
    EXPECT_EQ(t.tcp.getReply(), "HTTP/1.1 200 OK\r\n\r\nhello");
    LocalListener closing(LocalListener::Mode::closeAtOnce);
    t.tcp.setPort(closing.port());
    EXPECT_EQ(t.tcp.GetSite("/dinfo", true), -8);
    EXPECT_EQ(t.tcp.getReply(), "HTTP/1.1 200 OK\r\n\r\nhello");
    // Reading to the end, a peer that closes at once is an empty success.
    EXPECT_EQ(t.tcp.GetSite("/info", false), 1);
    EXPECT_EQ(t.tcp.getReply(), "");
    EXPECT_EQ(t.tcp.CheckSocketConnection(), 1);
}

TEST(Transport, ASilentPeerIsBoundedInTimeAndLetsAClosingInstanceGo)
{
    LocalListener silent(LocalListener::Mode::neverAnswer);
    Transport t(silent.port());
    int single = 0, whole = 0;
    const double seconds = secondsOf(
        [&]
        {
            single = t.tcp.GetSite("/info", true);
            whole = t.tcp.GetSite("/info", false);
        });
    EXPECT_EQ(single, -8);
    EXPECT_EQ(whole, -8);
    EXPECT_LT(seconds, 2.0 * (TCPIP::responseTimeoutMs / 1000.0) + 2.0);
    std::thread quitter(
        [&]
        {
            std::this_thread::sleep_for(std::chrono::milliseconds(300));
            t.global.quitRequested = true;
        });
    EXPECT_LT(secondsOf([&] { EXPECT_LT(t.tcp.GetSite("/info", true), 0); }), 1.5);
    quitter.join();
}

TEST(Transport, SetIpStoresTheAddressUnlessQuitting)
{
    const auto file = TestEnvironment::newHome() + "/.config/Velmora Audio Works/Morvane/1/IP.txt";
    Transport t(80, "10.1.2.3");
    // The address in use, in the list of taken ones, and in the file.
    auto stored = [&]
    {
        return t.tcp.getIp() + " " + t.global.takenIps.get(1) + " " + TestEnvironment::readFile(file);
    };
    EXPECT_EQ(stored(), "10.1.2.3 10.1.2.3 10.1.2.3");
    t.global.quitRequested = true;
    t.tcp.SetIP("10.9.9.9");
    EXPECT_EQ(stored(), "10.1.2.3 10.1.2.3 10.1.2.3");
}

// An address on a link where nobody answers: the attempt neither succeeds nor fails, and
// only the one-second bound ends it. The link is a veth pair inside this test's own
// network namespace, so nothing leaves the machine.
TEST(Transport, ConnectionTestGivesUpAfterOneSecondOnASilentAddress)
{
    if (!TestEnvironment::canConfigureNetwork())
    {
        if (TestEnvironment::onCi())
            FAIL() << "CI runs as root";
        GTEST_SKIP() << "needs root to make a link";
    }
    std::system("ip link add mvsilent0 type veth peer name mvsilent1 2>/dev/null;"
                " ip addr add 192.0.2.1/24 dev mvsilent0 2>/dev/null; ip link set mvsilent0 up; ip link set "
                "mvsilent1 up");
    Transport t(80, "192.0.2.77");
    int result = 0;
    const double seconds = secondsOf([&] { result = t.tcp.CheckSocketConnection(); });
    std::system("ip link del mvsilent0 2>/dev/null");
    EXPECT_EQ(result, -1);
    EXPECT_GT(seconds, 0.9);
    EXPECT_LT(seconds, 1.8);
}
