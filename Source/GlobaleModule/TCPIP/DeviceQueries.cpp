#include "TCPIP/DeviceQueries.h"

#include "Debug/Debug.h"
#include "Ground/TextHelpers.h"
#include "TCPIP/TCPIP.h"

namespace DeviceQueries
{
namespace
{
// The reply a page test looks at: this call's response, or on failure the one before it.
std::string replyOf(const TCPIP::Response& response, const TCPIP& tcp)
{
    return response.code == 1 ? response.text : tcp.getReply();
}

void log(int level, const std::string& message, const std::string& folder)
{
    Debug::DebugLog(level, juce::String::fromUTF8(message.c_str()), __FILE__, __LINE__, folder);
}
} // namespace

bool is404(const std::string& reply)
{
    return TextCut::foundAboveZero(reply, "Error 404");
}

int portOfInfo(const std::string& reply)
{
    const auto cutText = TextCut::cutBehind(reply, "port", 7, 5);
    return cutText.empty() ? 0 : StringInInt(cutText);
}

std::string serialOfDinfo(const std::string& reply)
{
    return TextCut::cutBehind(reply, "{SNR: ", 7, 10);
}

std::string nameOfDinfo(const std::string& reply)
{
    return TextCut::cutBehind(reply, "dname:", 8, 30);
}

std::string macOfDinfo(const std::string& reply)
{
    return TextCut::cutBehind(reply, "mac:", 6, 17);
}

bool balanceOfReply(const std::string& reply, float& value)
{
    const auto cutText = TextCut::cutBehind(reply, "e\": ", 5, 5, true);
    return !cutText.empty() && TextCut::readFloat(cutText, value);
}

int GetDevicePort(TCPIP& tcp, const std::string& folder)
{
    const auto response = tcp.Fetch("/info", false);
    const auto reply = replyOf(response, tcp);
    const bool hit404 = is404(reply);
    if (response.code < 0 || hit404 || reply.size() <= 4)
    {
        const auto c = IntInString(tcp.CheckSocketConnection());
        if (response.code < 0)
            log(101, "Error in GetDevicePort, result < 0 " + c, folder);
        if (hit404)
            log(101, "Error in GetDevicePort, find 404 " + c, folder);
        if (reply.size() < 200)
            log(101,
                "Error in CheckDeviceSequenz, length is " + IntInString((int)reply.size()) +
                    " returned = " + reply + " " + c,
                folder);
    }
    if (!TextCut::foundAboveZero(reply, "port"))
        log(99999, "ACHTUNG PORT NICHT GEFUNDEN", folder);
    return portOfInfo(reply);
}

std::string GetSerialFromDevice(TCPIP& tcp, const std::string& folder)
{
    const auto response = tcp.Fetch("/dinfo", true);
    const auto reply = replyOf(response, tcp);
    const bool failed = response.code < 0;
    const bool hit404 = is404(reply);
    const bool tooShort = reply.size() < 200;
    if (failed || hit404 || tooShort)
    {
        const auto c = IntInString(tcp.CheckSocketConnection());
        if (failed)
            log(101, "Error in GetSerialFromDevice, result < 0 " + c, folder);
        if (hit404)
            log(101, "Error in GetSerialFromDevice, find 404 " + c, folder);
        if (tooShort)
            log(101,
                "Error in GetSerialFromDevice, length is " + IntInString((int)reply.size()) +
                    " returned = " + reply + " " + c,
                folder);
        return "Error";
    }
    const auto serial = serialOfDinfo(reply);
    return serial.empty() ? std::string("Error") : serial;
}
} // namespace DeviceQueries
