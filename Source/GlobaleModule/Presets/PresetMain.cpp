#include "Presets/PresetMain.h"

PresetMain::PresetMain(Settings* globalSettings, GlobalData* globalData)
    : global(globalData), settings(globalSettings)
{
    setTitle("Presets");
}

void PresetMain::paint(juce::Graphics& g)
{
    g.fillAll(juce::Colour(0xff202226));
    g.setColour(juce::Colours::white);
    g.setFont(16.0f * (1.0f + scale));
    g.drawText("Presets", getLocalBounds().removeFromTop((int)(40.0f * (1.0f + scale))),
               juce::Justification::centred);
}
