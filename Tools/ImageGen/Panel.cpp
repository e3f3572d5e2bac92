// The front panel, the display's bezel and the lamp button.
#include "Geometry.h"
#include "Paint.h"
#include "Painters.h"

#include <vector>

namespace
{

const juce::Colour panelPaint(0xffe9e4d6); // the print on the panel, a warm white

struct ScaleLabel
{
    float position;
    const char* text;
};

struct KnobScale
{
    std::vector<ScaleLabel> labels;
    const char* unit;
};

// What each of the eight knobs of a row reads, in its travel from 0 to 1.
KnobScale scaleOf(int knob)
{
    switch (knob)
    {
    case 0:
    case 3:
        return {{{0, "-20"}, {0.25f, "-10"}, {0.5f, "0"}, {0.75f, "+10"}, {1, "+20"}}, "dB"};
    case 1:
        return {{{0, ".1"}, {0.25f, "1"}, {0.5f, "5"}, {0.75f, "30"}, {1, "100"}}, "ms"};
    case 4:
        return {{{0, "+10"}, {0.25f, "0"}, {0.5f, "-10"}, {0.75f, "-20"}, {1, "-30"}}, "dB"};
    case 5:
        return {{{0, "50"}, {0.25f, "100"}, {0.5f, "300"}, {0.75f, "1k"}, {1, "3k"}}, "ms"};
    case 6:
        return {{{0, "OFF"}, {0.25f, "60"}, {0.5f, "120"}, {0.75f, "250"}, {1, "500"}}, "Hz"};
    case 7:
        return {{{0, "DRY"}, {0.5f, "50"}, {1, "WET"}}, "%"};
    default:
        break;
    }
    return {{}, ""};
}

juce::Point<float> centreOf(const Layout::KnobPlace& k)
{
    return {k.x + Layout::knobSize * 0.5f, k.y + Layout::knobSize * 0.5f};
}

juce::Path radialLine(juce::Point<float> c, float r0, float r1, float a, float thickness)
{
    juce::Path line;
    line.startNewSubPath(polar(c, r0, a));
    line.lineTo(polar(c, r1, a));
    juce::Path stroked;
    juce::PathStrokeType(thickness, juce::PathStrokeType::curved, juce::PathStrokeType::rounded)
        .createStrokedPath(stroked, line);
    return stroked;
}

void paintKnobScale(juce::Graphics& g, int knob)
{
    const auto& place = Layout::knobs[knob];
    const auto c = centreOf(place);
    const auto numbers = letteringFont(Face::sans, 4.6f, 0.9f);
    juce::Path print;
    if (knob == 2)
    {
        // The mode switch: eleven modes and the network page.
        for (int stop = 0; stop < Layout::modeStops; ++stop)
        {
            const float a = Layout::knobAngle((float)stop / (float)(Layout::modeStops - 1));
            print.addPath(radialLine(c, 27.0f, 30.0f, a, 0.7f));
            const auto text = stop < 11 ? juce::String(stop + 1) : juce::String("NET");
            const auto at = polar(c, stop < 11 ? 34.5f : 36.0f, a);
            print.addPath(centredText(text, numbers, at.x, at.y));
        }
    }
    else
    {
        for (int tick = 0; tick <= 20; ++tick)
        {
            const float a = Layout::knobAngle((float)tick / 20.0f);
            const bool major = tick % 5 == 0;
            print.addPath(radialLine(c, 27.0f, major ? 31.0f : 29.2f, a, major ? 0.7f : 0.45f));
        }
        for (const auto& label : scaleOf(knob).labels)
        {
            const float a = Layout::knobAngle(label.position);
            const float r = juce::String(label.text).length() > 2 ? 37.0f : 35.5f;
            const auto at = polar(c, r, a);
            print.addPath(centredText(label.text, numbers, at.x, at.y));
        }
        print.addPath(centredText(scaleOf(knob).unit, letteringFont(Face::sans, 3.6f), c.x, c.y + 28.5f));
    }
    print.addPath(centredText(place.name, letteringFont(Face::sansBold, 5.0f, 0.88f), c.x, c.y + 36.0f));
    engrave(g, print, panelPaint, 0.35f);
}

void paintRackEars(juce::Graphics& g)
{
    for (float x : {0.0f, Layout::width - 26.0f})
    {
        g.setColour(juce::Colours::black.withAlpha(0.16f));
        g.fillRect(x, 0.0f, 26.0f, Layout::height);
        g.setColour(juce::Colours::black.withAlpha(0.5f));
        g.fillRect(x == 0.0f ? 26.0f : x - 0.6f, 0.0f, 0.6f, Layout::height);
        g.setColour(juce::Colours::white.withAlpha(0.08f));
        g.fillRect(x == 0.0f ? 26.6f : x - 1.2f, 0.0f, 0.6f, Layout::height);
        // The upper screws sit below the window's buttons, which cover the top right corner.
        for (float y : {34.0f, Layout::height - 34.0f})
        {
            const juce::Rectangle<float> slot(x + 5.0f, y - 5.0f, 16.0f, 10.0f);
            g.setColour(juce::Colour(0xff0b0b0c));
            g.fillRoundedRectangle(slot, 5.0f);
            g.setColour(juce::Colours::white.withAlpha(0.12f));
            g.drawRoundedRectangle(slot.translated(0.0f, 0.4f), 5.0f, 0.4f);
            drawScrew(g, {x + 13.0f, y}, 5.4f, x == 0.0f ? 0.3f : 0.9f);
        }
    }
}

void paintNames(juce::Graphics& g)
{
    // Product name top left, the maker's plate below the display.
    auto product = textOutline("MORVANE", letteringFont(Face::sansBold, 14.0f, 1.15f));
    product.applyTransform(juce::AffineTransform::translation(36.0f, 22.0f));
    engrave(g, product, panelPaint, 0.45f);
    auto kind = textOutline("STEREO  COMPRESSOR", letteringFont(Face::sans, 4.6f, 1.2f));
    kind.applyTransform(juce::AffineTransform::translation(118.0f, 22.0f));
    engrave(g, kind, panelPaint.withAlpha(0.85f), 0.3f);

    const juce::Rectangle<float> plate(372.0f, 160.0f, 132.0f, 46.0f);
    g.setColour(juce::Colours::black.withAlpha(0.35f));
    g.fillRoundedRectangle(plate.translated(0.0f, 0.8f), 3.0f);
    g.setGradientFill(juce::ColourGradient(juce::Colour(0xff1b1c1f), 0, plate.getY(),
                                           juce::Colour(0xff101113), 0, plate.getBottom(), false));
    g.fillRoundedRectangle(plate, 3.0f);
    g.setColour(juce::Colours::white.withAlpha(0.12f));
    g.drawRoundedRectangle(plate, 3.0f, 0.5f);
    g.setColour(juce::Colour(0xffc9a45c));
    g.fillPath(
        centredText("VELMORA", letteringFont(Face::serifBold, 9.0f, 1.2f), plate.getCentreX(), 175.0f));
    g.fillRect(plate.getCentreX() - 40.0f, 182.5f, 80.0f, 0.5f);
    g.fillPath(
        centredText("AUDIO  WORKS", letteringFont(Face::serif, 4.6f, 1.25f), plate.getCentreX(), 189.0f));
    g.setColour(panelPaint.withAlpha(0.6f));
    g.fillPath(centredText("NETWORKED ANALOG DYNAMICS", letteringFont(Face::sans, 3.2f, 1.1f),
                           plate.getCentreX(), 199.0f));
    for (float x : {plate.getX() + 4.0f, plate.getRight() - 4.0f})
        for (float y : {plate.getY() + 4.0f, plate.getBottom() - 4.0f})
            drawScrew(g, {x, y}, 1.8f, x * 0.1f);
}

void paintLampLabel(juce::Graphics& g)
{
    const float cx = Layout::lampX + Layout::lampSize * 0.5f;
    engrave(g, centredText("ENGAGE", letteringFont(Face::sansBold, 5.0f, 0.88f), cx, 150.0f), panelPaint,
            0.35f);
}

} // namespace

