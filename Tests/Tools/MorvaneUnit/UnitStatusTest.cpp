// The status stream: exact separators, realistic rows, who gets it, and its faults.
#include "UnitTestSupport.h"

#include <regex>
#include <set>

using namespace morvane;
using namespace morvane::test;

namespace
{
struct Table
{
    int cells[22][5] = {};
    double left = 1, right = 1;
    int clip = -1;
};

// Takes a message apart the way the plug-in does: two bytes past each comma, "]" cut off.
Table readLikeThePlugin(std::string text)
{
    Table t;
    const std::string whole = text;
    text.erase(0, text.find('{'));
    const size_t q1 = text.find('"');
    const size_t q2 = text.find('"', q1 + 1);
    text.erase(0, q2 + 1);
    text.erase(0, q1);
    if (text.rfind("[[", 0) == 0)
        text.erase(0, 2);
    for (int r = 0; r < 22; ++r)
        for (int c = 0; c < 5; ++c)
        {
            const size_t comma = text.find(',');
            std::string piece = text.substr(0, comma);
            const size_t bracket = piece.find(']');
            if (bracket != std::string::npos && bracket > 0)
                piece.erase(bracket);
            t.cells[r][c] = std::atoi(piece.c_str());
            text.erase(0, comma == std::string::npos ? text.size() : std::min(text.size(), comma + 2));
        }
    const std::string comp = whole.substr(whole.find('[', whole.find("comp")) + 1);
    t.left = std::strtod(comp.c_str(), nullptr);
    t.right = std::strtod(comp.substr(comp.find(',') + 1).c_str(), nullptr);
    t.clip = std::atoi(cut(whole, "clip", 6, 20).c_str());
    return t;
}

const std::regex
    exactMessage(R"(\{"\w+":\[(\[-?\d+, -?\d+, -?\d+, -?\d+, -?\d+\],){21})"
                 R"(\[-?\d+, -?\d+, -?\d+, -?\d+, -?\d+\]\],"comp":\[-?[\d.]+, -?[\d.]+\],"clip":-?\d+\})");

class UnitStatus : public UnitCase<2>
{
protected:
    void SetUp() override
    {
        ASSERT_TRUE(receiver.ok());
        UnitCase::SetUp();
    }

    void ask() { ASSERT_EQ(get("/info").code, 1); }

    Datagram next()
    {
        auto d = receiver.receive(2000);
        EXPECT_TRUE(d.has_value()) << "no status datagram";
        return d.value_or(Datagram{});
    }

    Datagram nextAfterChange()
    {
        receiver.drain();
        next();
        return next();
    }

