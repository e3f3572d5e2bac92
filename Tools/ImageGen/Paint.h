// Shared painting helpers of the picture generator: a seeded noise source, the lettering,
// brushed metal, screws.
#pragma once

#include <juce_graphics/juce_graphics.h>

#include <cstdint>

// A small deterministic noise source: the same seed gives the same pixels on every machine.
class Noise
{
public:
    explicit Noise(uint32_t seed) : state(seed * 2654435761u + 0x9e3779b9u) {}
    uint32_t next()
    {
        state ^= state << 13;
        state ^= state >> 17;
        state ^= state << 5;
        return state;
    }
    // Uniform in [-1, 1).
    float signedUnit() { return (float)(next() >> 8) / 8388608.0f - 1.0f; }

private:
    uint32_t state;
};

enum class Face
{
    sans,
    sansBold,
    serif,
    serifBold
};

// The fonts come from fixed files, never from what the system would pick.
juce::Font letteringFont(Face face, float height, float horizontalScale = 1.0f);

// Outline of a line of text, its baseline at y = 0 starting at x = 0.
juce::Path textOutline(const juce::String& text, const juce::Font& font);

// Outline of a line of text centred on (cx, cy): horizontally by its advance, vertically by
// the height of the font's capitals, so that labels of a row line up.
juce::Path centredText(const juce::String& text, const juce::Font& font, float cx, float cy);

// Outline of text written along a circle of radius r about (cx, cy), centred at angle a
// (radians, clockwise from upright), letters upright on the circle.
juce::Path textOnArc(const juce::String& text, const juce::Font& font, float cx, float cy, float r, float a);

// A point at angle a (radians, clockwise from upright) and radius r about a centre.
juce::Point<float> polar(juce::Point<float> centre, float r, float a);

// Fills an area with brushed metal: long horizontal streaks about a base colour.
void brushedMetal(juce::Image& image, juce::Rectangle<int> area, juce::Colour base, float streak,
                  uint32_t seed);

// Paints the path as engraved and filled with paint: a dark lip above, a light one below.
void engrave(juce::Graphics& g, const juce::Path& path, juce::Colour paint, float depth);

// A cross-head screw of radius r, its slots turned by `turn` radians.
void drawScrew(juce::Graphics& g, juce::Point<float> centre, float r, float turn);

// A fresh ARGB image cleared to transparent.
juce::Image blankImage(int w, int h);
