#pragma once

#include <juce_gui_basics/juce_gui_basics.h>

// The needle of the display and its shadow. Both are long thin bars cut off by their own
// bounds; the editor turns them about a point below the face's hub.
class MeterNadel : public juce::Component
{
public:
    MeterNadel();
    void paint(juce::Graphics& g) override;
    void resized() override {}

    juce::Colour colour = juce::Colours::black;
    float scale = 0.0f;
};

class MeterNadelSchatten : public juce::Component
{
public:
    MeterNadelSchatten();
    void paint(juce::Graphics& g) override;
    void resized() override {}

    float scale = 0.0f;
};

namespace Needle
{
// The angle for a needle value, in radians: 387 degrees at 0, 3.3 degrees less a unit,
// never below 323 degrees.
float radians(float value);
// The turn of a needle component with the given bounds at the given size factor.
juce::AffineTransform transform(juce::Rectangle<int> bounds, float guiSize, float value);
// Turns a needle or shadow component in place.
void turn(juce::Component& needle, float guiSize, float value);
} // namespace Needle
