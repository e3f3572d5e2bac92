#include "Components/ManuelOverWriteBtn.h"

#include "Components/Scale.h"

ManuelOverWriteBtn::ManuelOverWriteBtn(int knobIndex) : index(knobIndex)
{
    setInterceptsMouseClicks(false, false);
}

// An outline thicker than the square fills it.
void ManuelOverWriteBtn::paint(juce::Graphics& g)
{
    const int edge = scaledLength(8, scale);
    g.setColour(juce::Colours::red);
    g.drawRect(0, 0, edge, edge, 50);
}
