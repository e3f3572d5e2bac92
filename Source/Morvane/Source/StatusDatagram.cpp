#include "StatusDatagram.h"

#include "Ground/TextHelpers.h"

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstdlib>

namespace
{
// The unit's figures are a few thousand at most. Held to what a float carries exactly, a
// hostile one still converts back to int wherever the loop needs a whole number.
constexpr int largestFigure = 1 << 24;

// atoi without its undefined overflow: leading blanks, a sign, digits; 0 when none.
int readInt(const std::string& piece)
{
    const char* begin = piece.c_str();
    char* end = nullptr;
    errno = 0;
    const long long value = std::strtoll(begin, &end, 10);
    if (end == begin)
        return 0;
    if (errno == ERANGE || value > INT_MAX)
        return value < 0 ? INT_MIN : INT_MAX;
    if (value < INT_MIN)
        return INT_MIN;
    return (int)value;
}

// The text behind the "[" that follows "comp", and the two gain reductions at its start.
bool readGainReduction(const std::string& received, std::string& behind, float& left, float& right)
{
    const auto comp = received.find("comp");
    if (comp == std::string::npos)
        return false;
    const auto bracket = received.find('[', comp);
    if (bracket == std::string::npos)
        return false;
    behind = received.substr(bracket + 1);
    const auto comma = behind.find(',');
    if (comma == std::string::npos)
        return false;
    return TextCut::readFloat(behind.substr(0, comma), left) &&
           TextCut::readFloat(behind.substr(comma + 1), right);
}

// The message from its first row on: up to the brace, the name in quotes and the "[[" go.
std::string rowsText(const std::string& received)
{
    std::string text = received;
    text.erase(0, std::min(text.find('{'), text.size()));
    const auto q1 = text.find('"');
    const auto q2 = q1 == std::string::npos ? q1 : text.find('"', q1 + 1);
    if (q2 != std::string::npos)
    {
        text.erase(0, q2 + 1);
        text.erase(0, std::min(q1, text.size()));
    }
    const auto open = text.find("[[");
    if (open != std::string::npos && open < 2)
        text.erase(0, 2);
    return text;
}

// The cells in order, each ended by ", "; "]]" closes the rows and leaves the rest at 0.
void readRows(std::string text, StatusTable& table)
{
    bool rowsEnded = false;
    for (int r = 0; r < KnobMap::statusRows && !rowsEnded; ++r)
    {
        for (int c = 0; c < KnobMap::tableColumns && !rowsEnded; ++c)
        {
            const auto next = text.find(',');
            std::string piece = next == std::string::npos ? text : text.substr(0, next);
            rowsEnded = piece.find("]]") != std::string::npos;
            const auto close = piece.find(']');
            if (close != std::string::npos && close > 0)
                piece.erase(close);
            table[r][c] = (float)std::clamp(readInt(piece), -largestFigure, largestFigure);
            text.erase(0, next == std::string::npos ? text.size() : std::min(next + 2, text.size()));
        }
    }
}

// The clip state: the number six bytes behind "clip", or five bytes into the gain text
// when there is no "clip".
int clipOf(const std::string& behind)
{
    const auto clip = behind.find("clip");
    const std::size_t from = clip == std::string::npos ? 5 : clip + 6;
    return StringInInt(TextCut::tail(behind, from));
}
} // namespace

float needleOf(float x)
{
    // In this exact order of float and double steps.
    const float a = x / 1000.0f;
    const float y = -a;
    const float t = (float)((double)y / -20.0 + 1.0);
    const float s = t * t;
    const float p = s * s * s;
    const float q = (float)((double)(1.0f - p) + (double)y / 57.0);
    float n = q * -14.814814567565918f;
    if (a < -21.0f)
        n = (float)(((double)a + 21.0) * 1.5 + (double)n);
    return n;
}

std::optional<StatusDatagram> parseStatusDatagram(const std::string& received)
{
    std::string behind;
    float left = 0.0f, right = 0.0f;
    if (!readGainReduction(received, behind, left, right))
        return std::nullopt;
    StatusDatagram status;
    readRows(rowsText(received), status.table);
    status.needleLeft = needleOf(left);
    status.needleRight = needleOf(right);
    status.clip = clipOf(behind);
    return status;
}
