#pragma once

#include <cstddef>
#include <string>

// Number and text through text streams, shared by the whole plug-in.
std::string IntInString(int value);
// Six significant digits, as a default output stream prints a float ("0.5", "1e-05").
std::string FloatInString(float value);
// Reads a leading decimal integer; 0 when the text does not start with one.
int StringInInt(const std::string& text);

// The unit's replies are taken apart by substring search and fixed offsets. These helpers
// are the one place where that cutting happens, and none of them reads past the end.
namespace TextCut
{
constexpr std::size_t npos = std::string::npos;

// Position of pattern in text at or after from, npos when absent.
std::size_t find(const std::string& text, const std::string& pattern, std::size_t from = 0);
// Whether pattern stands in text at a position above 0 (a reply that begins with it does not count).
bool foundAboveZero(const std::string& text, const std::string& pattern);
// Up to length bytes from start; empty when start lies behind the end.
std::string cut(const std::string& text, std::size_t start, std::size_t length);
// Up to length bytes beginning offset bytes behind the first pattern. Empty when the pattern is
// missing (or, with aboveZero, found only at position 0).
std::string cutBehind(const std::string& text, const std::string& pattern, std::size_t offset,
                      std::size_t length, bool aboveZero = false);
// Everything from start to the end; empty when start lies behind the end.
std::string tail(const std::string& text, std::size_t start);
// Text up to the first occurrence of stop, or all of it.
std::string upTo(const std::string& text, const std::string& stop);
// Reads a float the way the standard text-to-float conversion does; false when nothing reads.
bool readFloat(const std::string& text, float& out);
} // namespace TextCut
