// The unit's HTTP responses, whole: status line, headers and body in one piece, so that a client
// that reads once gets all of it.
#pragma once

#include <string>

namespace morvane::sim::pages
{

struct DeviceInfo
{
    std::string serial, name, mac, model, address;
    int httpPort = 80;
    int statusPort = 0;
};

std::string response(int code, const std::string& body, const char* contentType = "text/html");
std::string info(const std::string& statusMessage);
std::string dinfo(const DeviceInfo& device);
std::string shortDinfo(const DeviceInfo& device); // fewer than 200 bytes, headers included
std::string balance(const std::string& value);
std::string notFound(const std::string& target);
std::string ok();

// The unit's own web page and what its script asks for.
std::string webPanel();
std::string json(const std::string& body);
std::string plainText(const std::string& body);

} // namespace morvane::sim::pages
