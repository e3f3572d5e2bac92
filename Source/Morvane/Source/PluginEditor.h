#pragma once

#include "PluginProcessor.h"

#include <juce_gui_basics/juce_gui_basics.h>

class GlobalData;
struct Settings;
class Broadcast;
class TCPIP;
class SafeAndLoad;
class MyImageButton;

// The window: the processor's knobs and lamp buttons on a plain panel, a status line, and
// the tick that mirrors host values onto the knobs and knob moves to the host.
class MorvaneEditor : public juce::AudioProcessorEditor, private juce::Timer, private juce::Slider::Listener
{
public:
    MorvaneEditor(MorvaneProcessor& processor, GlobalData* global, Settings* settings, Broadcast* broadcast,
                  Knob** knobs, TCPIP* tcp, SafeAndLoad* safeAndLoad, MyImageButton* lampTop,
                  MyImageButton* lampBottom);
    ~MorvaneEditor() override;

    void paint(juce::Graphics&) override;
    void resized() override;

    // The status line as it is shown now.
    juce::String statusText() const;

private:
    void timerCallback() override;
    void sliderValueChanged(juce::Slider* slider) override;
    void mirrorHostValues();
    void followModeRequests();
    bool shown(int knob) const;

    MorvaneProcessor& processor;
    GlobalData* global;
    Settings* settings;
    Knob** knobs;
    MyImageButton* lampTop;
    MyImageButton* lampBottom;
    juce::Label status;
    juce::Label names[20];

    JUCE_DECLARE_NON_COPYABLE_WITH_LEAK_DETECTOR(MorvaneEditor)
};
