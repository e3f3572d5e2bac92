#pragma once

#include <string>

class TCPIP;

// The unit's pages, read once for both the loop and the finder.
namespace DeviceQueries
{
// The status port named by "/info", 0 when none can be read.
int GetDevicePort(TCPIP& tcp, const std::string& logFolder);
// The serial from "/dinfo", "Error" when the page is unusable.
std::string GetSerialFromDevice(TCPIP& tcp, const std::string& logFolder);

// Cutting of the replies, by pattern and fixed offset; none reads past the end.
int portOfInfo(const std::string& reply);
std::string serialOfDinfo(const std::string& reply);
std::string nameOfDinfo(const std::string& reply);
std::string macOfDinfo(const std::string& reply);
// The value behind "balance": ; false (and value untouched) when absent or no number.
bool balanceOfReply(const std::string& reply, float& value);
// "Error 404" anywhere but at the very first byte.
bool is404(const std::string& reply);
} // namespace DeviceQueries
