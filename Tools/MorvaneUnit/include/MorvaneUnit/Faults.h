// The ways a unit on a real network fails, each switchable at run time ("fault NAME on|off").
#pragma once

#include <optional>
#include <string>

namespace morvane::sim
{

enum class Fault
{
    Silent,     // no status datagrams
    Foreign,    // status datagrams from another address
    Garbage,    // status datagrams of random bytes
    Truncated,  // status datagrams cut in half
    Oversized,  // status datagrams of more than 2047 bytes (extra rows before "comp")
    Refused,    // the HTTP port is closed: connections are refused
    Hang,       // accept, read the request, never answer
    Close,      // read the request, close without a byte
    Slow,       // answer a byte at a time
    NotFound,   // "Error 404" for every page
    ShortDinfo, // /dinfo of fewer than 200 bytes
    Product,    // the pages of another product
    Serial,     // another serial (and the name that goes with it)
    NoPort,     // /info without "port"
    Vanish      // every socket closed; off again: the unit comes back
};

constexpr int faultCount = static_cast<int>(Fault::Vanish) + 1;

const char* faultName(Fault f);
std::optional<Fault> faultFromName(const std::string& name);
std::string faultNames(); // all names, blank separated

} // namespace morvane::sim
