// The device's screen: 21 meter faces, their small copies, the network page, the mode
// strips and the clip lamps.
#include "Geometry.h"
#include "Paint.h"
#include "Painters.h"

#include <vector>

namespace
{

enum class ScaleKind
{
    vu,        // 20 ... 0 ... 3, the classic volume unit scale
    reduction, // 20 ... 0, gain reduction
    decibel    // -20 ... +3 with signs
};

struct FaceStyle
{
    const char* title;
    juce::uint32 paperTop, paperBottom, ink, accent, glow;
    ScaleKind scale;
    Face font;
    int arcs;     // 1 a thin arc, 2 two arcs, 3 a band
    bool percent; // a second scale in per cent below the arc
    bool redZone; // the part above 0 in the accent colour
    int extras;   // screws, a printed border, the unit at the scale's end: see below
};

constexpr int screws = 1, border = 2, unit = 4;

// Twenty-one faces: classic VU, backlit, black broadcast, gain reduction and modern dials.
const FaceStyle styles[meterFaceCount] = {
    {"VU", 0xfff6ecd2, 0xffe7d6ae, 0xff1b1a17, 0xffc3261f, 0x00000000, ScaleKind::vu, Face::serif, 1, true,
     true, 5},
    {"VU", 0xffffd27a, 0xfff0a63a, 0xff231a0e, 0xffb71c1c, 0x60fff1c0, ScaleKind::vu, Face::serifBold, 1,
     false, true, 4},
    {"VU", 0xff1e1f22, 0xff0d0d0f, 0xfff2efe6, 0xffff4a3d, 0x00000000, ScaleKind::vu, Face::sans, 2, false,
     true, 2},
    {"VU", 0xffd5ebd8, 0xffb7d8bd, 0xff15261a, 0xffb3261e, 0x00000000, ScaleKind::vu, Face::serif, 1, true,
     true, 1},
    {"VU", 0xffe3f1ff, 0xffaccff5, 0xff0b2454, 0xffd0302a, 0x50ffffff, ScaleKind::vu, Face::sans, 2, false,
     true, 6},
    {"GAIN REDUCTION", 0xfffbfaf6, 0xffe8e6df, 0xff161616, 0xff2058b8, 0x00000000, ScaleKind::reduction,
     Face::sans, 1, false, false, 6},
    {"GR", 0xff121212, 0xff050505, 0xffffb238, 0xffffd27a, 0x00000000, ScaleKind::reduction, Face::sansBold,
     3, false, false, 4},
    {"VU", 0xffe9d8b4, 0xffcdb58a, 0xff2c1d10, 0xff9b2a1a, 0x00000000, ScaleKind::vu, Face::serif, 2, true,
     true, 1},
    {"dB", 0xffffffff, 0xffeef1f5, 0xff1d2533, 0xff1e6fd9, 0x00000000, ScaleKind::decibel, Face::sans, 1,
     false, true, 2},
    {"VU", 0xfff8eccb, 0xffeed29b, 0xff1a1612, 0xffc9321f, 0x40fff6d8, ScaleKind::vu, Face::serifBold, 2,
     true, true, 5},
    {"GR", 0xff07160b, 0xff020803, 0xff6dff8e, 0xffc8ffd2, 0x1840ff70, ScaleKind::reduction, Face::sans, 1,
     false, false, 6},
    {"VU", 0xfffff0a0, 0xffffe066, 0xff1c1a0a, 0xffd62a1d, 0x00000000, ScaleKind::vu, Face::sansBold, 3,
     false, true, 4},
    {"VU", 0xff6d747d, 0xff474d55, 0xfff5f7fa, 0xffff6e5a, 0x00000000, ScaleKind::vu, Face::sans, 1, true,
     true, 6},
    {"VU", 0xfff9f1c8, 0xffeedf9c, 0xff201c10, 0xffc0281e, 0x30ffffff, ScaleKind::vu, Face::serif, 2, true,
     true, 1},
    {"dB", 0xff0c1a33, 0xff050b18, 0xff6fe3ff, 0xffff5a72, 0x1040c0ff, ScaleKind::decibel, Face::sans, 2,
     false, true, 2},
    {"VU", 0xfff3e9d7, 0xffe2d2b5, 0xff2a2118, 0xffb3322a, 0x00000000, ScaleKind::vu, Face::serifBold, 1,
     false, true, 1},
    {"VU", 0xffffa64d, 0xffe5731c, 0xff1e1208, 0xff8c1208, 0x40ffe0b0, ScaleKind::vu, Face::sansBold, 1,
     false, true, 4},
    {"COMP", 0xffe8dcf5, 0xffc7b1e3, 0xff241536, 0xffc4286d, 0x40ffffff, ScaleKind::reduction, Face::sans, 2,
     false, false, 6},
    {"dB", 0xfff7f7f7, 0xffdcdcdc, 0xff0e0e0e, 0xffd81b1b, 0x00000000, ScaleKind::decibel, Face::sansBold, 3,
     false, true, 2},
    {"VU", 0xff2a1c12, 0xff150d07, 0xffffc46b, 0xffff5a36, 0x18ff9a40, ScaleKind::vu, Face::serif, 2, true,
     true, 5},
    {"GR", 0xff2b2e33, 0xff1a1c20, 0xffe7e9ec, 0xffe7e9ec, 0x00000000, ScaleKind::reduction, Face::sans, 1,
     false, false, 2},
};

struct Mark
{
    float value;
    bool major;
};

std::vector<Mark> marksOf(ScaleKind scale)
{
    std::vector<Mark> marks = {{-20, true}, {-15, false},   {-10, true}, {-8, false},    {-7, true},
                               {-6, false}, {-5, true},     {-4, false}, {-3, true},     {-2.5f, false},
                               {-2, true},  {-1.5f, false}, {-1, true},  {-0.5f, false}, {0, true}};
    if (scale != ScaleKind::reduction)
        for (float v : {0.5f, 1.0f, 1.5f, 2.0f, 2.5f, 3.0f})
            marks.push_back({v, v == 1.0f || v == 2.0f || v == 3.0f});
    if (scale == ScaleKind::decibel)
        for (auto& m : marks)
            m.major = m.value == -20 || m.value == -10 || m.value == -5 || m.value == -3 || m.value == 0 ||
                      m.value == 3 || m.value == -15;
    return marks;
}

juce::String numberOf(ScaleKind scale, float value)
{
    const int v = juce::roundToInt(value);
    if (scale == ScaleKind::decibel)
        return v > 0 ? "+" + juce::String(v) : juce::String(v);
    return juce::String(std::abs(v));
}

constexpr float scaleRadius = 82.0f; // window units about the pivot

juce::Path arcBand(float r0, float r1, float a0, float a1)
{
    juce::Path p;
    const auto c = Layout::pivot();
    p.addCentredArc(c.x, c.y, r1, r1, 0.0f, a0, a1, true);
    p.addCentredArc(c.x, c.y, r0, r0, 0.0f, a1, a0, false);
    p.closeSubPath();
    return p;
}

void paintPaper(juce::Graphics& g, const FaceStyle& s)
{
    using namespace Layout;
    const juce::Rectangle<float> area(faceX, faceY, faceW, faceH);
    g.setGradientFill(juce::ColourGradient(juce::Colour(s.paperTop), 0, faceY, juce::Colour(s.paperBottom), 0,
                                           faceY + faceH, false));
    g.fillRect(area);
    if (s.glow != 0)
    {
        // The lamps behind the face light its middle.
        const auto c = juce::Point<float>(pivot().x, faceY + 40.0f);
        g.setGradientFill(juce::ColourGradient(juce::Colour(s.glow), c.x, c.y,
                                               juce::Colour(s.glow).withAlpha(0.0f), c.x + 80.0f, c.y, true));
        g.fillRect(area);
    }
    juce::ColourGradient vignette(juce::Colours::transparentBlack, pivot().x, faceY + 45.0f,
                                  juce::Colours::black.withAlpha(0.28f), faceX - 10.0f, faceY - 20.0f, true);
    g.setGradientFill(vignette);
    g.fillRect(area);
}

void paintArcs(juce::Graphics& g, const FaceStyle& s)
{
    const float a0 = Layout::needleAngle(-20.0f);
    const float aZero = Layout::needleAngle(0.0f);
    const float aEnd = s.scale == ScaleKind::reduction ? aZero : Layout::needleAngle(3.0f);
    const float r = scaleRadius;
    g.setColour(juce::Colour(s.ink));
    if (s.arcs == 3)
        g.fillPath(arcBand(r - 1.6f, r, a0, aEnd));
    else
        g.fillPath(arcBand(r - 0.35f, r + 0.05f, a0, aEnd));
    if (s.arcs == 2)
        g.fillPath(arcBand(r + 4.6f, r + 4.9f, a0, aEnd));
    if (s.redZone)
    {
        g.setColour(juce::Colour(s.accent));
        g.fillPath(arcBand(r, r + 3.2f, aZero, aEnd));
    }
}

void paintTicks(juce::Graphics& g, const FaceStyle& s)
{
    const auto c = Layout::pivot();
    const auto font = letteringFont(s.font, 5.2f, 0.9f);
    for (const auto& m : marksOf(s.scale))
    {
        const float a = Layout::needleAngle(m.value);
        const float outer = scaleRadius + (m.major ? 5.0f : 3.0f);
        const float inner = scaleRadius - (s.arcs == 3 ? 1.6f : 0.4f);
        const bool hot = s.redZone && m.value > 0.0f;
        juce::Path tick;
        tick.startNewSubPath(polar(c, inner, a));
        tick.lineTo(polar(c, outer, a));
        // Ticks cross the red band in the print's colour; the numbers beyond 0 are red.
        g.setColour(juce::Colour(s.ink));
        g.strokePath(tick, juce::PathStrokeType(m.major ? 0.75f : 0.45f));
        g.setColour(juce::Colour(hot ? s.accent : s.ink));
        if (m.major)
            g.fillPath(centredText(numberOf(s.scale, m.value), font, polar(c, scaleRadius + 9.5f, a).x,
                                   polar(c, scaleRadius + 9.5f, a).y));
    }
    if (s.percent)
    {
        // The older second scale: per cent of the reference level.
        const auto small = letteringFont(s.font, 3.4f, 0.9f);
        g.setColour(juce::Colour(s.ink).withAlpha(0.8f));
        for (int pc : {0, 20, 40, 60, 80, 100})
        {
            const float value = pc == 0 ? -20.0f : 20.0f * std::log10((float)pc / 100.0f);
            const float a = Layout::needleAngle(value);
            juce::Path tick;
            tick.startNewSubPath(polar(c, scaleRadius - 4.5f, a));
            tick.lineTo(polar(c, scaleRadius - 1.5f, a));
            g.strokePath(tick, juce::PathStrokeType(0.4f));
            if (pc > 0)
                g.fillPath(centredText(juce::String(pc), small, polar(c, scaleRadius - 8.0f, a).x,
                                       polar(c, scaleRadius - 8.0f, a).y));
        }
    }
}

void paintTitles(juce::Graphics& g, const FaceStyle& s, int meter)
{
    using namespace Layout;
    const auto c = pivot();
    const juce::String title(s.title);
    const float h = title.length() > 4 ? 5.0f : (title.length() > 2 ? 8.0f : 11.0f);
    g.setColour(juce::Colour(s.ink));
    g.fillPath(centredText(title, letteringFont(s.font, h), c.x, faceY + 57.0f));
    const auto small = letteringFont(Face::sans, 3.2f);
    g.setColour(juce::Colour(s.ink).withAlpha(0.7f));
    g.fillPath(centredText("MORVANE", small, faceX + 22.0f, faceY + 69.0f));
    g.fillPath(
        centredText(juce::String(meter).paddedLeft('0', 2), small, faceX + faceW - 16.0f, faceY + 69.0f));
    if (s.redZone)
    {
        g.setColour(juce::Colour(s.accent));
        g.fillPath(textOnArc(s.scale == ScaleKind::decibel ? "PEAK" : "", letteringFont(s.font, 3.6f), c.x,
                             c.y, scaleRadius + 15.0f, needleAngle(2.0f)));
    }
}

void paintExtras(juce::Graphics& g, const FaceStyle& s)
{
    using namespace Layout;
    if (s.extras & border)
    {
        g.setColour(juce::Colour(s.ink).withAlpha(0.45f));
        g.drawRoundedRectangle(juce::Rectangle<float>(faceX, faceY, faceW, faceH).reduced(3.5f), 3.0f, 0.35f);
    }
    if (s.extras & screws)
        for (float x : {faceX + 8.0f, faceX + faceW - 8.0f})
            drawScrew(g, {x, faceY + 67.0f}, 2.3f, x * 0.07f);
    if (s.extras & unit)
    {
        const auto c = pivot();
        const float end = s.scale == ScaleKind::reduction ? needleAngle(0.0f) : needleAngle(3.0f);
        const auto at = polar(c, scaleRadius + 2.0f, end + 0.13f);
        g.setColour(juce::Colour(s.ink).withAlpha(0.8f));
        g.fillPath(centredText("dB", letteringFont(s.font, 3.8f), at.x, at.y));
    }
}

} // namespace

