#pragma once

#include <juce_gui_basics/juce_gui_basics.h>

// The text buttons' look: the font follows the window's size factor.
class CLookAndFeel : public juce::LookAndFeel_V4
{
public:
    juce::Font getTextButtonFont(juce::TextButton&, int) override
    {
        return juce::Font(14.0f * scale + 14.0f);
    }

    float scale = 0.0f;
};
