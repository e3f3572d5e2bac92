#pragma once

#include <juce_gui_basics/juce_gui_basics.h>

// A picture cell of a popup menu: 220 x 140 with the picture at (10, 10, 200, 120), marked
// while the pointer is over it.
class MenuImageComponent : public juce::PopupMenu::CustomComponent
{
public:
    explicit MenuImageComponent(juce::Image picture);

    void getIdealSize(int& idealWidth, int& idealHeight) override;
    void paint(juce::Graphics&) override;
    void mouseEnter(const juce::MouseEvent&) override;
    void mouseExit(const juce::MouseEvent&) override;

    juce::Image image;
    bool hovered = false;
};
