// Discovery on loopback and, on a broadcast, in the studio network; the program itself in a
// namespace, driven through its control pipe and followed through its log.
#include "UnitTestSupport.h"

#include <deque>
#include <numeric>
#include <set>

using namespace morvane;
using namespace morvane::test;

// Network namespaces need root; in CI (CI set) these cases run and fail without it.
#define REQUIRE_STUDIO_NET()                                                                                 \
    if (!StudioNet::usable() && !std::getenv("CI"))                                                          \
    GTEST_SKIP() << "the studio network needs root"

namespace
{
constexpr const char* request = "Ciao Mac ist hier";

// The finder's reading: past the first ":", past the first quote, up to the next quote.
std::string nameIn(const std::string& reply)
{
    std::string text = reply.substr(std::min(reply.size(), reply.find(':')));
    text.erase(0, text.find('"') == std::string::npos ? 0 : text.find('"') + 1);
    return text.substr(0, text.find('"'));
}

// The replies (at most 16) that come each within ms of the last as "address name" lines by address.
std::string collect(UdpPort& port, int ms)
{
    std::multiset<std::string> lines;
    for (auto d = port.receive(ms); d && lines.size() < 16; d = port.receive(ms))
        lines.insert(d.from + " " + nameIn(d.data) + (d.data.size() > 512 ? " (over 512 bytes)\n" : "\n"));
    return std::accumulate(lines.begin(), lines.end(), std::string());
}

TEST(UnitDiscovery, SeveralUnitsInOneProcessEachAnswerOnceAndOnlyTheRequest)
{
    std::deque<sim::Unit> units;
    for (int i = 6; i <= 8; ++i)
        ASSERT_TRUE(units.emplace_back(loopbackConfig(i)).start()) << units.back().startError();
    UdpPort finder("0.0.0.0", testPort(9)); // not a status port of these units
    const uint16_t port = testPort(19);
    ASSERT_TRUE(finder.sendTo("127.0.0.1", port, request));
    EXPECT_EQ(collect(finder, 300), "127.0.0.16 MORVAN0006\n127.0.0.17 MORVAN0007\n127.0.0.18 MORVAN0008\n");
    for (const sim::Unit& unit : units)
        EXPECT_EQ(
            serialIn(httpGet(unit.config().address, unit.config().httpPort, "/dinfo", true).value_or("")),
            unit.config().serial);
    finder.sendTo("127.0.0.17", port, request);
    EXPECT_EQ(collect(finder, 300), "127.0.0.17 MORVAN0007\n") << "only the unit asked answers";
    for (const char* other : {"Ciao Mac ist hie", "Ciao Mac ist hier!", "ciao mac ist hier"})
        finder.sendTo("127.0.0.1", port, other);
    EXPECT_EQ(collect(finder, 300), "");
}

// Unit 1 runs in this process, unit 2 is the program, driven through its control pipe.
TEST(UnitStudioNet, ABroadcastFindsBothUnitsAndTheyServeTheComputer)
{
    REQUIRE_STUDIO_NET();
    StudioNet net(2);
    ASSERT_TRUE(net.ok()) << net.error();
    sim::UnitConfig cfg;
    cfg.address = net.unitAddress(1);
    sim::Unit unit(cfg);
    bool started = false;
    ASSERT_TRUE(net.runIn(net.unitNamespace(1), [&] { started = unit.start(); }));
    ASSERT_TRUE(started) << unit.startError();
    const std::string files = scratchFolder() + "/program";
    const std::string log = files + "-u2.log", control = files + "-u2.ctl";
    std::remove(log.c_str());
    std::remove(control.c_str());
    const pid_t pid = net.spawnIn(net.unitNamespace(2),
                                  {MORVANE_UNIT_EXE, "--address", net.unitAddress(2), "--serial",
                                   "MORVAN0002", "--log", log, "--control", control},
                                  files + "-u2.out");
    ASSERT_GT(pid, 0);
    ASSERT_TRUE(waitUntil([&] { return fileHolds(log, " START "); }, 5000)) << "see " << files << "-u2.out";

    ScopedNamespace inHost(net.hostNamespace()); // from here on this thread is the computer
    ASSERT_TRUE(inHost.ok());
    const auto search = [&]
    {
        UdpPort port("0.0.0.0", 4028);
        port.sendTo(net.broadcastAddress(), 4029, request);
        return collect(port, 400);
    };
    const std::string both = net.unitAddress(1) + " MORVAN0001\n" + net.unitAddress(2) + " MORVAN0002\n";
    EXPECT_EQ(search(), both);
    ASSERT_TRUE(httpGet(net.unitAddress(2), 80, "/knob?2/300"));
    EXPECT_TRUE(waitUntil([&] { return fileHolds(log, "DATAGRAM 10.77.0.1:7001"); }, 1000));
    std::ofstream(control) << "turn 3 900\n";
    ASSERT_TRUE(waitUntil([&] { return fileHolds(log, "COMMAND turn 3 900 -> ok"); }, 3000));
    const std::string info = httpGet(net.unitAddress(2), 80, "/info").value_or("");
    EXPECT_NE(info.find("[300, 1023, 0, 0, 0],[900, 1023, 0, 0, 1]"), std::string::npos) << info;
    EXPECT_TRUE(fileHolds(log, "REQUEST 10.77.0.1 GET /knob?2/300 HTTP/1.1"));
    net.stop(pid);
    EXPECT_TRUE(fileHolds(log, " STOP ")) << "a signal ends it cleanly";
    std::remove(control.c_str());

    unit.command("vanish"); // from a thread outside the unit's namespace
    EXPECT_EQ(search(), "");
    EXPECT_EQ(unit.command("return"), "ok");
    EXPECT_EQ(search(), both.substr(0, both.find('\n') + 1));
}

TEST(UnitStudioNet, TheScriptBuildsRunsAndTearsDown)
{
    REQUIRE_STUDIO_NET();
    const std::string prefix = "ts" + std::to_string(::getpid());
    // The command runs on the computer and opens a connection to unit 2's web server.
    const std::string command = std::string(MORVANE_STUDIO_NET) + " run -n 2 -p " + prefix + " -b " +
                                MORVANE_UNIT_EXE +
                                " -- bash -c 'exec 3<>/dev/tcp/10.77.0.12/80' > /dev/null 2>&1";
    EXPECT_EQ(std::system(command.c_str()), 0);
    EXPECT_FALSE(StudioNet::run({"ip", "netns", "exec", prefix + "-host", "true"})) << "torn down";
}
} // namespace
