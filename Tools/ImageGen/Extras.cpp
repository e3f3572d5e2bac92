// The pictures of the windows around the panel: the search animation, the sad face of the
// address page, the preset panel's backdrop, the browser's folder, the maker's logo and the
// Standalone's icon.
#include "Paint.h"
#include "Painters.h"

#include <cmath>

const juce::Colour searchInk(0xff0b2a5c);

juce::Image paintSearchStrip()
{
    constexpr int size = 300, frames = 150;
    auto strip = blankImage(size, size * frames);
    juce::Graphics g(strip);
    const auto word = centredText("MORVANE", letteringFont(Face::sansBold, 42.0f, 0.95f), 150.0f, 150.0f);
    for (int frame = 0; frame < frames; ++frame)
    {
        const juce::Graphics::ScopedSaveState state(g);
        g.setOrigin(0, frame * size);
        g.reduceClipRegion(0, 0, size, size);
        g.setColour(searchInk);
        g.fillPath(word);
        g.setColour(searchInk.withAlpha(0.15f));
        g.drawEllipse(30.0f, 30.0f, 240.0f, 240.0f, 6.0f);
        // A comet of an arc, one turn over the strip, fading towards its tail.
        const float head = juce::MathConstants<float>::twoPi * (float)frame / (float)frames;
        constexpr int pieces = 24;
        for (int i = 0; i < pieces; ++i)
        {
            const float a0 = head - 0.07f * (float)(i + 1), a1 = head - 0.07f * (float)i;
            juce::Path piece;
            piece.addCentredArc(150.0f, 150.0f, 120.0f, 120.0f, 0.0f, a0, a1 + 0.01f, true);
            g.setColour(searchInk.withAlpha(1.0f - (float)i / (float)pieces));
            g.strokePath(piece, juce::PathStrokeType(10.0f, juce::PathStrokeType::curved,
                                                     i == 0 ? juce::PathStrokeType::rounded
                                                            : juce::PathStrokeType::butt));
        }
    }
    return strip;
}

juce::Image paintSadFace()
{
    auto image = blankImage(300, 300);
    juce::Graphics g(image);
    g.setColour(searchInk);
    g.drawEllipse(20.0f, 20.0f, 260.0f, 260.0f, 12.0f);
    g.fillEllipse(95.0f, 100.0f, 26.0f, 38.0f);
    g.fillEllipse(179.0f, 100.0f, 26.0f, 38.0f);
    juce::Path mouth;
    mouth.addCentredArc(150.0f, 235.0f, 62.0f, 48.0f, 0.0f, -1.05f, 1.05f, true);
    g.strokePath(mouth,
                 juce::PathStrokeType(12.0f, juce::PathStrokeType::curved, juce::PathStrokeType::rounded));
    juce::Path tear;
    tear.startNewSubPath(206.0f, 146.0f);
    tear.cubicTo(198.0f, 162.0f, 194.0f, 170.0f, 200.0f, 177.0f);
    tear.cubicTo(206.0f, 182.0f, 216.0f, 177.0f, 214.0f, 168.0f);
    tear.cubicTo(213.0f, 161.0f, 208.0f, 153.0f, 206.0f, 146.0f);
    g.setColour(juce::Colour(0xff4d8fe0));
    g.fillPath(tear);
    return image;
}

// A rack seen from the front in the dark: brushed units one above the other, with their
// screws, and the product's name across the lowest.
juce::Image paintPresetBackground()
{
    auto image = blankImage(2560, 1600);
    brushedMetal(image, image.getBounds(), juce::Colour(0xff2a2c31), 0.02f, 26);
    juce::Graphics g(image);
    constexpr float unitHeight = 320.0f;
    for (float y = unitHeight; y < 1600.0f; y += unitHeight)
    {
        g.setColour(juce::Colours::black.withAlpha(0.6f));
        g.fillRect(0.0f, y - 3.0f, 2560.0f, 6.0f);
        g.setColour(juce::Colours::white.withAlpha(0.08f));
        g.fillRect(0.0f, y + 3.0f, 2560.0f, 2.0f);
    }
    for (float y = unitHeight * 0.5f; y < 1600.0f; y += unitHeight)
        for (float x : {60.0f, 2500.0f})
            drawScrew(g, {x, y}, 22.0f, y * 0.01f);
    g.setGradientFill(juce::ColourGradient(juce::Colours::white.withAlpha(0.10f), 1280.0f, 300.0f,
                                           juce::Colours::black.withAlpha(0.5f), 0.0f, 1600.0f, true));
    g.fillAll();
    auto word = centredText("MORVANE", letteringFont(Face::sansBold, 150.0f, 1.2f), 1280.0f, 1440.0f);
    engrave(g, word, juce::Colours::white.withAlpha(0.07f), 3.0f);
    return image;
}

