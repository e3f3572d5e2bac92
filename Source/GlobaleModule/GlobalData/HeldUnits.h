#pragma once

#include <string>

// The units that the living instances of this process drive, by instance number. Every
// instance publishes its own at each tick of its mailbox and withdraws it when it goes. The
// master hands out only what nobody holds, and an instance that searches by itself passes
// over a unit that another instance of the process drives.
namespace HeldUnits
{
// ip empty: the instance drives no unit.
void publish(int number, const std::string& ip);
// Takes ip for number in one step, unless another living instance holds it: false then.
// Every automatic take (a search, a single offer) claims before it connects, so two
// instances that choose at the same moment never both take one unit.
bool claim(int number, const std::string& ip);
void withdraw(int number);
// The number of another living instance that drives ip, 0 when none does (ip empty: 0).
int holderOtherThan(int number, const std::string& ip);
std::string of(int number);
} // namespace HeldUnits