juce::Image paintPanel()
{
    auto image = blankImage(1600, 437);
    brushedMetal(image, image.getBounds(), juce::Colour(0xff2e3034), 0.045f, 42);
    juce::Graphics g(image);
    g.addTransform(juce::AffineTransform::scale(1600.0f / Layout::width, 437.0f / Layout::height));
    g.setGradientFill(juce::ColourGradient(juce::Colours::white.withAlpha(0.07f), 0, 0,
                                           juce::Colours::black.withAlpha(0.22f), 0, Layout::height, false));
    g.fillRect(0.0f, 0.0f, Layout::width, Layout::height);
    // Under the bezel: the dark well of the display.
    g.setColour(juce::Colour(0xff070708));
    g.fillRoundedRectangle(306.0f, 10.0f, 188.0f, 122.0f, 4.0f);
    paintRackEars(g);
    for (int knob = 0; knob < 8; ++knob)
        paintKnobScale(g, knob);
    paintNames(g);
    paintLampLabel(g);
    g.setColour(juce::Colours::white.withAlpha(0.16f));
    g.fillRect(0.0f, 0.0f, Layout::width, 0.6f);
    g.setColour(juce::Colours::black.withAlpha(0.6f));
    g.fillRect(0.0f, Layout::height - 0.6f, Layout::width, 0.6f);
    return image;
}

