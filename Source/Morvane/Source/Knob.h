#pragma once

#include <juce_gui_basics/juce_gui_basics.h>

// A control of the unit. The knob array is the plug-in's model of the device; the knobs
// outlive every editor and are re-parented into the next one.
class Knob : public juce::Slider
{
public:
    explicit Knob(int knobIndex) : index(knobIndex) {}

    void startedDragging() override { dragging = true; }
    void stoppedDragging() override { dragging = false; }

    bool dragging = false;
    int index;
};
