#include "MorvaneUnit/Faults.h"

namespace morvane::sim
{
namespace
{
constexpr const char* names[faultCount] = {"silent",     "foreign", "garbage", "truncated", "oversized",
                                           "refused",    "hang",    "close",   "slow",      "notfound",
                                           "shortdinfo", "product", "serial",  "noport",    "vanish"};
}

const char* faultName(Fault f)
{
    return names[static_cast<int>(f)];
}

std::optional<Fault> faultFromName(const std::string& name)
{
    for (int i = 0; i < faultCount; ++i)
        if (name == names[i])
            return static_cast<Fault>(i);
    return std::nullopt;
}

std::string faultNames()
{
    std::string all;
    for (int i = 0; i < faultCount; ++i)
        all += std::string(i ? " " : "") + names[i];
    return all;
}

} // namespace morvane::sim