juce::Image paintFolderIcon()
{
    auto image = blankImage(1600, 1600);
    juce::Graphics g(image);
    juce::Path back;
    back.startNewSubPath(120.0f, 300.0f);
    back.lineTo(620.0f, 300.0f);
    back.lineTo(760.0f, 440.0f);
    back.lineTo(1480.0f, 440.0f);
    back.lineTo(1480.0f, 1340.0f);
    back.lineTo(120.0f, 1340.0f);
    back.closeSubPath();
    back = back.createPathWithRoundedCorners(70.0f);
    g.setColour(juce::Colour(0xffb87812));
    g.fillPath(back);
    juce::Path front;
    front.addRoundedRectangle(120.0f, 580.0f, 1360.0f, 760.0f, 70.0f);
    g.setGradientFill(
        juce::ColourGradient(juce::Colour(0xfff7c651), 0, 580, juce::Colour(0xffe39d24), 0, 1340, false));
    g.fillPath(front);
    g.setColour(juce::Colours::white.withAlpha(0.35f));
    g.fillRect(200.0f, 620.0f, 1200.0f, 24.0f);
    return image;
}

juce::Image paintLogo()
{
    auto image = blankImage(230, 80);
    juce::Graphics g(image);
    const juce::Colour silver(0xffe8ecf2);
    g.setColour(silver);
    g.drawEllipse(6.0f, 10.0f, 60.0f, 60.0f, 3.0f);
    juce::Path mark;
    mark.startNewSubPath(20.0f, 24.0f);
    mark.lineTo(36.0f, 58.0f);
    mark.lineTo(52.0f, 24.0f);
    g.strokePath(mark,
                 juce::PathStrokeType(6.0f, juce::PathStrokeType::mitered, juce::PathStrokeType::square));
    auto name = textOutline("VELMORA", letteringFont(Face::serifBold, 30.0f, 1.0f));
    name.applyTransform(juce::AffineTransform::translation(76.0f, 44.0f));
    g.fillPath(name);
    g.fillRect(77.0f, 51.0f, 148.0f, 1.5f);
    auto works = textOutline("AUDIO  WORKS", letteringFont(Face::sans, 11.0f, 1.3f));
    works.applyTransform(juce::AffineTransform::translation(78.0f, 67.0f));
    g.fillPath(works);
    return image;
}

juce::Image paintAppIcon()
{
    constexpr float size = 256.0f;
    auto image = blankImage((int)size, (int)size);
    juce::Graphics g(image);
    // A rounded tile of the panel's dark metal with the unit's amber screen in it.
    const juce::Rectangle<float> tile(8.0f, 8.0f, size - 16.0f, size - 16.0f);
    g.setGradientFill(juce::ColourGradient(juce::Colour(0xff4a4e55), 0.0f, 8.0f, juce::Colour(0xff1d1f23),
                                           0.0f, size - 8.0f, false));
    g.fillRoundedRectangle(tile, 44.0f);
    g.setColour(juce::Colour(0xff8a9099));
    g.drawRoundedRectangle(tile.reduced(1.5f), 43.0f, 3.0f);
    const juce::Rectangle<float> screen(36.0f, 46.0f, size - 72.0f, 112.0f);
    g.setColour(juce::Colour(0xfff2a93b));
    g.fillRoundedRectangle(screen, 10.0f);
    // The meter's scale and its needle, pivoting below the screen's lower edge.
    const juce::Point<float> pivot(size / 2.0f, 176.0f);
    g.setColour(juce::Colour(0xff2a1a08));
    juce::Path scale;
    scale.addCentredArc(pivot.x, pivot.y, 104.0f, 104.0f, 0.0f, -0.75f, 0.75f, true);
    g.strokePath(scale, juce::PathStrokeType(4.0f));
    for (int tick = 0; tick <= 6; ++tick)
    {
        const float a = -0.75f + 0.25f * (float)tick;
        g.drawLine(juce::Line<float>(polar(pivot, 104.0f, a), polar(pivot, tick % 3 == 0 ? 86.0f : 94.0f, a)),
                   3.0f);
    }
    g.setColour(juce::Colour(0xffb3261e));
    g.drawLine(juce::Line<float>(polar(pivot, 40.0f, 0.35f), polar(pivot, 112.0f, 0.35f)), 5.0f);
    g.setColour(juce::Colour(0xffe8ecf2));
    g.fillPath(centredText("MORVANE", letteringFont(Face::sansBold, 30.0f, 0.95f), size / 2.0f, 202.0f));
    return image;
}
