#pragma once

#include <functional>
#include <string>

// What the daily check and the manual check share: the address, one bounded request, and
// the reading of the reply. Nothing here opens a window or touches a file.
namespace UpdateServer
{
// The platform word of the address: "Mac" on the Apple system, "Linux" here.
const char* platformWord();
// "https://" + the update host: the base of the check and of the download link.
std::string productBase();
// deviceSerial from its fourth character on, at most 20 characters, escaped for a path.
std::string identityText(const std::string& serial);
// "/Plugin/" + platform word + "/" + identity text + "/" + version.
std::string checkPath(const std::string& serial, const std::string& version);

// Results of fetch.
constexpr int received = 1;
constexpr int noStream = -1;    // no connection, time-out, or given up
constexpr int errorStatus = -2; // the server answered with an HTTP error
constexpr int stopped = -3;     // shouldStop rose or the hard limit passed

// How long curl may wait for the connection and for any progress.
constexpr int requestTimeoutMs = 4000;
// Beyond this the request is cancelled whatever the server does (a trickling reply).
constexpr int hardLimitMs = 8000;
// A reply is a few dozen bytes; more than this is not read.
constexpr std::size_t replyLimit = 64 * 1024;

// One plain GET of address. The body lands in reply. shouldStop (may be empty) is polled
// about every 10 ms; when it returns true, fetch returns at once and the cancelled request
// ends on its own thread, joined later (joinPendingRequests).
int fetch(const std::string& address, std::string& reply, const std::function<bool()>& shouldStop = {},
          int timeoutMs = requestTimeoutMs, int limitMs = hardLimitMs);
// Waits for the cancelled requests still ending (each within about a second). The owner of
// the last editor calls it before the code can go away.
void joinPendingRequests();

// The server's error answer: "404" anywhere in the reply, also inside a link or a version.
bool reportsError(const std::string& reply);

struct Offer
{
    bool available = false; // the second field holds "true"
    std::string link;       // the third field, between its quotes
};
// Cuts the three comma-separated fields. False when the ':' or the commas are missing.
bool cutReply(const std::string& reply, Offer& offer);
// A link is offered only as a path on the update host: it starts with "/" and holds no
// blank, control character or quote, so "https://" + host + link can't lead elsewhere.
bool isServerPath(const std::string& link);

// What a reply tells the user.
enum class Answer
{
    unavailable, // "404" anywhere
    latest,      // no offer, or a reply that can't be cut
    update,      // "true" in the second field and a link that is a path on the update host
};
// Reads a received reply; link is set for an update only.
Answer readAnswer(const std::string& reply, std::string& link);
} // namespace UpdateServer
