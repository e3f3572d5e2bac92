#include "Components/MeterNadel.h"

MeterNadel::MeterNadel()
{
    setInterceptsMouseClicks(false, false);
    setSize(3, 400);
}

void MeterNadel::paint(juce::Graphics& g)
{
    g.setColour(colour);
    g.fillRoundedRectangle(1.0f + scale, 4.0f, (float)(0.75 * (double)scale + 0.75), 412.0f, 10.0f);
}

MeterNadelSchatten::MeterNadelSchatten()
{
    setInterceptsMouseClicks(false, false);
    setSize(3, 400);
}

void MeterNadelSchatten::paint(juce::Graphics& g)
{
    g.setColour(juce::Colour(0x49000000));
    g.fillRoundedRectangle(0.0f, 4.0f, (float)(1.5 * (double)scale + 1.5), 412.0f, 10.0f);
}

namespace Needle
{
float radians(float value)
{
    float degrees = (float)((double)value * 3.3 + 387.0);
    degrees = std::max(degrees, 323.0f);
    return (float)((double)degrees / 57.29577951308232);
}

juce::AffineTransform transform(juce::Rectangle<int> bounds, float guiSize, float value)
{
    const float pivotX = (float)((double)bounds.getX() + 0.5 * (double)bounds.getWidth());
    const float pivotY = (float)(bounds.getY() + bounds.getHeight()) + guiSize * 17.0f + 17.0f;
    return juce::AffineTransform::rotation(radians(value), pivotX, pivotY);
}

void turn(juce::Component& needle, float guiSize, float value)
{
    needle.setTransform(transform(needle.getBounds(), guiSize, value));
}
} // namespace Needle
