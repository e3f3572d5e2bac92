#pragma once

#include <juce_gui_basics/juce_gui_basics.h>

#include <atomic>

class GlobalData;
class TCPIP;
class Broadcast;

// The question "Where is my Friend?": one unit of the product answered the search, with a
// serial other than the stored one. A window of its own that the host can place; Ok takes
// that unit, Cancel (or the title bar's close button) leaves the choice to the IP page.
// The window deletes itself once answered.
class MyAlertWindow : public juce::DocumentWindow, public juce::Button::Listener
{
public:
    MyAlertWindow(const juce::String& title, const juce::String& message, GlobalData* global, TCPIP* tcp,
                  Broadcast* broadcast);
    ~MyAlertWindow() override;

    void paint(juce::Graphics& g) override;
    void resized() override;
    void closeButtonPressed() override;
    void buttonClicked(juce::Button* button) override;

    bool isAnswered() const { return answered; }
    juce::TextButton& getOkButton() { return okButton; }
    juce::TextButton& getCancelButton() { return cancelButton; }
    juce::String getMessage() const { return label.getText(); }

    static constexpr int width = 300;
    static constexpr int height = 160;

private:
    void takeOtherUnit();
    void keepLooking();
    // Hides the window now and deletes it once the click that answered it has returned.
    void closing();

    GlobalData* global;
    TCPIP* tcp;
    Broadcast* broadcast;
    juce::TextButton okButton{"new button"};
    juce::TextButton cancelButton{"new button"};
    juce::Label label{"new label"};
    juce::LookAndFeel_V3 lookAndFeel;
    bool answered = false;

    JUCE_DECLARE_NON_COPYABLE_WITH_LEAK_DETECTOR(MyAlertWindow)
};
