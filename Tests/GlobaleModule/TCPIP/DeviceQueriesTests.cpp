// The unit's pages as the plug-in cuts them: by pattern and fixed offset, never past the end.
#include "LocalListener.h"
#include "TCPIP/DeviceQueries.h"
#include "TransportRig.h"

#include <gtest/gtest.h>

namespace
{
const std::string header = "HTTP/1.1 200 OK\r\nContent-Type: text/html\r\nConnection: close\r\n\r\n";

std::string dinfoOfLength(std::size_t length, const std::string& serial = "MV12345678")
{
    std::string page = header + "{SNR: \"" + serial + "\", dname: \"MORVANE-01\", mac: \"02:00:00:aa:bb:cc\"";
    page.resize(length - 1, ' ');
    return page + "}";
}

// What `query` reads from a unit that serves this page.
template <typename Query> auto served(const std::string& page, Query query)
{
    LocalListener unit(LocalListener::Mode::answer, page);
    Transport t(unit.port());
    return query(t.tcp, "Morvane");
}
} // namespace

TEST(DinfoPage, SerialNameAndMacAreCutByLengthNeverPastTheEnd)
{
    const auto page = dinfoOfLength(260);
    EXPECT_EQ(DeviceQueries::serialOfDinfo(page) + DeviceQueries::nameOfDinfo(page).substr(0, 10) +
                  DeviceQueries::macOfDinfo(page),
              "MV12345678MORVANE-0102:00:00:aa:bb:cc");
    // A short serial comes back with its quote and what follows: the cut is by length.
    EXPECT_EQ(DeviceQueries::serialOfDinfo(dinfoOfLength(260, "AB12")), "AB12\", dna");
    for (const std::string reply : {"{SNR: ", "{SNR: \"AB", "dname:", "mac:", "", "{", "mac: \"0"})
    {
        EXPECT_LE(DeviceQueries::serialOfDinfo(reply).size() + DeviceQueries::nameOfDinfo(reply).size() +
                      DeviceQueries::macOfDinfo(reply).size(),
                  reply.size());
    }
}

TEST(DinfoPage, LengthPatternAnd404DecideWhetherTheSerialIsRead)
{
    auto with404 = dinfoOfLength(260);
    with404.replace(with404.size() - 20, 9, "Error 404");
    const std::pair<std::string, const char*> cases[] = {
        {dinfoOfLength(199), "Error"},
        {dinfoOfLength(200), "MV12345678"},
        {with404, "Error"},
        {"Error 404" + dinfoOfLength(250).substr(9), "MV12345678"}, // at the first byte it passes
        {header + std::string(250, 'x'), "Error"},                  // long enough, but no serial
    };
    for (const auto& [page, serial] : cases)
        EXPECT_EQ(served(page, DeviceQueries::GetSerialFromDevice), serial) << page.substr(0, 30);
}

TEST(InfoPage, PortIsFoundBehindTheStatusOrIsZero)
{
    // A short reply still gives its port; one without "port" gives 0.
    const std::pair<std::string, int> pages[] = {
        {header + "{\"s\":[[" + std::string(300, 's') + "]],\"port\": 7123, \"comp\":[0, 0]}", 7123},
        {"x{\"port\": 9001}", 9001},
        {header + "{\"comp\":[0, 0],\"clip\":0}", 0},
        {"x\"port", 0},
        {"x\"port\": ", 0},
        {"x\"port\": 12345678", 12345},
    };
    for (const auto& [page, port] : pages)
        EXPECT_EQ(served(page, DeviceQueries::GetDevicePort), port) << page.substr(0, 30);
}

TEST(BalancePage, ValueIsTakenFiveBytesBehindThePattern)
{
    float value = 3.0f;
    EXPECT_TRUE(DeviceQueries::balanceOfReply(header + "{\"balance\": \"-1.25\"}", value));
    EXPECT_FLOAT_EQ(value, -1.25f);
    value = 3.0f;
    EXPECT_FALSE(DeviceQueries::balanceOfReply(header + "{\"balance\": \"abc\"}", value));
    EXPECT_FALSE(DeviceQueries::balanceOfReply(header + "{\"other\": 1}", value));
    EXPECT_FALSE(DeviceQueries::balanceOfReply("e\": \"1\"", value)); // only at byte 0
    EXPECT_FALSE(DeviceQueries::balanceOfReply(header + "\"balance\": ", value));
    EXPECT_FLOAT_EQ(value, 3.0f);
}
