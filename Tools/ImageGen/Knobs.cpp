// The two knob film strips: a spun-aluminium panel knob with a knurled skirt, and a black
// pointer knob for the mode switch. The light stays put while the knob turns under it.
#include "Geometry.h"
#include "Paint.h"
#include "Painters.h"

#include <cmath>

namespace
{

constexpr int frameSize = 250;
const juce::Point<float> centre(125.0f, 125.0f);

juce::Rectangle<float> circle(float r)
{
    return juce::Rectangle<float>(2 * r, 2 * r).withCentre(centre);
}

void dropShadow(juce::Graphics& g, float r)
{
    // Concentric layers of low alpha: a soft shadow towards the lower right.
    for (int i = 0; i < 12; ++i)
    {
        g.setColour(juce::Colours::black.withAlpha(0.045f));
        g.fillEllipse(circle(r + 14.0f - (float)i * 1.3f).translated(4.0f, 8.0f));
    }
}

// The spun top of the cap, pixel by pixel: rings at random brightness and two broad
// reflections across the spin, from a light at the upper left.
juce::Image spunCap(float radius)
{
    auto image = blankImage(frameSize, frameSize);
    Noise noise(67);
    float rings[512];
    for (auto& ring : rings)
        ring = noise.signedUnit();
    juce::Image::BitmapData data(image, juce::Image::BitmapData::writeOnly);
    const float light = -0.8f;
    for (int y = 0; y < frameSize; ++y)
        for (int x = 0; x < frameSize; ++x)
        {
            const float dx = (float)x + 0.5f - centre.x, dy = (float)y + 0.5f - centre.y;
            const float d = std::sqrt(dx * dx + dy * dy);
            const float cover = juce::jlimit(0.0f, 1.0f, radius - d + 0.5f);
            if (cover <= 0.0f)
                continue;
            const float phi = std::atan2(dx, -dy);
            const float ring = rings[juce::jlimit(0, 511, (int)(d * 2.5f))];
            float v = 0.60f + 0.20f * std::cos(2.0f * (phi - light)) +
                      0.05f * std::cos(4.0f * (phi - light)) + 0.0f * ring - 0.10f * (dy / radius) -
                      0.04f * (dx / radius);
            v = juce::jlimit(0.0f, 1.0f, v);
            const auto channel = [v, cover](float tint)
            {
                return (juce::uint8)juce::roundToInt(tint * v * cover);
            };
            *reinterpret_cast<juce::PixelARGB*>(data.getPixelPointer(x, y)) =
                juce::PixelARGB((juce::uint8)juce::roundToInt(255.0f * cover), channel(240.0f),
                                channel(240.0f), channel(240.0f));
        }
    return image;
}

juce::Image knobBase()
{
    auto image = blankImage(frameSize, frameSize);
    juce::Graphics g(image);
    dropShadow(g, 100.0f);
    juce::ColourGradient side(juce::Colour(0xff4e4e4e), 0, centre.y - 100.0f, juce::Colour(0xff111111), 0,
                              centre.y + 100.0f, false);
    g.setGradientFill(side);
    g.fillEllipse(circle(100.0f));
    return image;
}

juce::Image knobTop()
{
    auto image = spunCap(82.0f);
    juce::Graphics g(image);
    // The chamfer between skirt and cap catches the light at the top.
    juce::Path bevel;
    bevel.addEllipse(circle(86.0f));
    bevel.addEllipse(circle(82.0f));
    bevel.setUsingNonZeroWinding(false);
    g.setGradientFill(juce::ColourGradient(juce::Colour(0xfff6f6f6), centre.x - 50.0f, centre.y - 80.0f,
                                           juce::Colour(0xff2c2c2c), centre.x + 50.0f, centre.y + 80.0f,
                                           false));
    g.fillPath(bevel);
    g.setColour(juce::Colours::black.withAlpha(0.35f));
    g.drawEllipse(circle(82.0f), 1.0f);
    return image;
}

void knurl(juce::Graphics& g, float turn)
{
    for (int i = 0; i < 72; ++i)
    {
        const float a = turn + (float)i * juce::MathConstants<float>::twoPi / 72.0f;
        juce::Path ridge;
        ridge.startNewSubPath(polar(centre, 87.0f, a));
        ridge.lineTo(polar(centre, 99.5f, a));
        g.setColour(juce::Colours::black.withAlpha(0.55f));
        g.strokePath(ridge, juce::PathStrokeType(2.2f));
        ridge.applyTransform(juce::AffineTransform::rotation(0.022f, centre.x, centre.y));
        g.setColour(juce::Colours::white.withAlpha(0.16f));
        g.strokePath(ridge, juce::PathStrokeType(1.4f));
    }
    juce::Path skirt;
    skirt.addEllipse(circle(100.0f));
    skirt.addEllipse(circle(86.0f));
    skirt.setUsingNonZeroWinding(false);
    g.setGradientFill(juce::ColourGradient(juce::Colours::white.withAlpha(0.28f), centre.x - 70.0f,
                                           centre.y - 80.0f, juce::Colours::transparentWhite,
                                           centre.x + 20.0f, centre.y + 30.0f, false));
    g.fillPath(skirt);
}

void pointer(juce::Graphics& g, float turn)
{
    juce::Path groove;
    groove.addRoundedRectangle(-4.5f, -78.0f, 9.0f, 52.0f, 4.5f);
    const auto place = juce::AffineTransform::rotation(turn).translated(centre);
    g.setColour(juce::Colours::black.withAlpha(0.55f));
    g.fillPath(groove, place.translated(-1.0f, -1.5f));
    g.setColour(juce::Colours::black.withAlpha(0.3f));
    g.strokePath(groove, juce::PathStrokeType(2.5f), place);
    g.setColour(juce::Colour(0xfff6f6f6));
    g.fillPath(groove, place);
    juce::Path notch;
    notch.addRectangle(-2.5f, -100.0f, 5.0f, 13.0f);
    g.fillPath(notch, place);
}

} // namespace

