// morvane-unit's command line and its console: the line commands of stdin, a script or a FIFO.
#pragma once

#include "MorvaneUnit/Unit.h"

#include <atomic>
#include <memory>
#include <string>
#include <vector>

namespace morvane::sim
{

struct Options
{
    UnitConfig unit;
    int units = 1;
    bool logGiven = false;
    std::string script;
    std::string control;
    bool help = false;
};

bool parseOptions(int argc, char** argv, Options& options, std::string& err);
std::string usage();
// One config per unit: unit k takes the address, status port and serial number of the first plus k.
std::vector<UnitConfig> unitConfigs(const Options& options);

class Console
{
public:
    Console(std::vector<std::unique_ptr<Unit>>& units, std::atomic<bool>& quit) : units_(units), quit_(quit)
    {
    }
    // Runs one line; returns the reply to print (may be empty).
    std::string run(const std::string& line);

private:
    std::vector<std::unique_ptr<Unit>>& units_;
    std::atomic<bool>& quit_;
    size_t current_ = 0;
};

} // namespace morvane::sim
