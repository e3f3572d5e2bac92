// The broadcast search: how replies are read, and real searches in a studio network.
#include "Broadcast.h"
#include "StudioUnits.h"

#include <arpa/inet.h>
#include <chrono>
#include <cstring>
#include <thread>

namespace
{
unsigned int addressOf(const char* dotted)
{
    return ::inet_addr(dotted);
}

class BroadcastReplies : public StudioTest
{
protected:
    void reply(const std::string& text, const char* from)
    {
        broadcast.handleReply(text.data(), text.size(), addressOf(from));
    }

    Broadcast& broadcast = computer.broadcast;
};
} // namespace

TEST_F(BroadcastReplies, TheNameStandsBehindTheFirstColonInQuotes)
{
    EXPECT_EQ(Broadcast::nameInReply("{\"name\":\"MORVAN0001\",\"serial\":\"x\"}"), "MORVAN0001");
    EXPECT_EQ(Broadcast::nameInReply("{\"name\": MORVAN0001"), ": MORVAN0001") << "no quote: nothing removed";
    EXPECT_EQ(Broadcast::nameInReply("{\"name\":\"MORVAN Studio"), "MORVAN Studio") << "no closing quote";
    EXPECT_EQ(Broadcast::nameInReply("MORVAN0001"), "") << "no colon: the whole text goes";
}

TEST_F(BroadcastReplies, AUnitIsRecordedWithItsSourceAddress)
{
    computer.global.alertIpCount = 7;
    reply("{\"name\":\"MORVAN0001\",\"ip\":\"10.0.0.99\"}", "10.1.2.3");
    EXPECT_EQ(broadcast.count, 1);
    EXPECT_EQ(broadcast.names.get(1), "MORVAN0001");
    EXPECT_EQ(broadcast.ips.get(1), "10.1.2.3") << "the datagram's source, not what the text says";
    EXPECT_EQ(broadcast.lastIp.get(), "10.1.2.3");
    EXPECT_EQ(computer.global.alertIps.get(1), "10.1.2.3");
    EXPECT_EQ(computer.global.alertIpCount, 1);
    EXPECT_EQ(broadcast.addressParts[0], 3);
    EXPECT_EQ(broadcast.addressParts[3], 10);
}

TEST_F(BroadcastReplies, RepliesWithoutTheCodeOrWithoutAColonAreDropped)
{
    computer.global.alertIpCount = 4;
    reply("{\"name\":\"VELMORA EQ-2 00007\"}", "10.1.2.3");
    reply("MORVAN0001", "10.1.2.4");
    reply("", "10.1.2.5");
    EXPECT_EQ(broadcast.count, 0);
    EXPECT_EQ(computer.global.alertIpCount, 4) << "kept until a reply is accepted";
}

TEST_F(BroadcastReplies, ARepeatedNameKeepsTheFirstAddress)
{
    reply("{\"name\":\"MORVAN0001\"}", "10.1.2.3");
    reply("{\"name\":\"MORVAN0001\"}", "10.9.9.9");
    reply("{\"name\":\"MORVAN0002\"}", "10.1.2.4");
    reply("{\"name\":\"MORVAN0001\"}", "10.1.2.5");
    EXPECT_EQ(broadcast.count, 2);
    EXPECT_EQ(broadcast.ips.get(1), "10.1.2.3");
    EXPECT_EQ(broadcast.ips.get(2), "10.1.2.4");
    EXPECT_EQ(broadcast.lastIp.get(), "10.1.2.4");
    EXPECT_EQ(computer.global.alertIpCount, 2);
}

TEST_F(BroadcastReplies, ATenthUnitIsLeftOut)
{
    for (int k = 1; k <= 12; ++k)
        reply("{\"name\":\"MORVAN000" + std::to_string(k) + "\"}", ("10.0.0." + std::to_string(k)).c_str());
    EXPECT_EQ(broadcast.count, Broadcast::maxUnits);
    EXPECT_EQ(broadcast.ips.get(9), "10.0.0.9");
    EXPECT_EQ(broadcast.lastIp.get(), "10.0.0.9");
    EXPECT_EQ(computer.global.alertIpCount, 9);
    EXPECT_EQ(computer.global.alertIps.get(10), "");
}

TEST_F(BroadcastReplies, AReplyEndsAtItsReceivedLength)
{
    char buffer[64];
    std::memset(buffer, 'Z', sizeof(buffer));
    const char text[] = "{\"name\":\"MORVAN0001";
    std::memcpy(buffer, text, std::strlen(text)); // no terminator, no closing quote
    broadcast.handleReply(buffer, std::strlen(text), addressOf("10.1.2.3"));
    EXPECT_EQ(broadcast.names.get(1), "MORVAN0001");
}

