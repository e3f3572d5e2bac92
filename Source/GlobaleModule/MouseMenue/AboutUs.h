#pragma once

#include <juce_gui_basics/juce_gui_basics.h>

#include <memory>
#include <string>

// The about window: logo, version, the serial of the unit at the moment it opened, the
// maker's website. Its title bar's close button does nothing; only the Close button ends it.
class AboutUs : public juce::DocumentWindow, public juce::Button::Listener
{
public:
    static constexpr const char* website = "https://www.velmora-audio-works.example";

    AboutUs(const std::string& version, const std::string& serial, juce::Image logo);
    ~AboutUs() override;

    void buttonClicked(juce::Button* button) override;
    void closeButtonPressed() override {}

    // What the page shows, public for the tests.
    juce::String versionText;
    juce::String serialText;
    juce::TextButton closeButton;
    juce::HyperlinkButton websiteLink;
    juce::Image logo;

private:
    class Page;
    void paintPage(juce::Graphics& g) const;
    void placeControls();

    std::unique_ptr<Page> page;
};