    UdpPort receiver{"0.0.0.0", cfg.statusPort};
};

TEST_F(UnitStatus, OnlyAddressesThatAskedGetDatagramsFromTheUnitsAddress)
{
    EXPECT_FALSE(receiver.receive(150).has_value());
    EXPECT_EQ(unit.datagramsSent(), 0u);
    ask();
    const Datagram d = next();
    EXPECT_EQ(d.from, cfg.address);
    const std::string line = "DATAGRAM 127.0.0.1:" + std::to_string(cfg.statusPort) + " ";
    EXPECT_TRUE(waitUntil([&] { return readFile(cfg.logPath).find(line) != std::string::npos; }, 1000));
    EXPECT_GT(unit.datagramsSent(), 0u);
}

TEST_F(UnitStatus, SeparatorsAreExactAndTheTableReadsBack)
{
    unit.command("set 2 777");
    unit.command("turn 17 333");
    unit.command("comp -1500 -20000.5");
    unit.command("clip 3");
    ask();
    const std::string message = nextAfterChange().data;
    EXPECT_TRUE(std::regex_match(message, exactMessage)) << message;
    EXPECT_NE(message.find("\"comp\":[-1500, -20000.5],\"clip\":3}"), std::string::npos);

    const Table t = readLikeThePlugin(message);
    for (int r = 0; r < 22; ++r)
    {
        const sim::RowState s = unit.row(r);
        EXPECT_EQ(t.cells[r][0], s.value) << "row " << r;
        EXPECT_EQ(t.cells[r][1], s.max) << "row " << r;
        EXPECT_EQ(t.cells[r][2], s.min) << "row " << r;
        EXPECT_EQ(t.cells[r][4], s.held ? 1 : 0) << "row " << r;
    }
    EXPECT_EQ(t.cells[2][0], 777);
    EXPECT_EQ(t.cells[17][4], 1);
    EXPECT_DOUBLE_EQ(t.left, -1500);
    EXPECT_DOUBLE_EQ(t.right, -20000.5);
    EXPECT_EQ(t.clip, 3);
}

TEST_F(UnitStatus, RowsHaveRealisticRangesAndHighGainIsNotReported)
{
    unit.command("highgain on");
    ask();
    const std::string message = next().data;
    const Table t = readLikeThePlugin(message);
    std::set<std::pair<int, int>> ranges;
    for (int r = 0; r < 22; ++r)
        ranges.insert({t.cells[r][2], t.cells[r][1]});
    EXPECT_GE(ranges.size(), 8u) << "each control its own range";
    for (int r : {4, 9, 13})
        EXPECT_EQ(t.cells[r][1], t.cells[r][2]) << "unused row " << r;
    EXPECT_EQ(t.cells[5][2], 0);
    EXPECT_EQ(t.cells[5][1], 255);
    EXPECT_EQ(t.cells[6][2], 1);
    EXPECT_EQ(t.cells[6][1], 21);
    EXPECT_EQ(t.cells[10][2], 0);
    EXPECT_EQ(t.cells[10][1], 23);
    EXPECT_EQ(t.cells[14][2], 0);
    EXPECT_EQ(t.cells[14][1], 1);
    size_t rows = 0;
    for (size_t p = message.find('['); (p = message.find('[', p + 1)) != std::string::npos;)
        ++rows;
    EXPECT_EQ(rows, 22u + 1u) << "22 rows and the comp bracket";
}

TEST_F(UnitStatus, DatagramLoggingCanBeSwitchedOff)
{
    ask();
    next();
    unit.command("datagrams off");
    const auto count = [&]
    {
        const std::string log = readFile(cfg.logPath);
        size_t n = 0;
        for (size_t p = 0; (p = log.find(" DATAGRAM ", p)) != std::string::npos; ++p)
            ++n;
        return n;
    };
    const size_t before = count();
    const uint64_t sent = unit.datagramsSent();
    ASSERT_TRUE(waitUntil([&] { return unit.datagramsSent() > sent + 5; }, 2000));
    EXPECT_EQ(count(), before);
}

TEST_F(UnitStatus, SilentAndForeignFaults)
{
    ask();
    next();
    unit.command("fault silent on");
    receiver.drain();
    receiver.receive(100);
    receiver.drain();
    EXPECT_FALSE(receiver.receive(150).has_value());
    unit.command("fault silent off");
    EXPECT_EQ(next().from, cfg.address);

    unit.command("fault foreign on");
    const Datagram d = nextAfterChange();
    EXPECT_NE(d.from, cfg.address);
    EXPECT_EQ(d.from.rfind("127.", 0), 0u);
    EXPECT_TRUE(std::regex_match(d.data, exactMessage)) << "only the sender is wrong";
}

TEST_F(UnitStatus, GarbageTruncatedAndOversizedFaults)
{
    ask();
    next();
    unit.command("fault garbage on");
    std::string d = nextAfterChange().data;
    EXPECT_FALSE(std::regex_match(d, exactMessage));
    EXPECT_EQ(d.find("\"comp\""), std::string::npos);
    unit.command("fault garbage off");

    unit.command("fault truncated on");
    d = nextAfterChange().data;
    EXPECT_EQ(d.rfind("{\"Potis\":[[", 0), 0u);
    EXPECT_EQ(d.find("clip"), std::string::npos);
    unit.command("fault truncated off");

    unit.command("fault oversized on");
    d = nextAfterChange().data;
    EXPECT_GT(d.size(), 2047u);
    const std::string kept = d.substr(0, 2047);
    EXPECT_EQ(kept.find("comp"), std::string::npos) << "what a 2047-byte read keeps lacks the meters";
    EXPECT_EQ(readLikeThePlugin(kept + "\"comp\":[0, 0]").cells[2][0], unit.row(2).value);
}

TEST(UnitStatusClients, AClientIsForgottenAfterItsMemory)
{
    sim::UnitConfig cfg = loopbackConfig(3);
    cfg.clientMemoryMs = 300;
    sim::Unit unit(cfg);
    UdpPort receiver("0.0.0.0", cfg.statusPort);
    ASSERT_TRUE(unit.start()) << unit.startError();
    ASSERT_EQ(httpGet(cfg.address, cfg.httpPort, "/dinfo").code, 1);
    ASSERT_TRUE(receiver.receive(1000).has_value());
    std::this_thread::sleep_for(std::chrono::milliseconds(500));
    receiver.drain();
    EXPECT_FALSE(receiver.receive(200).has_value());
}
} // namespace
