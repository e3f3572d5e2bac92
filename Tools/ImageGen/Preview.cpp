// The front panel put together as the editor stacks its pictures, at twice the window's
// size: a check that scales, knobs, needle and bezel meet, and the picture in the README.
#include "Catalogue.h"
#include "Geometry.h"

namespace
{

const juce::Image& pictureNumber(const std::vector<Picture>& pictures, int number)
{
    for (const auto& p : pictures)
        if (p.number == number)
            return p.image;
    static const juce::Image none;
    return none;
}

juce::Rectangle<float> doubled(float x, float y, float w, float h)
{
    return {2 * x, 2 * y, 2 * w, 2 * h};
}

void drawFrame(juce::Graphics& g, const juce::Image& strip, int frame, juce::Rectangle<float> into)
{
    const int size = strip.getWidth();
    g.drawImage(strip, (int)into.getX(), (int)into.getY(), (int)into.getWidth(), (int)into.getHeight(), 0,
                frame * size, size, size);
}

// The needle as the window draws it at size factor 1: a rounded bar in a 6 x 160 component
// that turns about a point 34 below the component.
void drawNeedle(juce::Graphics& g, float value)
{
    const auto pivot = Layout::pivot() * 2.0f;
    const auto turn = juce::AffineTransform::rotation(Layout::needleAngle(value), pivot.x, pivot.y);
    const juce::Graphics::ScopedSaveState state(g);
    g.reduceClipRegion(
        doubled(Layout::faceX, Layout::faceY, Layout::faceW, Layout::faceH - Layout::stripH).toNearestInt());
    juce::Path shadow, needle;
    shadow.addRoundedRectangle(2 * (Layout::needleX - 3.0f), 2 * Layout::needleY + 4.0f, 3.0f, 156.0f, 1.5f);
    needle.addRoundedRectangle(2 * Layout::needleX + 2.0f, 2 * Layout::needleY + 4.0f, 1.5f, 156.0f, 0.75f);
    g.setColour(juce::Colour(0x49000000));
    g.fillPath(shadow, turn);
    g.setColour(juce::Colours::black);
    g.fillPath(needle, turn);
}

} // namespace

juce::Image panelPreview(const std::vector<Picture>& pictures)
{
    auto image = juce::Image(juce::Image::ARGB, 1600, 438, true, juce::SoftwareImageType());
    juce::Graphics g(image);
    g.setImageResamplingQuality(juce::Graphics::highResamplingQuality);
    g.drawImage(pictureNumber(pictures, 42), image.getBounds().toFloat());
    g.drawImage(pictureNumber(pictures, 54),
                doubled(Layout::faceX, Layout::faceY, Layout::faceW, Layout::faceH));
    drawNeedle(g, -4.0f);
    g.drawImage(pictureNumber(pictures, 30),
                doubled(Layout::faceX, Layout::faceY + Layout::faceH - Layout::stripH, Layout::faceW,
                        Layout::stripH));
    g.drawImage(pictureNumber(pictures, 24), doubled(434, 104, 16, 10));
    g.drawImage(pictureNumber(pictures, 23), doubled(455, 104, 16, 10));
    g.drawImage(pictureNumber(pictures, 9), image.getBounds().toFloat());
    const float positions[8] = {0.5f, 0.3f, 0.0f, 0.62f, 0.75f, 0.45f, 0.2f, 1.0f};
    for (int knob = 0; knob < 8; ++knob)
    {
        const auto& k = Layout::knobs[knob];
        const auto into = doubled(k.x, k.y, Layout::knobSize, Layout::knobSize);
        if (knob == 2)
            drawFrame(g, pictureNumber(pictures, 43), 3, into);
        else
            drawFrame(g, pictureNumber(pictures, 67), (int)(179 * positions[knob]), into);
    }
    g.drawImage(pictureNumber(pictures, 20),
                doubled(Layout::lampX, Layout::lampY, Layout::lampSize, Layout::lampSize));
    return image;
}
