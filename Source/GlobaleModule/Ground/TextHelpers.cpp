#include "Ground/TextHelpers.h"

#include <cerrno>
#include <cmath>
#include <cstdlib>
#include <sstream>

std::string IntInString(int value)
{
    std::ostringstream out;
    out << value;
    return out.str();
}

std::string FloatInString(float value)
{
    std::ostringstream out;
    out << value;
    return out.str();
}

int StringInInt(const std::string& text)
{
    std::istringstream in(text);
    int value = 0;
    if (!(in >> value))
        return 0;
    return value;
}

namespace TextCut
{
std::size_t find(const std::string& text, const std::string& pattern, std::size_t from)
{
    if (from > text.size())
        return npos;
    return text.find(pattern, from);
}

bool foundAboveZero(const std::string& text, const std::string& pattern)
{
    const auto at = text.find(pattern);
    return at != npos && at > 0;
}

std::string cut(const std::string& text, std::size_t start, std::size_t length)
{
    if (start >= text.size())
        return {};
    return text.substr(start, length);
}

std::string cutBehind(const std::string& text, const std::string& pattern, std::size_t offset,
                      std::size_t length, bool aboveZero)
{
    const auto at = text.find(pattern);
    if (at == npos || (aboveZero && at == 0))
        return {};
    return cut(text, at + offset, length);
}

std::string tail(const std::string& text, std::size_t start)
{
    return start >= text.size() ? std::string() : text.substr(start);
}

std::string upTo(const std::string& text, const std::string& stop)
{
    const auto at = text.find(stop);
    return at == npos ? text : text.substr(0, at);
}

bool readFloat(const std::string& text, float& out)
{
    const char* begin = text.c_str();
    char* end = nullptr;
    errno = 0;
    const float value = std::strtof(begin, &end);
    if (end == begin || !std::isfinite(value))
        return false;
    out = value;
    return true;
}
} // namespace TextCut