juce::Image paintKnobStrip()
{
    constexpr int frames = 180;
    auto strip = blankImage(frameSize, frameSize * frames);
    const auto base = knobBase();
    const auto top = knobTop();
    juce::Graphics g(strip);
    for (int frame = 0; frame < frames; ++frame)
    {
        const juce::Graphics::ScopedSaveState state(g);
        g.setOrigin(0, frame * frameSize);
        g.reduceClipRegion(0, 0, frameSize, frameSize);
        const float turn = Layout::knobAngle((float)frame / (float)(frames - 1));
        g.drawImageAt(base, 0, 0);
        knurl(g, turn);
        g.drawImageAt(top, 0, 0);
        pointer(g, turn);
    }
    return strip;
}

juce::Image paintModeSwitchStrip()
{
    constexpr int frames = Layout::modeStops;
    auto strip = blankImage(frameSize, frameSize * frames);
    juce::Graphics g(strip);
    for (int frame = 0; frame < frames; ++frame)
    {
        const juce::Graphics::ScopedSaveState state(g);
        g.setOrigin(0, frame * frameSize);
        g.reduceClipRegion(0, 0, frameSize, frameSize);
        const float turn = Layout::knobAngle((float)frame / (float)(frames - 1));
        dropShadow(g, 86.0f);
        g.setGradientFill(
            juce::ColourGradient(juce::Colour(0xff3a3b3e), 0, 40, juce::Colour(0xff08080a), 0, 210, false));
        g.fillEllipse(circle(86.0f));
        g.setColour(juce::Colours::white.withAlpha(0.12f));
        g.drawEllipse(circle(85.0f), 1.5f);
        // The raised bar, lit from above whichever way it points.
        juce::Path bar;
        bar.addRoundedRectangle(-27.0f, -104.0f, 54.0f, 208.0f, 27.0f);
        const auto place = juce::AffineTransform::rotation(turn).translated(centre);
        g.setColour(juce::Colours::black.withAlpha(0.5f));
        g.fillPath(bar, place.translated(3.0f, 6.0f));
        g.setGradientFill(
            juce::ColourGradient(juce::Colour(0xff5c5e63), 0, 20, juce::Colour(0xff111214), 0, 230, false));
        g.fillPath(bar, place);
        g.setColour(juce::Colours::white.withAlpha(0.2f));
        g.strokePath(bar, juce::PathStrokeType(2.0f), place);
        juce::Path line;
        line.addRoundedRectangle(-4.0f, -98.0f, 8.0f, 70.0f, 4.0f);
        g.setColour(juce::Colour(0xfff6f6f6));
        g.fillPath(line, place);
    }
    return strip;
}