TEST_F(BroadcastReplies, AnEmptyCodeAcceptsEveryReply)
{
    Broadcast anyCode(&computer.global, "");
    const std::string text = "{\"name\":\"EQ-2\"}";
    anyCode.handleReply(text.data(), text.size(), addressOf("10.1.2.3"));
    EXPECT_EQ(anyCode.count, 1);
}

// ------------------------------------------------------------------ searches in the studio

namespace
{
class BroadcastStudio : public StudioTest
{
protected:
    void search()
    {
        ASSERT_TRUE(studio->onComputer([this] { computer.broadcast.BroadcastToAllInterfaces(); }));
    }
};
} // namespace

TEST_F(BroadcastStudio, OneUnitOnOneInterfaceAndThenNoReplyKeepsTheLastResults)
{
    REQUIRE_STUDIO();
    ASSERT_TRUE(startStudio({"MORVAN0001"}));

    const auto start = std::chrono::steady_clock::now();
    search();
    const auto took = std::chrono::steady_clock::now() - start;

    EXPECT_EQ(computer.broadcast.count, 1);
    EXPECT_EQ(computer.broadcast.ips.get(1), address(1));
    EXPECT_EQ(computer.broadcast.lastIp.get(), address(1));
    EXPECT_EQ(computer.global.alertIps.get(1), address(1));
    EXPECT_EQ(computer.global.alertIpCount, 1);
    EXPECT_FALSE(computer.global.broadcastRunning);
    // Loopback and the studio interface: a second of silence closes each.
    EXPECT_GE(took, std::chrono::milliseconds(2000));
    const auto log = computer.log();
    EXPECT_EQ(countLines(log, "1:::Start Broadcast To All Interfaces:::Broadcast.cpp:::"), 1) << log;
    EXPECT_EQ(countLines(log, "1:::Ended Broadcast To All Interfaces:::Broadcast.cpp:::"), 1) << log;

    ASSERT_EQ(unit(1).command("vanish").rfind("ok", 0), 0u);
    search();
    EXPECT_EQ(computer.broadcast.count, 0);
    EXPECT_EQ(computer.broadcast.lastIp.get(), address(1));
    EXPECT_EQ(computer.broadcast.names.get(1), "MORVAN0001");
    EXPECT_EQ(computer.global.alertIpCount, 1);
}

TEST_F(BroadcastStudio, AUnitAnsweringOnTwoInterfacesCountsOnce)
{
    REQUIRE_STUDIO();
    ASSERT_TRUE(startStudio({}, 1));
    ASSERT_TRUE(studio->addSecondComputerInterface("10.77.0.2"));
    ASSERT_NE(studio->start(1, "MORVAN0001"), nullptr);

    search();

    EXPECT_EQ(unit(1).discoveryReplies(), 2u) << "it answered on both interfaces";
    EXPECT_EQ(computer.broadcast.count, 1);
    EXPECT_EQ(computer.broadcast.ips.get(1), address(1));
    EXPECT_EQ(computer.global.alertIpCount, 1);
}

TEST_F(BroadcastStudio, TwoSearchesOnOneObjectRunOneAfterTheOther)
{
    REQUIRE_STUDIO();
    ASSERT_TRUE(startStudio({"MORVAN0001"}));

    std::atomic<bool> secondDone{false};
    std::thread second;
    ASSERT_TRUE(studio->onComputer(
        [&]
        {
            second = std::thread(
                [&]
                {
                    computer.broadcast.BroadcastToAllInterfaces();
                    secondDone = true;
                });
            computer.broadcast.BroadcastToAllInterfaces();
            EXPECT_TRUE(computer.global.broadcastRunning || secondDone) << "up while the other still runs";
            second.join();
        }));
    EXPECT_EQ(computer.broadcast.count, 1) << "neither search lost its port to the other";
    EXPECT_FALSE(computer.global.broadcastRunning);
    EXPECT_EQ(countLines(computer.log(), "1:::Ended Broadcast To All Interfaces:::Broadcast.cpp:::"), 2);
}

TEST_F(BroadcastStudio, QuittingEndsASearchPromptly)
{
    REQUIRE_STUDIO();
    ASSERT_TRUE(startStudio({"MORVAN0001"}));

    std::chrono::steady_clock::time_point quitAt;
    ASSERT_TRUE(studio->onComputer(
        [&]
        {
            std::thread search([&] { computer.broadcast.BroadcastToAllInterfaces(); });
            std::this_thread::sleep_for(std::chrono::milliseconds(1300)); // into the second interface
            quitAt = std::chrono::steady_clock::now();
            computer.global.quitRequested = true;
            search.join();
        }));
    EXPECT_LT(std::chrono::steady_clock::now() - quitAt, std::chrono::milliseconds(400));
    EXPECT_FALSE(computer.global.broadcastRunning);
}
