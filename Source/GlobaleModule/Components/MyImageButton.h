#pragma once

#include <juce_gui_basics/juce_gui_basics.h>

#include <atomic>

class GlobalData;

// The lamp button of device row 14. Made by the processor and shown by whichever editor
// is open; the loop also sets its state from the unit.
class MyImageButton : public juce::Component // a Component is a MouseListener already
{
public:
    MyImageButton(juce::Image first, juce::Image second, GlobalData* global, int type);

    void mouseDown(const juce::MouseEvent&) override;
    void paint(juce::Graphics&) override;

    juce::Image first, second;
    std::atomic<int> imageButtonState{0};
    int type;
    GlobalData* global;
};
