// Discovery on loopback and, on a broadcast, in the studio network; the program itself in a
// namespace, driven through its control pipe and followed through its log.
#include "UnitTestSupport.h"

#include <fstream>
#include <map>
#include <memory>

using namespace morvane;
using namespace morvane::test;

namespace
{
constexpr const char* request = "Ciao Mac ist hier";

// The replies (at most 16) that come each within ms of the last, by sender address.
std::multimap<std::string, std::string> collect(UdpPort& port, int ms)
{
    std::multimap<std::string, std::string> replies;
    for (auto d = port.receive(ms); d && replies.size() < 16; d = port.receive(ms))
        replies.emplace(d->from, d->data);
    return replies;
}

// The finder's reading: past the first ":", past the first quote, up to the next quote.
std::string nameIn(const std::string& reply)
{
    std::string text = reply.substr(std::min(reply.size(), reply.find(':')));
    text.erase(0, text.find('"') == std::string::npos ? 0 : text.find('"') + 1);
    return text.substr(0, text.find('"'));
}

TEST(UnitDiscovery, SeveralUnitsInOneProcessEachAnswerOnceAndOnlyTheRequest)
{
    std::vector<std::unique_ptr<sim::Unit>> units;
    for (int i = 6; i <= 8; ++i)
    {
        units.push_back(std::make_unique<sim::Unit>(loopbackConfig(i)));
        ASSERT_TRUE(units.back()->start()) << units.back()->startError();
    }
    UdpPort finder("0.0.0.0", testPort(9)); // not a status port of these units
    const uint16_t port = testPort(19);
    ASSERT_TRUE(finder.sendTo("127.0.0.1", port, request));
    const auto replies = collect(finder, 300);
    ASSERT_EQ(replies.size(), 3u);
    for (const auto& unit : units)
    {
        const std::string& address = unit->config().address;
        ASSERT_EQ(replies.count(address), 1u) << address;
        const std::string reply = replies.find(address)->second;
        EXPECT_LE(reply.size(), 512u);
        const std::string name = nameIn(reply);
        EXPECT_EQ(name, unit->serial()) << "name and serial agree";
        const std::string page = httpGet(address, unit->config().httpPort, "/dinfo", true).text;
        EXPECT_EQ(serialIn(page), unit->serial());
        EXPECT_NE(page.find(name), std::string::npos) << "the name is on the page";
        EXPECT_EQ(unit->discoveryReplies(), 1u);
    }

    finder.sendTo(units[1]->config().address, port, request);
    const auto one = collect(finder, 300);
    ASSERT_EQ(one.size(), 1u) << "a request to one address is answered by that unit alone";
    EXPECT_EQ(one.begin()->first, units[1]->config().address);
    for (const char* other : {"Ciao Mac ist hie", "Ciao Mac ist hier!", "ciao mac ist hier"})
        finder.sendTo("127.0.0.1", port, other);
    EXPECT_TRUE(collect(finder, 300).empty());
}

// Unit 1 runs in this process, unit 2 is the program, driven through its control pipe.
TEST(UnitStudioNet, ABroadcastFindsBothUnitsAndTheyServeTheComputer)
{
    REQUIRE_STUDIO_NET();
    StudioNet net(2);
    ASSERT_TRUE(net.ok()) << net.error();
    sim::UnitConfig cfg;
    cfg.address = net.unitAddress(1);
    cfg.foreignAddress = net.foreignAddress(1);
    cfg.periodMs = 20;
    sim::Unit unit(cfg);
    bool started = false;
    ASSERT_TRUE(net.runIn(net.unitNamespace(1), [&] { started = unit.start(); }));
    ASSERT_TRUE(started) << unit.startError();
    const std::string files = "/tmp/morvane-unit-test-" + std::to_string(::getpid());
    const std::string log = files + "-u2.log", control = files + "-u2.ctl";
    std::remove(log.c_str());
    std::remove(control.c_str());
    const pid_t pid = net.spawnIn(net.unitNamespace(2),
                                  {MORVANE_UNIT_EXE, "--address", net.unitAddress(2), "--serial",
                                   "MORVAN0002", "--period-ms", "20", "--log", log, "--control", control},
                                  files + "-u2.out");
    ASSERT_GT(pid, 0);
    ASSERT_TRUE(waitUntil([&] { return fileHolds(log, " START "); }, 5000)) << readFile(files + "-u2.out");

    ScopedNamespace inHost(net.hostNamespace()); // from here on this thread is the computer
    ASSERT_TRUE(inHost.ok());
    const auto search = [&]
    {
        UdpPort port("0.0.0.0", 4028, true);
        port.sendTo(net.broadcastAddress(), 4029, request);
        return collect(port, 400);
    };
    const auto replies = search();
    ASSERT_EQ(replies.size(), 2u);
    EXPECT_EQ(nameIn(replies.find(net.unitAddress(1))->second), "MORVAN0001");
    EXPECT_EQ(nameIn(replies.find(net.unitAddress(2))->second), "MORVAN0002");
    UdpPort status("0.0.0.0", 7001);
    ASSERT_EQ(httpGet(net.unitAddress(1), 80, "/dinfo", true).code, 1);
    auto d = status.receive(1000);
    ASSERT_TRUE(d.has_value());
    EXPECT_EQ(d->from, net.unitAddress(1));
    unit.command("fault foreign on");
    status.drain();
    status.receive(200);
    d = status.receive(1000);
    ASSERT_TRUE(d.has_value());
    EXPECT_EQ(d->from, net.foreignAddress(1));

    ASSERT_EQ(httpGet(net.unitAddress(2), 80, "/knob?2/300").code, 1);
    EXPECT_TRUE(waitUntil([&] { return fileHolds(log, "DATAGRAM 10.77.0.1:7001"); }, 1000));
    std::ofstream(control) << "turn 3 900\n";
    ASSERT_TRUE(waitUntil([&] { return fileHolds(log, "COMMAND turn 3 900 -> ok"); }, 3000));
    const std::string info = httpGet(net.unitAddress(2), 80, "/info").text;
    EXPECT_NE(info.find("[300, 1023, 0, 0, 0],[900, 1023, 0, 0, 1]"), std::string::npos) << info;
    EXPECT_TRUE(fileHolds(log, "REQUEST 10.77.0.1 GET /knob?2/300 HTTP/1.1"));
    EXPECT_TRUE(fileHolds(log, "KNOB 2 300 -> 300"));
    net.stop(pid);
    EXPECT_TRUE(fileHolds(log, " STOP ")) << "a signal ends it cleanly";
    std::remove(control.c_str());

    unit.command("vanish"); // from a thread outside the unit's namespace
    EXPECT_TRUE(search().empty());
    EXPECT_EQ(unit.command("return"), "ok");
    EXPECT_EQ(search().size(), 1u);
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
