// The status stream: exact separators, realistic rows, who gets it, and its faults.
#include "UnitTestSupport.h"

#include <array>
#include <regex>
#include <set>

using namespace morvane;
using namespace morvane::test;

namespace
{
const std::regex
    exactMessage(R"(\{"\w+":\[(\[-?\d+, -?\d+, -?\d+, -?\d+, -?\d+\],){21})"
                 R"(\[-?\d+, -?\d+, -?\d+, -?\d+, -?\d+\]\],"comp":\[-?[\d.]+, -?[\d.]+\],"clip":-?\d+\})");

// The rows of a message as value, maximum, minimum, unused, held; as many as are whole.
std::vector<std::array<int, 5>> rowsOf(const std::string& message)
{
    static const std::regex row(R"(\[(-?\d+), (-?\d+), (-?\d+), (-?\d+), (-?\d+)\])");
    std::vector<std::array<int, 5>> rows;
    for (std::sregex_iterator m(message.begin(), message.end(), row), end; m != end; ++m)
        rows.push_back({std::stoi((*m)[1]), std::stoi((*m)[2]), std::stoi((*m)[3]), std::stoi((*m)[4]),
                        std::stoi((*m)[5])});
    return rows;
}

class UnitStatus : public UnitCase<2>
{
protected:
    void ask() { ASSERT_EQ(get("/info").code, 1); }
    Datagram next()
    {
        auto d = receiver.receive(2000);
        EXPECT_TRUE(d.has_value()) << "no status datagram";
        return d.value_or(Datagram{});
    }
    // The first datagram certainly formed after what came before.
    Datagram nextAfterChange()
    {
        receiver.drain();
        next();
        return next();
    }
    Datagram underFault(const std::string& name)
    {
        unit.command("fault " + name + " on");
        const Datagram d = nextAfterChange();
        unit.command("fault " + name + " off");
        return d;
    }

    UdpPort receiver{"0.0.0.0", cfg.statusPort};
};

TEST_F(UnitStatus, SeparatorsAreExactAndRowsRealistic)
{
    for (const char* c : {"set 2 777", "turn 17 333", "comp -1500 -20000.5", "clip 3", "highgain on"})
        unit.command(c);
    ask();
    const std::string message = nextAfterChange().data;
    EXPECT_TRUE(std::regex_match(message, exactMessage)) << message;
    EXPECT_NE(message.find("\"comp\":[-1500, -20000.5],\"clip\":3}"), std::string::npos);

    const auto rows = rowsOf(message);
    ASSERT_EQ(rows.size(), 22u) << "High Gain is not reported";
    std::set<std::pair<int, int>> ranges;
    for (int r = 0; r < 22; ++r)
    {
        const sim::RowState s = unit.row(r);
        EXPECT_EQ(rows[r], (std::array<int, 5>{s.value, s.max, s.min, 0, s.held ? 1 : 0})) << "row " << r;
        ranges.insert({s.min, s.max});
    }
    EXPECT_EQ(rows[2][0], 777);
    EXPECT_EQ(rows[17][4], 1);
    EXPECT_GE(ranges.size(), 8u) << "each control its own range";
    for (int r : {4, 9, 13})
        EXPECT_EQ(rows[r][1], rows[r][2]) << "unused row " << r;
    const std::array<int, 3> limits[] = {{5, 0, 255}, {6, 1, 21}, {10, 0, 23}, {14, 0, 1}};
    for (const auto& [r, min, max] : limits)
        EXPECT_TRUE(rows[r][2] == min && rows[r][1] == max) << "row " << r;
}

TEST_F(UnitStatus, OnlyAddressesThatAskedGetTheLoggedStreamAndEachFaultDoesWhatItSays)
{
    ASSERT_TRUE(receiver.ok());
    EXPECT_FALSE(receiver.receive(150).has_value());
    EXPECT_EQ(unit.datagramsSent(), 0u);
    ask();
    EXPECT_EQ(next().from, cfg.address);
    EXPECT_TRUE(waitUntil(
        [&] { return logged("DATAGRAM 127.0.0.1:" + std::to_string(cfg.statusPort) + " "); }, 1000));

    unit.command("datagrams off");
    const std::string before = readFile(cfg.logPath);
    const uint64_t sent = unit.datagramsSent();
    ASSERT_TRUE(waitUntil([&] { return unit.datagramsSent() > sent + 5; }, 2000));
    EXPECT_EQ(readFile(cfg.logPath), before) << "sent, not logged";

    unit.command("fault silent on");
    receiver.drain();
    receiver.receive(100);
    receiver.drain();
    EXPECT_FALSE(receiver.receive(150).has_value());
    unit.command("fault silent off");
    EXPECT_EQ(next().from, cfg.address);

    const Datagram foreign = underFault("foreign");
    EXPECT_NE(foreign.from, cfg.address);
    EXPECT_EQ(foreign.from.rfind("127.", 0), 0u);
    EXPECT_TRUE(std::regex_match(foreign.data, exactMessage)) << "only the sender is wrong";

    std::string d = underFault("garbage").data;
    EXPECT_FALSE(std::regex_match(d, exactMessage));
    EXPECT_EQ(d.find("\"comp\""), std::string::npos);

    d = underFault("truncated").data;
    EXPECT_EQ(d.rfind("{\"Potis\":[[", 0), 0u);
    EXPECT_EQ(d.find("clip"), std::string::npos);

    d = underFault("oversized").data;
    EXPECT_GT(d.size(), 2047u);
    const std::string kept = d.substr(0, 2047);
    EXPECT_EQ(kept.find("comp"), std::string::npos) << "what a 2047-byte read keeps lacks the meters";
    ASSERT_GE(rowsOf(kept).size(), 3u);
    EXPECT_EQ(rowsOf(kept)[2][0], unit.row(2).value);
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
