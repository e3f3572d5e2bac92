#include "GlobalData/HeldUnits.h"

#include <map>
#include <mutex>

namespace HeldUnits
{
namespace
{
struct Table
{
    std::mutex lock;
    std::map<int, std::string> units;
};

Table& table()
{
    static Table shared;
    return shared;
}
} // namespace

void publish(int number, const std::string& ip)
{
    auto& t = table();
    std::lock_guard<std::mutex> lock(t.lock);
    if (ip.empty())
        t.units.erase(number);
    else
        t.units[number] = ip;
}

bool claim(int number, const std::string& ip)
{
    if (ip.empty())
        return false;
    auto& t = table();
    std::lock_guard<std::mutex> lock(t.lock);
    for (const auto& [holder, unit] : t.units)
        if (holder != number && unit == ip)
            return false;
    t.units[number] = ip;
    return true;
}

void withdraw(int number)
{
    publish(number, {});
}

int holderOtherThan(int number, const std::string& ip)
{
    if (ip.empty())
        return 0;
    auto& t = table();
    std::lock_guard<std::mutex> lock(t.lock);
    for (const auto& [holder, unit] : t.units)
        if (holder != number && unit == ip)
            return holder;
    return 0;
}

std::string of(int number)
{
    auto& t = table();
    std::lock_guard<std::mutex> lock(t.lock);
    const auto it = t.units.find(number);
    return it == t.units.end() ? std::string() : it->second;
}
} // namespace HeldUnits
