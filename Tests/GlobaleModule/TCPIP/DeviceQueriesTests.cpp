// The unit's pages as the plug-in cuts them: by pattern and fixed offset, never past the end.
#include "DeviceQueries.h"
#include "GlobalData.h"
#include "LocalListener.h"
#include "SafeAndLoad.h"
#include "TCPIP.h"
#include "TestEnvironment.h"

#include <gtest/gtest.h>

namespace
{
const std::string header = "HTTP/1.1 200 OK\r\nContent-Type: text/html\r\nConnection: close\r\n\r\n";

std::string dinfoOfLength(std::size_t length, const std::string& serial = "MV12345678")
{
    std::string page = header + "{SNR: \"" + serial + "\", dname: \"MORVANE-01\", mac: \"02:00:00:aa:bb:cc\"";
    while (page.size() + 1 < length)
        page += " ";
    page += "}";
    return page.substr(0, length);
}

struct Unit
{
    LocalListener listener;
    Settings settings;
    GlobalData global{&settings};
    SafeAndLoad store{&settings, &global};
    TCPIP tcp{&store, &global, &settings};

    explicit Unit(const std::string& answer) : listener(LocalListener::Mode::answer, answer)
    {
        tcp.SetIP("127.0.0.1");
        tcp.setPort(listener.port());
    }
};
} // namespace

TEST(DinfoPage, SerialNameAndMacAreCutByLength)
{
    const auto page = dinfoOfLength(260);
    EXPECT_EQ(DeviceQueries::serialOfDinfo(page), "MV12345678");
    EXPECT_EQ(DeviceQueries::nameOfDinfo(page).substr(0, 10), "MORVANE-01");
    EXPECT_EQ(DeviceQueries::macOfDinfo(page), "02:00:00:aa:bb:cc");

    // A short serial comes back with its quote and what follows: the cut is by length.
    EXPECT_EQ(DeviceQueries::serialOfDinfo(dinfoOfLength(260, "AB12")), "AB12\", dna");
}

TEST(DinfoPage, LengthAnd404DecideWhetherTheSerialIsRead)
{
    auto with404 = dinfoOfLength(260);
    with404.replace(with404.size() - 20, 9, "Error 404");
    const std::pair<std::string, const char*> cases[] = {
        {dinfoOfLength(199), "Error"},
        {dinfoOfLength(200), "MV12345678"},
        {with404, "Error"},
        {"Error 404" + dinfoOfLength(250).substr(9), "MV12345678"}, // at the first byte it passes
    };
    for (const auto& [page, serial] : cases)
    {
        Unit unit(page);
        EXPECT_EQ(DeviceQueries::GetSerialFromDevice(unit.tcp, "Morvane"), serial) << page.substr(0, 30);
    }
}

TEST(DinfoPage, HostileRepliesNeverReadPastTheEnd)
{
    for (const std::string reply : {"{SNR: ", "{SNR: \"AB", "dname:", "mac:", "", "{", "mac: \"0"})
    {
        EXPECT_LE(DeviceQueries::serialOfDinfo(reply).size(), 10u);
        EXPECT_LE(DeviceQueries::nameOfDinfo(reply).size(), 30u);
        EXPECT_LE(DeviceQueries::macOfDinfo(reply).size(), 17u);
    }
    // 200 bytes without the serial's pattern: the page is unusable.
    Unit unit(header + std::string(250, 'x'));
    EXPECT_EQ(DeviceQueries::GetSerialFromDevice(unit.tcp, "Morvane"), "Error");
}

TEST(InfoPage, PortIsFoundBehindTheStatus)
{
    const std::string status(300, 's');
    Unit unit(header + "{\"s\":[[" + status + "]],\"port\": 7123, \"comp\":[0, 0],\"clip\":0}");
    EXPECT_EQ(DeviceQueries::GetDevicePort(unit.tcp, "Morvane"), 7123);

    // A short reply still gives its port (and only logs its length).
    Unit shortUnit("x{\"port\": 9001}");
    EXPECT_EQ(DeviceQueries::GetDevicePort(shortUnit.tcp, "Morvane"), 9001);
}

TEST(InfoPage, NoPortGivesZero)
{
    EXPECT_EQ(DeviceQueries::portOfInfo("{\"comp\":[0, 0]}"), 0);
    EXPECT_EQ(DeviceQueries::portOfInfo("x\"port"), 0);
    EXPECT_EQ(DeviceQueries::portOfInfo("x\"port\": "), 0);
    EXPECT_EQ(DeviceQueries::portOfInfo("x\"port\": 12345678"), 12345);

    Unit unit(header + "{\"comp\":[0, 0],\"clip\":0}");
    EXPECT_EQ(DeviceQueries::GetDevicePort(unit.tcp, "Morvane"), 0);
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
