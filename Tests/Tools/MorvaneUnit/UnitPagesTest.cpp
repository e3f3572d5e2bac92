// The unit's pages, byte for byte, against the plug-in's fixed-offset cuts.
#include "UnitTestSupport.h"

#include <regex>

using namespace morvane;
using namespace morvane::test;

namespace
{
class UnitPages : public UnitCase<1>
{
protected:
    std::string fetch(const std::string& path, bool singleRead = false)
    {
        const HttpReply r = get(path, singleRead);
        EXPECT_EQ(r.code, 1) << path;
        return r.text;
    }

    static std::string body(const std::string& page) { return page.substr(page.find("\r\n\r\n") + 4); }
};

TEST_F(UnitPages, DinfoGivesSerialNameAndMacAtTheCutOffsets)
{
    const std::string page = fetch("/dinfo", true); // one read, as the serial check does
    EXPECT_GE(page.size(), 200u);
    EXPECT_EQ(page.find("Error 404"), std::string::npos);
    EXPECT_EQ(body(page).rfind("{SNR: \"", 0), 0u) << "the serial is the first entry";
    EXPECT_EQ(cut(page, "{SNR: ", 7, 10), "MORVAN0001");

    std::string name = cut(page, "dname:", 8, 30);
    name = name.substr(0, name.find('"'));
    EXPECT_EQ(name, "MORVAN0001");
    EXPECT_EQ(name, unit.name());

    const std::string mac = cut(page, "mac:", 6, 17);
    EXPECT_TRUE(std::regex_match(mac, std::regex("([0-9a-f]{2}:){5}[0-9a-f]{2}"))) << mac;
    EXPECT_EQ(mac, "02:4d:56:00:00:0b");

    EXPECT_TRUE(std::regex_match(body(page), std::regex(R"(\{\w+: "[^"]*"(, \w+: "[^"]*")+\})")))
        << body(page);
    EXPECT_NE(page.find("Connection: close\r\n"), std::string::npos);
}

TEST_F(UnitPages, InfoIsTheStatusMessageWithThePortAdded)
{
    const std::string page = fetch("/info");
    EXPECT_EQ(page.find('{'), page.find("\r\n\r\n") + 4) << "nothing but headers before the message";
    EXPECT_NE(page.find("\"port\": "), std::string::npos);
    EXPECT_EQ(std::atoi(cut(page, "port", 7, 5).c_str()), cfg.statusPort);
    EXPECT_NE(page.find("\"comp\":["), std::string::npos);
    EXPECT_NE(page.find("\"clip\":"), std::string::npos);
    EXPECT_EQ(page.back(), '}');
}

TEST_F(UnitPages, BalanceIsReadAndWritten)
{
    fetch("/balance?2.5");
    std::string page = fetch("/balance", true);
    EXPECT_GT(page.find("e\": "), 0u);
    EXPECT_NE(page.find("\"balance\": \"2.5\""), std::string::npos);
    EXPECT_FLOAT_EQ(std::strtof(cut(page, "e\": ", 5, 5).c_str(), nullptr), 2.5f);

    fetch("/balance?abc");
    fetch("/balance?-3");
    page = fetch("/balance", true);
    EXPECT_FLOAT_EQ(std::strtof(cut(page, "e\": ", 5, 5).c_str(), nullptr), -3.0f);
}

TEST_F(UnitPages, UnknownPagesHoldError404AfterTheFirstByte)
{
    for (const char* path : {"/", "/index.html", "/infos", "/knobs?1/2", "/dinfo/x"})
    {
        const std::string page = fetch(path, true);
        EXPECT_NE(page.find("Error 404"), std::string::npos) << path;
        EXPECT_GT(page.find("Error 404"), 0u) << path;
    }
    EXPECT_EQ(unit.requests().back(), "GET /dinfo/x HTTP/1.1");
}

TEST_F(UnitPages, KnobRequestOfOnePairIsApplied)
{
    fetch("/knob?3/512.25", true);
    EXPECT_EQ(unit.row(3).value, 512);
    const auto writes = unit.knobWrites();
    ASSERT_EQ(writes.size(), 1u);
    EXPECT_EQ(writes[0].row, 3);
    EXPECT_EQ(writes[0].text, "512.25");
    EXPECT_TRUE(writes[0].accepted);
    EXPECT_NE(readFile(cfg.logPath).find("KNOB 3 512.25 -> 512"), std::string::npos);
}

TEST_F(UnitPages, KnobRequestOfSeventeenPairsIsApplied)
{
    const std::vector<std::pair<int, int>> pairs = {
        {0, 250},  {1, 1200}, {2, 100}, {3, 900},  {5, 255},   {6, 7},    {7, 40},   {8, 450}, {10, 3},
        {11, 300}, {12, 55},  {14, 1},  {15, 251}, {16, 1201}, {17, 101}, {18, 901}, {19, 451}};
    std::string path =
        "/knob?" + std::to_string(pairs[0].first) + "/" + std::to_string(pairs[0].second) + ".5";
    for (size_t i = 1; i < pairs.size(); ++i)
        path += "/" + std::to_string(pairs[i].first) + "/" + std::to_string(pairs[i].second);
    fetch(path, true);

    EXPECT_EQ(unit.row(0).value, 251) << "the first value may carry a fraction";
    for (size_t i = 1; i < pairs.size(); ++i)
        EXPECT_EQ(unit.row(pairs[i].first).value, pairs[i].second) << "row " << pairs[i].first;
    EXPECT_EQ(unit.knobWrites().size(), 17u);
}

TEST_F(UnitPages, KnobValuesAreClampedAndMalformedPairsSkipped)
{
    fetch("/knob?2/5000/8/-7/5/200/14/0.7/10/17/x/3/23/5/99/1/12", true);
    EXPECT_EQ(unit.row(2).value, 1023);
    EXPECT_EQ(unit.row(8).value, 0);
    EXPECT_EQ(unit.row(5).value, 255) << "auto gain knows only 0 and 255";
    EXPECT_EQ(unit.row(14).value, 1);
    EXPECT_EQ(unit.row(10).value, 17) << "mode 5 in dual mono";
    EXPECT_TRUE(unit.panel().dual());
    EXPECT_EQ(unit.row(12).value, 100) << "a lone row without value is no pair";
    const auto writes = unit.knobWrites();
    ASSERT_EQ(writes.size(), 9u);
    EXPECT_EQ(std::count_if(writes.begin(), writes.end(), [](const sim::KnobWrite& w) { return w.accepted; }),
              5);
}

TEST_F(UnitPages, HighGainIsWrittenAndAHeldRowKeepsThePanelValue)
{
    unit.command("turn 2 700");
    fetch("/knob?2/100/3/200/22/1", true);
    EXPECT_EQ(unit.row(2).value, 700);
    EXPECT_TRUE(unit.row(2).held);
    EXPECT_EQ(unit.row(3).value, 200);
    EXPECT_EQ(unit.row(22).value, 1);
    EXPECT_FALSE(unit.knobWrites().front().accepted);
    EXPECT_NE(readFile(cfg.logPath).find("KNOB 2 100 ignored, held on the panel"), std::string::npos);
}
} // namespace
