// Where the pictures meet the window: the panel layout at size factor 1 and the needle's
// swing, so that scales and labels sit where the editor puts knobs and needle.
#pragma once

#include <juce_graphics/juce_graphics.h>

#include <algorithm>
#include <cmath>

namespace Layout
{

constexpr float width = 800.0f, height = 219.0f;

// The display: face and needle rectangles in the window.
constexpr float faceX = 323.0f, faceY = 28.0f, faceW = 154.0f, faceH = 89.0f;
constexpr float needleX = 396.0f, needleY = 40.0f, needleW = 3.0f, needleH = 80.0f;
constexpr float stripH = 15.0f;

// The needle turns about a point 17 units below its component, on its centre line.
inline juce::Point<float> pivot()
{
    return {needleX + 0.5f * needleW, needleY + needleH + 17.0f};
}

// The needle's angle for a meter value, in radians clockwise from upright: 0 dB stands
// 27 degrees right, each dB 3.3 degrees to the left, and it rests at 37 degrees left.
inline float needleAngle(float value)
{
    const float degrees = std::max((float)(value * 3.3 + 387.0), 323.0f);
    return (float)((double)degrees / 57.29577951308232) - juce::MathConstants<float>::twoPi;
}

// Window coordinates to the pixels of an 800 x 480 face.
inline juce::AffineTransform windowToFace(float faceWidth = 800.0f, float faceHeight = 480.0f)
{
    return juce::AffineTransform::translation(-faceX, -faceY).scaled(faceWidth / faceW, faceHeight / faceH);
}

struct KnobPlace
{
    float x, y;       // top left of its 60 x 60 square
    const char* name; // the engraved name
};

// The eight knobs of a row (indices 0 to 7), the lamp button and the front panel's scale
// of 2 image pixels per window unit.
constexpr KnobPlace knobs[8] = {{97, 40, "INPUT"},       {214, 23, "ATTACK"},    {526, 23, "MODE"},
                                {643, 40, "OUTPUT"},     {97, 123, "THRESHOLD"}, {214, 140, "RELEASE"},
                                {528, 140, "SIDECHAIN"}, {642, 124, "MIX"}};
constexpr float knobSize = 60.0f;
constexpr float lampX = 301.0f, lampY = 157.0f, lampSize = 60.0f;

// A panel knob's travel, and the mode switch's twelve stops over the same sweep.
constexpr float knobSweep = 0.75f * juce::MathConstants<float>::pi; // either side of upright
inline float knobAngle(float position)
{
    return -knobSweep + 2.0f * knobSweep * position;
}
constexpr int modeStops = 12;

} // namespace Layout
