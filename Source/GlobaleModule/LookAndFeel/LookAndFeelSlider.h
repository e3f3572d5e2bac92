#pragma once

#include <juce_gui_basics/juce_gui_basics.h>

// Draws a rotary slider as one frame of a film strip, frames stacked vertically.
class LookAndFeelSlider : public juce::LookAndFeel_V4
{
public:
    explicit LookAndFeelSlider(int frameCount) : frames(frameCount) {}

    // A null image leaves nothing to draw (frames 0). The flag is kept for the callers.
    void SetImage(juce::Image strip, int frameCount, bool);
    void drawRotarySlider(juce::Graphics& g, int x, int y, int width, int height, float, float, float,
                          juce::Slider& slider) override;

    // The frame that a value shows: the one place that maps a value to a picture.
    static int frameFor(float value, float low, float high, int frameCount);

    juce::Image image;
    int frames;
    int frameWidth = 0;
    int frameHeight = 0;
};
