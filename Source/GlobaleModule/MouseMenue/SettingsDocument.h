#pragma once

#include <juce_gui_basics/juce_gui_basics.h>

#include <memory>

class GlobalData;

// The preferences. Every control writes one field of GlobalData and raises its flag; the
// processor's loop serves what goes to the unit, the editor's tick what changes the window.
// Nothing is taken back when the window closes.

// "Device": the unit's screen brightness, its meter face, Auto Gain and High Gain.
class Settings_Device : public juce::Component, public juce::Slider::Listener, public juce::Button::Listener
{
public:
    explicit Settings_Device(GlobalData* global);
    ~Settings_Device() override;

    void paint(juce::Graphics&) override;
    void resized() override;
    void sliderValueChanged(juce::Slider* slider) override;
    void buttonClicked(juce::Button* button) override;
    // The meter menu's answer: 1 to 21 chooses a face; anything else, dismissal included,
    // changes nothing.
    void PopUpMeterResult(int result);

    // The controls, public for the tests.
    juce::LookAndFeel_V4 look;
    GlobalData* global;
    std::unique_ptr<juce::GroupComponent> group;
    std::unique_ptr<juce::TextButton> changeMeterButton;
    std::unique_ptr<juce::ToggleButton> autoGainButton, highGainButton;
    std::unique_ptr<juce::Slider> brightnessSlider;
    std::unique_ptr<juce::Label> brightLabel, darkLabel;
    bool meterMenuOpen = false;
};

// "Plugin": the window's size, the knobs' steps, and whether all-zero presets are skipped.
class Settings_Plugin : public juce::Component, public juce::Button::Listener, public juce::Slider::Listener
{
public:
    explicit Settings_Plugin(GlobalData* global);
    ~Settings_Plugin() override;

    void paint(juce::Graphics&) override;
    void resized() override;
    void sliderValueChanged(juce::Slider* slider) override;
    void buttonClicked(juce::Button* button) override;

    juce::LookAndFeel_V4 look;
    GlobalData* global;
    std::unique_ptr<juce::GroupComponent> sizeGroup;
    std::unique_ptr<juce::Slider> sizeSlider;
    std::unique_ptr<juce::Label> highLabel, bigLabel, smallLabel, lowLabel;
    std::unique_ptr<juce::GroupComponent> resolutionGroup;
    std::unique_ptr<juce::Slider> resolutionSlider;
    std::unique_ptr<juce::ToggleButton> ignoreEmptyButton;
};

// "Balance": the unit's balance, in its own figures.
class Settings_Balance : public juce::Component, public juce::Slider::Listener
{
public:
    explicit Settings_Balance(GlobalData* global);
    ~Settings_Balance() override;

    void paint(juce::Graphics&) override;
    void resized() override;
    void sliderValueChanged(juce::Slider* slider) override;

    juce::LookAndFeel_V4 look;
    GlobalData* global;
    std::unique_ptr<juce::GroupComponent> group;
    std::unique_ptr<juce::Slider> balanceSlider;
    std::unique_ptr<juce::Label> leftLabel, rightLabel;
};

// The floating window with the three tabs. Whoever opens it places and shows it. It deletes
// itself when its close button is pressed; whoever holds a SafePointer to it may delete it
// first (the editor does, so that no window outlives the GlobalData it writes to).
class Settings_Document : public juce::DocumentWindow
{
public:
    Settings_Document(const juce::String& title, juce::Colour background, int titleBarButtons,
                      GlobalData* global);
    ~Settings_Document() override;

    void closeButtonPressed() override;

    juce::TabbedComponent& getTabs() { return *tabs; }
    Settings_Device* devicePage() const;
    Settings_Plugin* pluginPage() const;
    Settings_Balance* balancePage() const;

private:
    std::unique_ptr<juce::TabbedComponent> tabs;
};
