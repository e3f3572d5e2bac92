#include "Paint.h"

#include <cmath>
#include <map>
#include <stdexcept>
#include <vector>

namespace
{

const char* fontFile(Face face)
{
    switch (face)
    {
    case Face::sansBold:
        return "DejaVuSans-Bold.ttf";
    case Face::serif:
        return "DejaVuSerif.ttf";
    case Face::serifBold:
        return "DejaVuSerif-Bold.ttf";
    case Face::sans:
        break;
    }
    return "DejaVuSans.ttf";
}

juce::Typeface::Ptr typefaceOf(Face face)
{
    static std::map<Face, juce::Typeface::Ptr> loaded;
    auto& slot = loaded[face];
    if (slot == nullptr)
    {
        const juce::File file(juce::String(MORVANE_FONT_DIR) + "/" + fontFile(face));
        juce::MemoryBlock data;
        if (!file.loadFileAsData(data) || data.getSize() == 0)
            throw std::runtime_error(("cannot read font " + file.getFullPathName()).toStdString());
        slot = juce::Typeface::createSystemTypefaceFor(data.getData(), data.getSize());
        if (slot == nullptr)
            throw std::runtime_error(("cannot load font " + file.getFullPathName()).toStdString());
    }
    return slot;
}

} // namespace

juce::Font letteringFont(Face face, float height, float horizontalScale)
{
    juce::Font font(typefaceOf(face));
    font.setHeight(height);
    font.setHorizontalScale(horizontalScale);
    return font;
}

juce::Path textOutline(const juce::String& text, const juce::Font& font)
{
    juce::GlyphArrangement glyphs;
    glyphs.addLineOfText(font, text, 0.0f, 0.0f);
    juce::Path path;
    glyphs.createPath(path);
    return path;
}

juce::Path centredText(const juce::String& text, const juce::Font& font, float cx, float cy)
{
    auto path = textOutline(text, font);
    const float capital = textOutline("H", font).getBounds().getHeight();
    const float advance = font.getStringWidthFloat(text);
    path.applyTransform(juce::AffineTransform::translation(cx - advance * 0.5f, cy + capital * 0.5f));
    return path;
}

juce::Path textOnArc(const juce::String& text, const juce::Font& font, float cx, float cy, float r, float a)
{
    juce::Path all;
    const float total = font.getStringWidthFloat(text);
    const float capital = textOutline("H", font).getBounds().getHeight();
    float run = -total * 0.5f;
    for (int i = 0; i < text.length(); ++i)
    {
        const auto letter = text.substring(i, i + 1);
        const float w = font.getStringWidthFloat(letter);
        const float angle = a + (run + w * 0.5f) / r;
        auto glyph = textOutline(letter, font);
        glyph.applyTransform(juce::AffineTransform::translation(-w * 0.5f, capital * 0.5f)
                                 .rotated(angle)
                                 .translated(polar({cx, cy}, r, angle)));
        all.addPath(glyph);
        run += w;
    }
    return all;
}

juce::Point<float> polar(juce::Point<float> centre, float r, float a)
{
    return {centre.x + r * std::sin(a), centre.y - r * std::cos(a)};
}

void brushedMetal(juce::Image& image, juce::Rectangle<int> area, juce::Colour base, float streak,
                  uint32_t seed)
{
    Noise noise(seed);
    const int w = area.getWidth();
    std::vector<float> line((size_t)w), smooth((size_t)w);
    juce::Image::BitmapData data(image, juce::Image::BitmapData::writeOnly);
    for (int y = area.getY(); y < area.getBottom(); ++y)
    {
        for (auto& v : line)
            v = noise.signedUnit();
        // Two passes of a running mean stretch the noise into streaks along the brushing.
        for (int pass = 0; pass < 2; ++pass)
        {
            const int half = 24;
            float sum = 0;
            for (int x = -half; x <= half; ++x)
                sum += line[(size_t)juce::jlimit(0, w - 1, x)];
            for (int x = 0; x < w; ++x)
            {
                smooth[(size_t)x] = sum / (2 * half + 1);
                sum += line[(size_t)juce::jlimit(0, w - 1, x + half + 1)] -
                       line[(size_t)juce::jlimit(0, w - 1, x - half)];
            }
            line.swap(smooth);
        }
        const float rowShade = noise.signedUnit() * 0.35f;
        for (int x = 0; x < w; ++x)
        {
            const float grain = noise.signedUnit() * 0.25f;
            const float v = (line[(size_t)x] * 5.0f + rowShade + grain) * streak;
            const auto channel = [v](juce::uint8 c)
            {
                return (juce::uint8)juce::jlimit(0, 255, juce::roundToInt((float)c * (1.0f + v)));
            };
            *reinterpret_cast<juce::PixelARGB*>(data.getPixelPointer(area.getX() + x, y)) = juce::PixelARGB(
                255, channel(base.getRed()), channel(base.getGreen()), channel(base.getBlue()));
        }
    }
}

void engrave(juce::Graphics& g, const juce::Path& path, juce::Colour paint, float depth)
{
    g.setColour(juce::Colours::black.withAlpha(0.55f));
    g.fillPath(path, juce::AffineTransform::translation(0.0f, -depth));
    g.setColour(juce::Colours::white.withAlpha(0.18f));
    g.fillPath(path, juce::AffineTransform::translation(0.0f, depth));
    g.setColour(paint);
    g.fillPath(path);
}

void drawScrew(juce::Graphics& g, juce::Point<float> centre, float r, float turn)
{
    const auto head = juce::Rectangle<float>(2 * r, 2 * r).withCentre(centre);
    g.setColour(juce::Colours::black.withAlpha(0.45f));
    g.fillEllipse(head.translated(r * 0.12f, r * 0.2f).expanded(r * 0.1f));
    juce::ColourGradient metal(juce::Colour(0xffe4e6ea), head.getX(), head.getY(), juce::Colour(0xff4a4d52),
                               head.getRight(), head.getBottom(), false);
    metal.addColour(0.45, juce::Colour(0xffa9adb4));
    g.setGradientFill(metal);
    g.fillEllipse(head);
    g.setColour(juce::Colours::black.withAlpha(0.5f));
    g.drawEllipse(head, r * 0.08f);
    const auto rim = head.reduced(r * 0.16f);
    juce::ColourGradient dome(juce::Colour(0x30ffffff), rim.getX(), rim.getY(), juce::Colour(0x30000000),
                              rim.getRight(), rim.getBottom(), false);
    g.setGradientFill(dome);
    g.fillEllipse(rim);
    for (int i = 0; i < 2; ++i)
    {
        juce::Path slot;
        slot.addRoundedRectangle(-r * 0.68f, -r * 0.13f, r * 1.36f, r * 0.26f, r * 0.06f);
        const auto place =
            juce::AffineTransform::rotation(turn + (float)i * juce::MathConstants<float>::halfPi)
                .translated(centre);
        g.setColour(juce::Colours::white.withAlpha(0.45f));
        g.fillPath(slot, place.translated(r * 0.05f, r * 0.08f));
        g.setColour(juce::Colour(0xff17181a));
        g.fillPath(slot, place);
    }
}

juce::Image blankImage(int w, int h)
{
    juce::Image image(juce::Image::ARGB, w, h, true, juce::SoftwareImageType());
    return image;
}
