// The front panel driven from outside through line commands.
#include "UnitTestSupport.h"

#include <set>

using namespace morvane;
using namespace morvane::test;

namespace
{
using UnitPanel = UnitCase<5>;

TEST_F(UnitPanel, TurningHoldsAControlAndMovesItsValueOtherCommandsSetTheirRowsBadOnesAreRefused)
{
    EXPECT_EQ(unit.command("turn 3 1000 400"), "ok");
    EXPECT_TRUE(unit.row(3).held);
    EXPECT_TRUE(waitUntil([&] { return unit.row(3).value > 530 && unit.row(3).value < 1000; }, 1000))
        << "the value passes on its way";
    EXPECT_TRUE(waitUntil([&] { return unit.row(3).value == 1000; }, 2000));
    EXPECT_TRUE(unit.row(3).held) << "held while touched";
    unit.command("release 3");
    EXPECT_FALSE(unit.row(3).held);

    for (const char* c : {"touch 0", "touch 1", "release all"})
        unit.command(c);
    EXPECT_FALSE(unit.row(0).held || unit.row(1).held);

    // Mode and channel mode share row 10.
    const std::tuple<const char*, int, int> steps[] = {
        {"mode 5", 10, 5}, {"dual on", 10, 17}, {"mode 11", 10, 23},     {"dual off", 10, 11},
        {"lamp", 14, 1},   {"lamp", 14, 0},     {"autogain on", 5, 255}, {"brightness 500", 7, 100},
        {"meter 0", 6, 1}, {"meter 21", 6, 21},
    };
    for (const auto& [command, row, value] : steps)
    {
        unit.command(command);
        EXPECT_EQ(unit.row(row).value, value) << command;
    }
    for (const char* bad : {"mode 12", "frobnicate", "turn 99 1", "turn 2", "fault nosuch on",
                            "fault slow maybe", "dual maybe", "period 0"})
        EXPECT_EQ(unit.command(bad).rfind("error:", 0), 0u) << bad;
    EXPECT_NE(unit.command("status").find("row 22 value 0 min 0 max 1"), std::string::npos);
    EXPECT_TRUE(logged("COMMAND turn 99 1 -> error:"));
}

TEST_F(UnitPanel, TheProgramMovesTheNeedlesWithinRange)
{
    UdpPort receiver("0.0.0.0", cfg.statusPort);
    ASSERT_TRUE(get("/info"));
    unit.command("program sine");
    std::set<std::string> seen;
    for (int i = 0; i < 40; ++i)
    {
        const std::string comp = cut(receiver.receive(1000).data, "\"comp\":[", 8, 40);
        ASSERT_FALSE(comp.empty());
        const double left = std::strtod(comp.c_str(), nullptr);
        EXPECT_TRUE(left <= 0.0 && left >= -24000.0) << comp;
        seen.insert(comp);
    }
    EXPECT_GT(seen.size(), 5u) << "the needles move";
    unit.command("comp -3000 -4000");
    EXPECT_FALSE(unit.panel().program()) << "a fixed value ends the program";
}
} // namespace