juce::Image paintBezel()
{
    auto image = blankImage(1600, 438);
    juce::Graphics g(image);
    // The ring stays inside x 601 to 998 and y 9 to 276 of the picture.
    g.reduceClipRegion(601, 9, 398, 268);
    g.addTransform(juce::AffineTransform::scale(2.0f));
    const juce::Rectangle<float> outer(302.0f, 6.0f, 195.5f, 130.5f);
    const juce::Rectangle<float> window(Layout::faceX, Layout::faceY, Layout::faceW, Layout::faceH);
    juce::Path ring;
    ring.addRoundedRectangle(outer, 6.0f);
    ring.addRoundedRectangle(window.expanded(0.5f), 2.0f);
    ring.setUsingNonZeroWinding(false);
    g.setGradientFill(juce::ColourGradient(juce::Colour(0xff3c3f44), 0, outer.getY(),
                                           juce::Colour(0xff141517), 0, outer.getBottom(), false));
    g.fillPath(ring);
    // A chamfer round the window, lit from above.
    juce::Path chamfer;
    chamfer.addRoundedRectangle(window.expanded(6.0f), 4.0f);
    chamfer.addRoundedRectangle(window.expanded(0.5f), 2.0f);
    chamfer.setUsingNonZeroWinding(false);
    g.setGradientFill(juce::ColourGradient(juce::Colour(0xff0c0c0d), 0, window.getY() - 6.0f,
                                           juce::Colour(0xff6b6f76), 0, window.getBottom() + 6.0f, false));
    g.fillPath(chamfer);
    g.setColour(juce::Colours::white.withAlpha(0.22f));
    g.drawRoundedRectangle(outer.reduced(0.4f), 6.0f, 0.6f);
    g.setColour(juce::Colours::black.withAlpha(0.7f));
    g.drawRoundedRectangle(window.expanded(0.5f), 2.0f, 0.8f);
    for (float x : {outer.getX() + 6.5f, outer.getRight() - 6.5f})
        for (float y : {outer.getY() + 6.5f, outer.getBottom() - 6.5f})
            drawScrew(g, {x, y}, 2.9f, x * 0.05f + y * 0.03f);
    // The glass over the face: a faint sheen from the upper left.
    g.setGradientFill(juce::ColourGradient(juce::Colours::white.withAlpha(0.10f), window.getX(),
                                           window.getY(), juce::Colours::white.withAlpha(0.0f),
                                           window.getX() + 70.0f, window.getBottom(), false));
    g.fillRect(window);
    return image;
}

juce::Image paintLampButton(bool lit)
{
    auto image = blankImage(236, 236);
    juce::Graphics g(image);
    const juce::Point<float> c(118.0f, 118.0f);
    const auto circle = [c](float r)
    {
        return juce::Rectangle<float>(2 * r, 2 * r).withCentre(c);
    };
    g.setColour(juce::Colours::black.withAlpha(0.45f));
    g.fillEllipse(circle(112.0f).translated(3.0f, 5.0f));
    juce::ColourGradient chrome(juce::Colour(0xffeef0f3), 40, 20, juce::Colour(0xff3a3d42), 200, 220, false);
    chrome.addColour(0.5, juce::Colour(0xff9ea3aa));
    g.setGradientFill(chrome);
    g.fillEllipse(circle(110.0f));
    g.setColour(juce::Colour(0xff0c0c0d));
    g.fillEllipse(circle(90.0f));
    const juce::Colour lens = lit ? juce::Colour(0xffff5a1f) : juce::Colour(0xff4a130a);
    juce::ColourGradient body(lit ? juce::Colour(0xffffe2a0) : juce::Colour(0xff7a2414), c.x - 20.0f,
                              c.y - 25.0f, lens, c.x + 60.0f, c.y + 80.0f, true);
    body.addColour(0.55, lens);
    g.setGradientFill(body);
    g.fillEllipse(circle(84.0f));
    if (lit)
    {
        g.setGradientFill(juce::ColourGradient(juce::Colour(0x90fff0c0), c.x, c.y, juce::Colour(0x00ff8040),
                                               c.x + 84.0f, c.y, true));
        g.fillEllipse(circle(84.0f));
    }
    g.setGradientFill(juce::ColourGradient(juce::Colours::white.withAlpha(lit ? 0.55f : 0.3f), c.x,
                                           c.y - 80.0f, juce::Colours::white.withAlpha(0.0f), c.x,
                                           c.y - 10.0f, false));
    g.fillEllipse(juce::Rectangle<float>(110.0f, 70.0f).withCentre({c.x, c.y - 42.0f}));
    g.setColour(juce::Colours::black.withAlpha(0.5f));
    g.drawEllipse(circle(84.0f), 3.0f);
    return image;
}