juce::Image paintMeterFace(int meter)
{
    const auto& style = styles[meter - 1];
    auto image = blankImage(800, 480);
    juce::Graphics g(image);
    g.addTransform(Layout::windowToFace());
    paintPaper(g, style);
    paintArcs(g, style);
    paintTicks(g, style);
    paintTitles(g, style, meter);
    paintExtras(g, style);
    return image;
}

juce::Image smallCopy(const juce::Image& face)
{
    // A box filter of 4 x 4 pixels: a plain and exact reduction to a quarter.
    auto small = blankImage(face.getWidth() / 4, face.getHeight() / 4);
    const juce::Image::BitmapData src(face, juce::Image::BitmapData::readOnly);
    juce::Image::BitmapData dst(small, juce::Image::BitmapData::writeOnly);
    for (int y = 0; y < small.getHeight(); ++y)
        for (int x = 0; x < small.getWidth(); ++x)
        {
            int sum[4] = {};
            for (int dy = 0; dy < 4; ++dy)
                for (int dx = 0; dx < 4; ++dx)
                {
                    const auto* p =
                        reinterpret_cast<const juce::PixelARGB*>(src.getPixelPointer(4 * x + dx, 4 * y + dy));
                    sum[0] += p->getAlpha();
                    sum[1] += p->getRed();
                    sum[2] += p->getGreen();
                    sum[3] += p->getBlue();
                }
            *reinterpret_cast<juce::PixelARGB*>(dst.getPixelPointer(x, y)) =
                juce::PixelARGB((juce::uint8)((sum[0] + 8) / 16), (juce::uint8)((sum[1] + 8) / 16),
                                (juce::uint8)((sum[2] + 8) / 16), (juce::uint8)((sum[3] + 8) / 16));
        }
    return small;
}

