// The broadcast search: how replies are read, and real searches in a studio network.
#include "Studio.h"

#include <arpa/inet.h>

#include <chrono>
#include <thread>
#include <tuple>

namespace
{
class OfflineBroadcastReplies : public ::testing::Test
{
protected:
    void reply(const std::string& text, const std::string& from, std::size_t length = std::string::npos)
    {
        broadcast.handleReply(text.data(), std::min(length, text.size()), ::inet_addr(from.c_str()));
    }
    // What a search leaves to its readers.
    auto results()
    {
        return std::make_tuple(broadcast.count.load(), broadcast.ips.get(1), broadcast.ips.get(2),
                               broadcast.lastIp.get(), global.alertIpCount.load(), global.alertIps.get(1));
    }

    FreshHome home;
    Computer computer;
    Broadcast& broadcast = computer.broadcast;
    GlobalData& global = computer.global;
};
} // namespace

TEST_F(OfflineBroadcastReplies, TheNameStandsBehindTheFirstColonInQuotes)
{
    EXPECT_EQ(Broadcast::nameInReply("{\"name\":\"MORVAN0001\",\"serial\":\"x\"}"), "MORVAN0001");
    EXPECT_EQ(Broadcast::nameInReply("{\"name\": MORVAN0001"), ": MORVAN0001") << "no quote: nothing removed";
    EXPECT_EQ(Broadcast::nameInReply("{\"name\":\"MORVAN Studio"), "MORVAN Studio") << "no closing quote";
    EXPECT_EQ(Broadcast::nameInReply("MORVAN0001"), "") << "no colon: the whole text goes";
}

TEST_F(OfflineBroadcastReplies, UnitsAreRecordedOnceByNameWithTheirSourceAddress)
{
    global.alertIpCount = 7;
    // Without the code, without a colon or empty: dropped, and the old count stays.
    reply("{\"name\":\"VELMORA EQ-2 00007\"}", "10.1.2.3");
    reply("MORVAN0001", "10.1.2.4");
    reply("", "10.1.2.5");
    EXPECT_EQ(broadcast.count.load(), 0);
    EXPECT_EQ(global.alertIpCount.load(), 7);

    // The datagram's source counts, and the first of a name.
    reply("{\"name\":\"MORVAN0001\",\"ip\":\"10.0.0.99\"}", "10.1.2.3");
    reply("{\"name\":\"MORVAN0001\"}", "10.9.9.9");
    // The text ends at the received length: no terminator, no closing quote within it.
    reply("{\"name\":\"MORVAN0002ZZZ\"}", "10.1.2.4", 19);
    EXPECT_EQ(results(), std::make_tuple(2, "10.1.2.3", "10.1.2.4", "10.1.2.4", 2, "10.1.2.3"));
    EXPECT_EQ(broadcast.names.get(2), "MORVAN0002");
    EXPECT_EQ(broadcast.addressParts[0], 4);
    EXPECT_EQ(broadcast.addressParts[3], 10);

    // A tenth unit is left out.
    for (int k = 3; k <= 12; ++k)
        reply("{\"name\":\"MORVAN000" + std::to_string(k) + "\"}", "10.0.0." + std::to_string(k));
    EXPECT_EQ(broadcast.count.load(), Broadcast::maxUnits);
    EXPECT_EQ(broadcast.ips.get(9), "10.0.0.9");
    EXPECT_EQ(broadcast.lastIp.get(), "10.0.0.9");
    EXPECT_EQ(global.alertIpCount.load(), 9);
    EXPECT_EQ(global.alertIps.get(10), "");

    Broadcast anyCode(&global, "");
    const std::string text = "{\"name\":\"EQ-2\"}";
    anyCode.handleReply(text.data(), text.size(), ::inet_addr("10.1.2.3"));
    EXPECT_EQ(anyCode.count, 1) << "an empty code accepts every reply";
}

// ------------------------------------------------------------------ searches in the studio

namespace
{
// A second interface of the computer on the same network, so every unit is reached twice.
bool addSecondComputerInterface()
{
    using morvane::test::StudioNet;
    const std::string host = Studio::net()->hostNamespace();
    const std::string sw = host.substr(0, host.size() - std::string("-host").size()) + "-sw";
    return StudioNet::run({"ip", "-n", sw, "link", "add", "host2", "type", "veth", "peer", "name", "eth1",
                           "netns", host}) &&
           StudioNet::run({"ip", "-n", sw, "link", "set", "host2", "master", "br0", "up"}) &&
           StudioNet::run({"ip", "-n", host, "addr", "add", "10.77.0.2/24", "broadcast",
                           Studio::net()->broadcastAddress(), "dev", "eth1"}) &&
           StudioNet::run({"ip", "-n", host, "link", "set", "eth1", "up"});
}
} // namespace

using BroadcastStudio = ComputerCase;

TEST_F(BroadcastStudio, TwoSearchesAtOnceFindAUnitOnTwoInterfacesOnceAndNoReplyKeepsTheLastResults)
{
    ASSERT_TRUE(addSecondComputerInterface());
    startUnits(1);
    auto& broadcast = computer.broadcast;
    auto& global = computer.global;
    std::atomic<bool> secondDone{false};
    std::thread second(
        [&]
        {
            broadcast.BroadcastToAllInterfaces();
            secondDone = true;
        });
    const auto start = std::chrono::steady_clock::now();
    std::thread([&] { broadcast.BroadcastToAllInterfaces(); }).join();
    // Loopback and two studio interfaces: a second of silence closes each.
    EXPECT_GE(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(3000));
    EXPECT_TRUE(global.broadcastRunning || secondDone) << "up while the other still runs";
    second.join();
    // Neither search lost its port to the other; each reached the unit on both interfaces.
    EXPECT_EQ(unit(1).discoveryReplies(), 4u);
    EXPECT_EQ(broadcast.count.load(), 1);
    EXPECT_EQ(broadcast.ips.get(1), Studio::address(1));
    EXPECT_EQ(broadcast.lastIp.get(), Studio::address(1));
    EXPECT_EQ(global.alertIps.get(1), Studio::address(1));
    EXPECT_EQ(global.alertIpCount.load(), 1);
    EXPECT_EQ(global.broadcastRunning.load(), false);
    const auto log = Studio::log();
    EXPECT_EQ(countLines(log, "1:::Start Broadcast To All Interfaces:::"), 2) << log;
    EXPECT_EQ(countLines(log, "1:::Ended Broadcast To All Interfaces:::"), 2) << log;

    ASSERT_EQ(unit(1).command("vanish").rfind("ok", 0), 0u);
    std::thread([&] { broadcast.BroadcastToAllInterfaces(); }).join();
    EXPECT_EQ(broadcast.count.load(), 0);
    EXPECT_EQ(broadcast.lastIp.get(), Studio::address(1));
    EXPECT_EQ(broadcast.names.get(1), Studio::serial(1));
    EXPECT_EQ(global.alertIpCount.load(), 1);
}
