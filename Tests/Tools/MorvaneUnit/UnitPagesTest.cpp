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
    float balance() { return std::strtof(cut(fetch("/balance", true), "e\": ", 5, 5).c_str(), nullptr); }
};

TEST_F(UnitPages, DinfoInfoAndBalanceHoldWhatThePluginCutsOut)
{
    const std::string page = fetch("/dinfo", true); // one read, as the serial check does
    const std::string body = page.substr(page.find("\r\n\r\n") + 4);
    EXPECT_GE(page.size(), 200u);
    EXPECT_NE(page.find("Connection: close\r\n"), std::string::npos);
    EXPECT_EQ(body.rfind("{SNR: \"", 0), 0u) << "the serial is the first entry";
    EXPECT_TRUE(std::regex_match(body, std::regex(R"(\{\w+: "[^"]*"(, \w+: "[^"]*")+\})"))) << body;
    EXPECT_EQ(serialIn(page), "MORVAN0001");
    const std::string name = cut(page, "dname:", 8, 30);
    EXPECT_EQ(name.substr(0, name.find('"')), unit.name());
    EXPECT_EQ(unit.name(), "MORVAN0001");
    EXPECT_EQ(cut(page, "mac:", 6, 17), "02:4d:56:00:00:0b");

    const std::string info = fetch("/info");
    EXPECT_EQ(info.find('{'), info.find("\r\n\r\n") + 4) << "nothing but headers before the message";
    EXPECT_NE(info.find("\"port\": "), std::string::npos);
    EXPECT_EQ(std::atoi(cut(info, "port", 7, 5).c_str()), cfg.statusPort);
    EXPECT_NE(info.find("\"comp\":["), std::string::npos);
    EXPECT_NE(info.find("\"clip\":"), std::string::npos);
    EXPECT_EQ(info.back(), '}');

    fetch("/balance?2.5");
    EXPECT_NE(fetch("/balance", true).find("\"balance\": \"2.5\""), std::string::npos);
    EXPECT_FLOAT_EQ(balance(), 2.5f);
    fetch("/balance?abc");
    fetch("/balance?-3");
    EXPECT_FLOAT_EQ(balance(), -3.0f);
}

TEST_F(UnitPages, Error404IsAfterTheFirstByteOnUnknownPagesAndOnEveryPageUnderTheFault)
{
    const auto expect404 = [&](const char* path)
    {
        const size_t at = fetch(path, true).find("Error 404");
        EXPECT_TRUE(at != std::string::npos && at > 0) << path;
    };
    for (const char* path : {"/", "/index.html", "/infos", "/knobs?1/2", "/dinfo/x"})
        expect404(path);
    EXPECT_EQ(unit.requests().back(), "GET /dinfo/x HTTP/1.1");

    unit.command("fault notfound on");
    for (const char* path : {"/info", "/dinfo", "/balance", "/knob?2/5"})
        expect404(path);
    EXPECT_EQ(unit.row(2).value, 512) << "a 404 applies nothing";
}

TEST_F(UnitPages, KnobRequestsOfOneAndOfSeventeenPairsAreApplied)
{
    fetch("/knob?3/512.25", true);
    EXPECT_EQ(unit.row(3).value, 512);
    auto writes = unit.knobWrites();
    ASSERT_EQ(writes.size(), 1u);
    EXPECT_EQ(writes[0].row, 3);
    EXPECT_EQ(writes[0].text, "512.25");
    EXPECT_TRUE(writes[0].accepted);
    EXPECT_TRUE(logged("KNOB 3 512.25 -> 512"));

    const std::pair<int, int> pairs[] = {{0, 250},  {1, 1200},  {2, 100},  {3, 900},  {5, 255}, {6, 7},
                                         {7, 40},   {8, 450},   {10, 3},   {11, 300}, {12, 55}, {14, 1},
                                         {15, 251}, {16, 1201}, {17, 101}, {18, 901}, {19, 451}};
    std::string path = "/knob?0/250.5"; // the first value may carry a fraction
    for (size_t i = 1; i < std::size(pairs); ++i)
        path += "/" + std::to_string(pairs[i].first) + "/" + std::to_string(pairs[i].second);
    unit.clearRecords();
    fetch(path, true);
    EXPECT_EQ(unit.row(0).value, 251);
    for (size_t i = 1; i < std::size(pairs); ++i)
        EXPECT_EQ(unit.row(pairs[i].first).value, pairs[i].second) << "row " << pairs[i].first;
    EXPECT_EQ(unit.knobWrites().size(), 17u);
}

TEST_F(UnitPages, KnobValuesAreClampedMalformedPairsSkippedAndHeldRowsKept)
{
    unit.command("turn 3 700");
    fetch("/knob?2/5000/8/-7/5/200/14/0.7/10/17/x/3/23/5/99/1/22/1/3/200/12", true);
    const std::pair<int, int> expected[] = {{2, 1023}, {8, 0},  {5, 255}, {14, 1},
                                            {10, 17},  {22, 1}, {3, 700}};
    for (const auto& [row, value] : expected)
        EXPECT_EQ(unit.row(row).value, value) << "row " << row;
    EXPECT_TRUE(unit.panel().dual()) << "mode 5 in dual mono";
    EXPECT_TRUE(unit.row(3).held);
    EXPECT_EQ(unit.row(12).value, 100) << "a lone row without value is no pair";
    const auto writes = unit.knobWrites();
    ASSERT_EQ(writes.size(), 11u);
    EXPECT_EQ(std::count_if(writes.begin(), writes.end(), [](const sim::KnobWrite& w) { return w.accepted; }),
              6);
    EXPECT_TRUE(logged("KNOB 3 200 ignored, held on the panel"));
}
} // namespace
