// How the finder judges a unit by its "/dinfo" page, against a loopback web server.
#include "DeviceFinder/DeviceFinder.h"
#include "LocalListener.h"
#include "Studio.h"

namespace
{
// A page of exactly length bytes that begins with text.
std::string pageOf(const std::string& text, std::size_t length)
{
    std::string page = text;
    page.resize(length, 'x');
    return page;
}

const std::string dinfoHead = "HTTP/1.1 200 OK\r\n\r\n{SNR: \"MORVAN0042\", dname: \"MORVAN Studio A\", ";

class OfflineFinderPages : public ::testing::Test
{
protected:
    void answerOn(int port)
    {
        computer.tcp.setPort(port);
        computer.tcp.SetIP("127.0.0.1");
    }

    FreshHome home;
    Computer computer;
    DeviceFinder finder{&computer.settings, &computer.tcp, &computer.broadcast, &computer.global};
};
} // namespace

TEST_F(OfflineFinderPages, APageIsJudgedByProductLengthErrorAndStoredSerial)
{
    const std::string foreign = pageOf("HTTP/1.1 200 OK\r\n\r\n{SNR: \"VLMEQ00007\", dname: \"EQ-2\"", 300);
    struct Case
    {
        const char* storedSerial;
        std::string page;
        int index, result;
    };
    const Case cases[] = {
        {"", pageOf(dinfoHead, 199), 1, -1}, // too short
        {"", pageOf(dinfoHead, 200), 1, 1},
        {"", foreign, 1, -1},                              // not the product
        {"", pageOf("Error 404 " + dinfoHead, 300), 1, 1}, // an error counts only behind the first byte
        {"", pageOf(dinfoHead + "Error 404", 300), 1, -1},
        {"MORVAN0042", pageOf(dinfoHead, 300), 1, 1},
        {"VLMEQ00007", foreign, 1, -9},
        {"MORVAN0001", pageOf(dinfoHead, 300), 3, 2}, // another unit of ours
    };
    for (const auto& entry : cases)
    {
        SCOPED_TRACE(std::string(entry.storedSerial) + " " + std::to_string(entry.page.size()));
        LocalListener listener(LocalListener::Mode::answer, entry.page);
        answerOn(listener.port());
        computer.global.deviceSerial = entry.storedSerial;
        EXPECT_EQ(finder.CheckRightDevice(entry.index), entry.result);
    }
    EXPECT_EQ(computer.global.wrongSerialNames.get(2), "MORVAN Studio A")
        << "stored at the candidate's index - 1";
    const auto log = Studio::log();
    EXPECT_NE(log.find("101:::Error in CheckRightDevice, length is 199 returned = "), std::string::npos);
    EXPECT_NE(log.find("101:::Error in CheckRightDevice, find 404:::"), std::string::npos);

    answerOn(std::make_unique<LocalListener>(LocalListener::Mode::answer)->port());
    EXPECT_EQ(finder.CheckRightDevice(1), -2) << "no connection";
}

TEST_F(OfflineFinderPages, NameSerialAndPortAreCutFromThePages)
{
    EXPECT_EQ(finder.GetDName(dinfoHead), "MORVAN Studio A");
    EXPECT_EQ(finder.GetDName("{dname: \"" + std::string(40, 'n') + "\""), std::string(30, 'n'));
    EXPECT_EQ(finder.GetDName("0123456789abc\"def"), "789abc") << "no key: from the eighth byte";
    EXPECT_EQ(finder.GetDName("short"), "");

    LocalListener listener(LocalListener::Mode::answer, pageOf(dinfoHead + "\"port\": 7005, ", 300));
    answerOn(listener.port());
    EXPECT_EQ(finder.GetSerialFromDevice(), std::string("MORVAN0042"));
    EXPECT_EQ(finder.GetDevicePort(), 7005);

    // A closing instance gets "Exit" instead of a name.
    computer.global.quitRequested = true;
    EXPECT_EQ(finder.GetDName(dinfoHead), "Exit");
    EXPECT_NE(Studio::log().find("0:::DeviceFinderForceQuit2:::"), std::string::npos);
}
