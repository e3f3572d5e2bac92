#pragma once

#include <juce_gui_basics/juce_gui_basics.h>

// The red mark beside a knob that the unit's own panel holds at the moment.
class ManuelOverWriteBtn : public juce::Component
{
public:
    explicit ManuelOverWriteBtn(int knobIndex);
    void paint(juce::Graphics& g) override;

    int index;
    float scale = 0.0f;
};
