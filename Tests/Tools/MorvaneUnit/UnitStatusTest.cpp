// The status stream: exact separators, realistic rows, who gets it, and its faults.
#include "UnitTestSupport.h"

#include <filesystem>

using namespace morvane;
using namespace morvane::test;

namespace
{
class UnitStatus : public UnitCase<2>
{
protected:
    // The second datagram after a change: certainly formed after it.
    Datagram nextAfterChange()
    {
        receiver.drain();
        receiver.receive(2000);
        return receiver.receive(2000);
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

// Own range per control, unused rows 4, 9, 13 with max == min, High Gain (row 22) not reported.
TEST_F(UnitStatus, SeparatorsAreExactAndRowsRealistic)
{
    for (const char* c : {"set 2 777", "turn 17 333", "comp -1500 -20000.5", "clip 3", "highgain on"})
        unit.command(c);
    ASSERT_TRUE(get("/info"));
    EXPECT_EQ(
        nextAfterChange().data,
        "{\"Potis\":[[30, 500, 1, 0, 0],[300, 2500, 10, 0, 0],[777, 1023, 0, 0, 0],[512, 1023, 0, 0, 0],"
        "[0, 0, 0, 0, 0],[0, 255, 0, 0, 0],[1, 21, 1, 0, 0],[80, 100, 1, 0, 0],[300, 600, 0, 0, 0],"
        "[0, 0, 0, 0, 0],[0, 23, 0, 0, 0],[80, 500, 20, 0, 0],[100, 100, 0, 0, 0],[0, 0, 0, 0, 0],"
        "[0, 1, 0, 0, 0],[30, 500, 1, 0, 0],[300, 2500, 10, 0, 0],[333, 1023, 0, 0, 1],"
        "[512, 1023, 0, 0, 0],[300, 600, 0, 0, 0],[80, 500, 20, 0, 0],[100, 100, 0, 0, 0]],"
        "\"comp\":[-1500, -20000.5],\"clip\":3}");
}

TEST_F(UnitStatus, OnlyAddressesThatAskedGetTheLoggedStreamAndEachFaultDoesWhatItSays)
{
    EXPECT_FALSE(receiver.receive(150));
    ASSERT_TRUE(get("/info"));
    const Datagram normal = nextAfterChange();
    EXPECT_EQ(normal.from, cfg.address);
    EXPECT_TRUE(waitUntil(
        [&] { return logged("DATAGRAM 127.0.0.1:" + std::to_string(cfg.statusPort) + " "); }, 1000));
    unit.command("datagrams off");
    const auto before = std::filesystem::file_size(cfg.logPath);
    const uint64_t sent = unit.datagramsSent();
    ASSERT_TRUE(waitUntil([&] { return unit.datagramsSent() > sent + 5; }, 2000));
    EXPECT_EQ(std::filesystem::file_size(cfg.logPath), before) << "sent, not logged";
    unit.command("fault silent on");
    receiver.drain();
    receiver.receive(100); // one formed before the fault
    receiver.drain();
    EXPECT_FALSE(receiver.receive(150));
    unit.command("fault silent off");
    EXPECT_EQ(nextAfterChange().from, cfg.address);
    const Datagram foreign = underFault("foreign");
    EXPECT_TRUE(foreign.from != cfg.address && foreign.from.rfind("127.", 0) == 0) << foreign.from;
    EXPECT_EQ(foreign.data, normal.data) << "only the sender is wrong";
    std::string d = underFault("garbage").data;
    EXPECT_TRUE(!d.empty() && d.find("\"comp\"") == std::string::npos) << d;
    d = underFault("truncated").data;
    EXPECT_TRUE(d.size() > 10 && d.size() < normal.data.size() && normal.data.rfind(d, 0) == 0) << d;
    d = underFault("oversized").data;
    EXPECT_GT(d.size(), 2047u);
    EXPECT_EQ(d.substr(0, 2047).find("comp"), std::string::npos)
        << "what a 2047-byte read keeps lacks the meters";
    EXPECT_EQ(d.rfind(normal.data.substr(0, normal.data.find("]],")), 0), 0u) << "the real rows come first";
}

using UnitStatusClients = UnitCase<3, 300>;

TEST_F(UnitStatusClients, AClientIsForgottenAfterItsMemory)
{
    UdpPort receiver("0.0.0.0", cfg.statusPort);
    ASSERT_TRUE(get("/dinfo"));
    ASSERT_TRUE(receiver.receive(1000));
    std::this_thread::sleep_for(std::chrono::milliseconds(500));
    receiver.drain();
    EXPECT_FALSE(receiver.receive(200));

    // A connection that asks nothing, such as the plug-in's connection test, makes a client too.
    const int fd = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    const sockaddr_in sa = socketAddress(cfg.address, cfg.httpPort);
    ASSERT_EQ(::connect(fd, reinterpret_cast<const sockaddr*>(&sa), sizeof sa), 0);
    ::close(fd);
    EXPECT_TRUE(receiver.receive(1000)) << "no status after a bare connection";
}
} // namespace
