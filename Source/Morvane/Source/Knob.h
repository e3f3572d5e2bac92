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

    // Arrow keys move a focused knob by a hundredth of its range, or by its step where
    // that is coarser (the mode switches), whatever fine step "Poti resolution" set.
    bool keyPressed(const juce::KeyPress& key) override
    {
        if (key.getModifiers().isAnyModifierKeyDown())
            return false;
        const double step = juce::jmax(getInterval(), (getMaximum() - getMinimum()) / 100.0);
        if (key == juce::KeyPress::rightKey || key == juce::KeyPress::upKey)
            setValue(getValue() + step, juce::sendNotificationSync);
        else if (key == juce::KeyPress::leftKey || key == juce::KeyPress::downKey)
            setValue(getValue() - step, juce::sendNotificationSync);
        else
            return false;
        return true;
    }

    bool dragging = false;
    int index;
};
