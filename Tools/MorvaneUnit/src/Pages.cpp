#include "Pages.h"

#include "PanelPage.h"

namespace morvane::sim::pages
{
namespace
{
std::string entry(const char* key, const std::string& value, bool first = false)
{
    return std::string(first ? "{" : ", ") + key + ": \"" + value + "\"";
}

const char* reason(int code)
{
    return code == 200 ? "OK" : "Not Found";
}
} // namespace

std::string response(int code, const std::string& body, const char* contentType)
{
    return "HTTP/1.1 " + std::to_string(code) + " " + reason(code) +
           "\r\nServer: VAW-Unit/2\r\nContent-Type: " + contentType +
           "\r\nContent-Length: " + std::to_string(body.size()) + "\r\nConnection: close\r\n\r\n" + body;
}

std::string info(const std::string& statusMessage)
{
    return response(200, statusMessage);
}

// Key, colon, blank, quoted value; "{SNR: " first, since the serial is cut 7 bytes behind it.
std::string dinfo(const DeviceInfo& d)
{
    std::string body = entry("SNR", d.serial, true) + entry("dname", d.name) + entry("mac", d.mac) +
                       entry("model", d.model) + entry("maker", "Velmora Audio Works") + entry("hw", "3") +
                       entry("fw", "2.3.10") + entry("ip", d.address) + entry("mask", "255.255.255.0") +
                       entry("dhcp", "off") + entry("http", std::to_string(d.httpPort)) +
                       entry("stream", std::to_string(d.statusPort)) + "}";
    return response(200, body);
}

std::string shortDinfo(const DeviceInfo& d)
{
    return "HTTP/1.1 200 OK\r\nConnection: close\r\n\r\n" + entry("SNR", d.serial, true) + "}";
}

std::string balance(const std::string& value)
{
    return response(200, "{\"balance\": \"" + value + "\"}");
}

std::string notFound(const std::string& target)
{
    return response(404, "<html><head><title>Not Found</title></head><body><h1>Error 404</h1><p>" + target +
                             " is not here.</p></body></html>");
}

std::string ok()
{
    return response(200, "OK");
}

std::string webPanel()
{
    return response(200, panelPage, "text/html; charset=utf-8");
}

std::string json(const std::string& body)
{
    return response(200, body, "application/json");
}

std::string plainText(const std::string& body)
{
    return response(200, body, "text/plain; charset=utf-8");
}

} // namespace morvane::sim::pages
