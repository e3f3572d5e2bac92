// The unit's pages, byte for byte, against the plug-in's fixed-offset cuts.
#include "UnitTestSupport.h"

#include <regex>

using namespace morvane;
using namespace morvane::test;
using namespace std::string_literals;

namespace
{
using UnitPages = UnitCase<1>;

TEST_F(UnitPages, DinfoInfoAndBalanceHoldWhatThePluginCutsOut)
{
    const std::string page = text("/dinfo", true); // one read, as the serial check does
    const std::string body = page.substr(std::min(page.size(), page.find("\r\n\r\n") + 4));
    EXPECT_GE(page.size(), 200u);
    EXPECT_NE(page.find("Connection: close\r\n"), std::string::npos);
    EXPECT_EQ(body.rfind("{SNR: \"", 0), 0u) << "the serial is the first entry";
    EXPECT_TRUE(std::regex_match(body, std::regex(R"(\{\w+: "[^"]*"(, \w+: "[^"]*")+\})"))) << body;
    const std::string name = cut(page, "dname:", 8, 30);
    EXPECT_EQ(serialIn(page), "MORVAN0001"s);
    EXPECT_EQ(name.substr(0, name.find('"')), "MORVAN0001"s);
    EXPECT_EQ(cut(page, "mac:", 6, 17), "02:4d:56:00:00:0b"s);

    const std::string info = text("/info");
    EXPECT_EQ(info.find('{'), info.find("\r\n\r\n") + 4) << "nothing but headers before the message";
    EXPECT_EQ(std::atoi(cut(info, "port", 7, 5).c_str()), cfg.statusPort);
    EXPECT_TRUE(std::regex_search(info, std::regex(R"(\]\],"comp":\[[^\]]*\],"clip":-?\d+,"port": \d+\}$)")))
        << info;

    for (const auto& [query, shown] :
         {std::pair{"/balance?2.5", "2.5\"}"}, {"/balance?abc", "2.5\"}"}, {"/balance?-3", "-3\"}"}})
    {
        text(query);
        EXPECT_EQ(cut(text("/balance", true), "e\": ", 5, 5), shown) << query;
    }
}

TEST_F(UnitPages, Error404IsAfterTheFirstByteOnUnknownPagesAndOnEveryPageUnderTheFault)
{
    // Five unknown pages, then known ones under the fault.
    const char* const paths[] = {"/ui/x", "/index.html", "/infos",   "/knobs?1/2", "/dinfo/x",
                                 "/info", "/dinfo",      "/balance", "/knob?2/5"};
    for (size_t i = 0; i < std::size(paths); ++i)
    {
        if (i == 5)
            unit.command("fault notfound on");
        const size_t at = text(paths[i], true).find("Error 404");
        EXPECT_TRUE(at != std::string::npos && at > 0) << paths[i];
    }
    EXPECT_TRUE(logged("GET /dinfo/x HTTP/1.1"));
    EXPECT_EQ(unit.row(2).value, 512) << "a 404 applies nothing";
}

TEST_F(UnitPages, KnobValuesAreClampedMalformedPairsSkippedHeldRowsKeptAndSeventeenPairsApplied)
{
    unit.command("turn 3 700");
    text("/knob?2/5000/8/-7/5/200/14/0.7/10/17/x/3/23/5/99/1/22/1/3/200/12", true);
    const std::pair<int, int> expected[] = {
        {2, 1023}, {8, 0},  {5, 255}, {14, 1},
        {10, 17},  {22, 1}, {3, 700}, {12, 100}}; // a lone row without value is no pair
    for (const auto& [row, value] : expected)
        EXPECT_EQ(unit.row(row).value, value) << "row " << row;
    const auto writes = unit.knobWrites();
    EXPECT_EQ(std::count_if(writes.begin(), writes.end(), [](const sim::KnobWrite& w) { return w.accepted; }),
              6);
    EXPECT_TRUE(logged("KNOB 3 200 ignored, held on the panel"));

    unit.command("release 3");
    text("/knob?3/512.25", true);
    EXPECT_EQ(unit.row(3).value, 512);
    EXPECT_TRUE(logged("KNOB 3 512.25 -> 512"));
    const std::pair<int, int> pairs[] = {{1, 1200},  {2, 100},  {3, 900},  {5, 0},   {6, 7},  {7, 40},
                                         {8, 450},   {10, 3},   {11, 300}, {12, 55}, {14, 0}, {15, 251},
                                         {16, 1201}, {17, 101}, {18, 901}, {19, 451}};
    std::string path = "/knob?0/250.5"; // the first value may carry a fraction
    for (const auto& [row, value] : pairs)
        path += "/" + std::to_string(row) + "/" + std::to_string(value);
    text(path, true);
    EXPECT_EQ(unit.row(0).value, 251);
    for (const auto& [row, value] : pairs)
        EXPECT_EQ(unit.row(row).value, value) << "row " << row;
}

TEST_F(UnitPages, TheWebPageTurnsByCommandShowsTheStateAndStaysUpUnderThePluginPagesFaults)
{
    const std::string page = text("/");
    EXPECT_NE(page.find("Content-Type: text/html; charset=utf-8\r\n"), std::string::npos);
    EXPECT_NE(page.find("<svg id=\"panel\""), std::string::npos);
    EXPECT_FALSE(std::regex_search(page, std::regex(R"((src|href)="(https?:)?//)")))
        << "nothing from elsewhere";

    const std::string reply = text("/ui/command?turn%203+700");
    EXPECT_EQ(reply.substr(std::min(reply.size(), reply.find("\r\n\r\n") + 4)), "ok") << reply;
    const std::string state = text("/ui/state");
    EXPECT_NE(state.find("Content-Type: application/json\r\n"), std::string::npos);
    EXPECT_NE(state.find(R"("rows":[[30,1,500,0],[300,10,2500,0],[512,0,1023,0],[700,0,1023,1],)"),
              std::string::npos)
        << state;
    for (const char* name : {"notfound", "close", "hang", "slow"})
    {
        unit.command("fault "s + name + " on");
        EXPECT_NE(text("/ui/state").find("[\""s + name + "\",true]"), std::string::npos) << name;
        unit.command("fault "s + name + " off");
    }
    EXPECT_NE(unit.command("status").find("clients:\n"), std::string::npos) << "a browser gets no datagrams";
}
} // namespace