juce::Image paintNetworkPage()
{
    using namespace Layout;
    auto image = blankImage(800, 480);
    juce::Graphics g(image);
    g.addTransform(windowToFace());
    const juce::Rectangle<float> area(faceX, faceY, faceW, faceH);
    g.setGradientFill(juce::ColourGradient(juce::Colour(0xff123a6b), 0, faceY, juce::Colour(0xff071a33), 0,
                                           faceY + faceH, false));
    g.fillRect(area);
    const auto caption = letteringFont(Face::sansBold, 4.2f);
    const juce::Colour light(0xffd6e6ff);
    // The editor writes the address digits and the MAC pairs into these two boxes.
    const juce::Rectangle<float> ipBox(340.0f, 39.0f, 124.0f, 16.0f), macBox(336.0f, 91.0f, 130.0f, 16.0f);
    for (auto [box, text] : {std::pair{ipBox, "IP ADDRESS"}, std::pair{macBox, "MAC ADDRESS"}})
    {
        g.setColour(light.withAlpha(0.85f));
        g.fillPath(centredText(text, caption, box.getCentreX(), box.getY() - 4.0f));
        g.setColour(juce::Colours::black.withAlpha(0.35f));
        g.fillRoundedRectangle(box, 2.0f);
        g.setColour(light.withAlpha(0.9f));
        g.drawRoundedRectangle(box, 2.0f, 0.6f);
    }
    g.setColour(light.withAlpha(0.35f));
    g.fillRect(juce::Rectangle<float>(faceX + 12.0f, 70.0f, faceW - 24.0f, 0.4f));
    g.fillPath(centredText("NETWORK", letteringFont(Face::sans, 3.6f), pivot().x, 76.0f));
    return image;
}

