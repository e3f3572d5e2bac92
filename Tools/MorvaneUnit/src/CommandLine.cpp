#include "CommandLine.h"

#include "Net.h"

#include <arpa/inet.h>
#include <chrono>
#include <cstdlib>
#include <thread>

namespace morvane::sim
{
namespace
{
bool number(const std::string& text, long lo, long hi, long& out)
{
    char* end = nullptr;
    out = std::strtol(text.c_str(), &end, 10);
    return !text.empty() && *end == '\0' && out >= lo && out <= hi;
}

std::string addressPlus(const std::string& address, int k)
{
    uint32_t a = 0;
    if (!net::parseAddress(address, a))
        return address;
    return net::addressText(htonl(ntohl(a) + static_cast<uint32_t>(k)));
}

// The serial's trailing number plus k, same width: MORVAN0001 -> MORVAN0002.
std::string serialPlus(const std::string& serial, int k)
{
    size_t digits = serial.size();
    while (digits > 0 && serial[digits - 1] >= '0' && serial[digits - 1] <= '9')
        --digits;
    const std::string tail = serial.substr(digits);
    if (tail.empty() || tail.size() > 9)
        return serial + std::to_string(k);
    std::string n = std::to_string(std::stol(tail) + k);
    if (n.size() < tail.size())
        n = std::string(tail.size() - n.size(), '0') + n;
    return serial.substr(0, digits) + n;
}
} // namespace

std::string usage()
{
    return "usage: morvane-unit [options]\n"
           "  --address A          the unit's IPv4 address (127.0.0.2)\n"
           "  --http-port P        web server port (80)\n"
           "  --status-port Q      port the status datagrams go to (7001)\n"
           "  --discovery-port D   discovery port (4029)\n"
           "  --serial S           serial number, 10 characters (MORVAN0001)\n"
           "  --name N             name in discovery and /dinfo (the serial)\n"
           "  --mac M              MAC address (02:4d:56 and the address's last three bytes)\n"
           "  --foreign-address F  sender of the fault \"foreign\" (on 127/8: a neighbour address)\n"
           "  --period-ms T        status period (40)\n"
           "  --client-memory-ms C how long a client keeps getting status (300000)\n"
           "  --log FILE           log file, - for none (/tmp/morvane-unit-<address>.log)\n"
           "  --no-datagram-log    do not log each status datagram\n"
           "  --units N            run N units: addresses, status ports and serials counted up (1)\n"
           "  --script FILE        run these line commands first (plus: sleep MS, unit K, quit)\n"
           "  --control FIFO       also read line commands from this named pipe (made if missing)\n"
           "  --help               this text\n"
           "Line commands on standard input, in the script or the FIFO; with several units,\n"
           "\"unit K\" (1-based) picks the one that takes the following commands.\n\n" +
           Unit::commandHelp();
}

bool parseOptions(int argc, char** argv, Options& o, std::string& err)
{
    for (int i = 1; i < argc; ++i)
    {
        const std::string opt = argv[i];
        if (opt == "--help" || opt == "-h")
        {
            o.help = true;
            continue;
        }
        if (opt == "--no-datagram-log")
        {
            o.unit.logDatagrams = false;
            continue;
        }
        if (i + 1 >= argc)
        {
            err = "missing value for " + opt;
            return false;
        }
        const std::string v = argv[++i];
        long n = 0;
        bool ok = true;
        if (opt == "--address")
            o.unit.address = v;
        else if (opt == "--http-port" && (ok = number(v, 1, 65535, n)))
            o.unit.httpPort = static_cast<uint16_t>(n);
        else if (opt == "--status-port" && (ok = number(v, 1, 65535, n)))
            o.unit.statusPort = static_cast<uint16_t>(n);
        else if (opt == "--discovery-port" && (ok = number(v, 1, 65535, n)))
            o.unit.discoveryPort = static_cast<uint16_t>(n);
        else if (opt == "--serial")
            o.unit.serial = v;
        else if (opt == "--name")
            o.unit.name = v;
        else if (opt == "--mac")
            o.unit.mac = v;
        else if (opt == "--foreign-address")
            o.unit.foreignAddress = v;
        else if (opt == "--period-ms" && (ok = number(v, 1, 600000, n)))
            o.unit.periodMs = static_cast<int>(n);
        else if (opt == "--client-memory-ms" && (ok = number(v, 1, 86400000, n)))
            o.unit.clientMemoryMs = static_cast<int>(n);
        else if (opt == "--log")
        {
            o.unit.logPath = v == "-" ? "" : v;
            o.logGiven = true;
        }
        else if (opt == "--units" && (ok = number(v, 1, 200, n)))
            o.units = static_cast<int>(n);
        else if (opt == "--script")
            o.script = v;
        else if (opt == "--control")
            o.control = v;
        else if (ok)
        {
            err = "unknown option " + opt;
            return false;
        }
        if (!ok)
        {
            err = "bad value for " + opt + ": " + v;
            return false;
        }
    }
    uint32_t a = 0;
    if (!net::parseAddress(o.unit.address, a))
    {
        err = "not an IPv4 address: " + o.unit.address;
        return false;
    }
    return true;
}

std::vector<UnitConfig> unitConfigs(const Options& o)
{
    std::vector<UnitConfig> configs;
    for (int k = 0; k < o.units; ++k)
    {
        UnitConfig c = o.unit;
        c.address = addressPlus(o.unit.address, k);
        c.statusPort = static_cast<uint16_t>(o.unit.statusPort + k);
        c.serial = serialPlus(o.unit.serial, k);
        if (!o.unit.name.empty() && k > 0)
            c.name = o.unit.name + "-" + std::to_string(k + 1);
        if (k > 0)
        {
            c.mac.clear();
            c.foreignAddress.clear();
        }
        if (!o.logGiven)
            c.logPath = "/tmp/morvane-unit-" + o.unit.address + ".log";
        configs.push_back(c);
    }
    return configs;
}

std::string Console::run(const std::string& raw)
{
    const size_t b = raw.find_first_not_of(" \t\r\n");
    if (b == std::string::npos || raw[b] == '#')
        return {};
    const std::string line = raw.substr(b, raw.find_last_not_of(" \t\r\n") - b + 1);
    const std::string word = line.substr(0, line.find(' '));
    const std::string arg = line.size() > word.size() ? line.substr(word.size() + 1) : std::string();
    long n = 0;
    if (word == "quit" || word == "exit")
    {
        quit_ = true;
        return "ok";
    }
    if (word == "sleep" && number(arg, 0, 3600000, n))
    {
        const auto end = std::chrono::steady_clock::now() + std::chrono::milliseconds(n);
        while (!quit_ && std::chrono::steady_clock::now() < end)
            std::this_thread::sleep_for(std::chrono::milliseconds(20));
        return {};
    }
    if (word == "unit")
    {
        if (!number(arg, 1, static_cast<long>(units_.size()), n))
            return "error: unit 1.." + std::to_string(units_.size());
        current_ = static_cast<size_t>(n - 1);
        return "ok unit " + std::to_string(n) + " " + units_[current_]->config().address;
    }
    return units_[current_]->command(line);
}

} // namespace morvane::sim
