#pragma once

#include <juce_gui_basics/juce_gui_basics.h>

class GlobalData;
struct Settings;

// The preset view of the editor (view 30). For now an empty page with its title; the
// browser columns, the name field and Save come with the preset panel.
class PresetMain : public juce::Component
{
public:
    PresetMain(Settings* settings, GlobalData* global);
    void paint(juce::Graphics& g) override;

    GlobalData* global;
    Settings* settings;
    // The editor's size factor minus one, set at every layout.
    float scale = 0.0f;
};