juce::Image paintModeStrip(int mode)
{
    static const char* const names[modeCount] = {"VINTAGE OPTO", "FET PUNCH",   "VCA BUS",  "VARI-MU",
                                                 "SOFT KNEE",    "BRICKWALL",   "PARALLEL", "VOCAL RIDE",
                                                 "DRUM SMASH",   "MASTER GLUE", "DE-ESSER"};
    auto image = blankImage(800, 77);
    juce::Graphics g(image);
    g.fillAll(juce::Colours::white);
    g.setColour(juce::Colour(0xffd9dde3));
    g.fillRect(0, 0, 800, 3);
    const juce::Rectangle<float> badge(18.0f, 11.0f, 70.0f, 56.0f);
    g.setColour(juce::Colour(0xff14181f));
    g.fillRoundedRectangle(badge, 8.0f);
    g.setColour(juce::Colours::white);
    g.fillPath(centredText(juce::String(mode), letteringFont(Face::sansBold, 44.0f), badge.getCentreX(),
                           badge.getCentreY()));
    g.setColour(juce::Colour(0xff14181f));
    auto name = textOutline(names[mode - 1], letteringFont(Face::sansBold, 44.0f, 0.92f));
    name.applyTransform(juce::AffineTransform::translation(108.0f, 55.0f));
    g.fillPath(name);
    return image;
}

juce::Image paintClipLamp(bool red, bool out)
{
    auto image = blankImage(72, 45);
    juce::Graphics g(image);
    const juce::Rectangle<float> body(2.0f, 2.0f, 68.0f, 41.0f);
    const juce::Colour hot = red ? juce::Colour(0xffff2a1a) : juce::Colour(0xffffa812);
    const juce::Colour rim = red ? juce::Colour(0xff8c0c06) : juce::Colour(0xff9a5a00);
    g.setColour(rim);
    g.fillRoundedRectangle(body, 9.0f);
    g.setGradientFill(juce::ColourGradient(hot.brighter(0.6f), 36.0f, 14.0f, hot, 36.0f, 40.0f, true));
    g.fillRoundedRectangle(body.reduced(3.0f), 7.0f);
    g.setColour(juce::Colours::white.withAlpha(0.35f));
    g.fillRoundedRectangle(body.reduced(8.0f, 5.0f).withHeight(9.0f), 4.0f);
    g.setColour(red ? juce::Colours::white : juce::Colour(0xff2a1500));
    g.fillPath(centredText(out ? "OUT" : "IN", letteringFont(Face::sansBold, 24.0f, out ? 0.85f : 1.0f),
                           36.0f, 23.5f));
    return image;
}
