#pragma once

#include "KnobMap.h"

#include <array>
#include <optional>
#include <string>

// The status table of the unit: KnobMap::tableRows rows of value, maximum, minimum, (unused),
// held. A status message fills rows 0 to 21; the others stay 0.
using StatusTable = std::array<std::array<float, KnobMap::tableColumns>, KnobMap::tableRows>;

// What one status datagram of the unit says.
struct StatusDatagram
{
    StatusTable table{};
    // The meters' needles for the gain reduction of each channel.
    float needleLeft = 0.0f;
    float needleRight = 0.0f;
    int clip = 0;
};

// Takes one datagram apart. Empty when it has no "comp" with a "[" and two numbers behind
// it: then nothing of the message counts. Never reads past the end of the bytes.
std::optional<StatusDatagram> parseStatusDatagram(const std::string& received);

// The needle for a gain reduction of x thousandths of a decibel.
float needleOf(float x);
