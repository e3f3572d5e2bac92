#include "MouseMenue/AboutUs.h"

// The window's content: what it draws and where its two controls stand.
class AboutUs::Page : public juce::Component
{
public:
    explicit Page(AboutUs& window) : owner(window) {}
    void paint(juce::Graphics& g) override { owner.paintPage(g); }
    void resized() override { owner.placeControls(); }

private:
    AboutUs& owner;
};

AboutUs::AboutUs(const std::string& version, const std::string& serial, juce::Image logoImage)
    : juce::DocumentWindow("About", juce::Colours::white, juce::DocumentWindow::allButtons),
      versionText("Version : " + juce::String(version) + "\n"),
      serialText("Serial number : " + juce::String(serial)), closeButton(juce::translate("Close")),
      websiteLink(website, juce::URL(website)), logo(std::move(logoImage))
{
    page = std::make_unique<Page>(*this);
    page->addAndMakeVisible(closeButton);
    page->addAndMakeVisible(websiteLink);
    closeButton.addListener(this);
    // The whole address fits the link's width.
    websiteLink.setFont(juce::Font(13.0f), false);
    page->setSize(300, 300);
    setContentNonOwned(page.get(), true);
}

AboutUs::~AboutUs()
{
    closeButton.removeListener(this);
    clearContentComponent();
}

void AboutUs::buttonClicked(juce::Button* button)
{
    if (button != &closeButton)
        return;
    // Not inside the button's own call: the window goes once the click is over.
    juce::MessageManager::callAsync([window = juce::Component::SafePointer<AboutUs>(this)]
                                    { delete window.getComponent(); });
}

void AboutUs::paintPage(juce::Graphics& g) const
{
    g.fillAll(juce::Colours::white);
    g.setColour(juce::Colour(0xff07305c));
    g.fillRect(0, 0, 300, 150);
    g.setColour(juce::Colours::black);
    if (logo.isValid())
        g.drawImage(logo, juce::Rectangle<float>(35.0f, 35.0f, 230.0f, 80.0f));
    g.setFont(15.0f);
    g.drawText(versionText.trimEnd(), 88, 160, 128, 24, juce::Justification::centredLeft, true);
    g.drawText(serialText, 48, 224, 200, 24, juce::Justification::centredLeft, true);
}

void AboutUs::placeControls()
{
    closeButton.setBounds(112, 256, 78, 24);
    websiteLink.setBounds(24, 192, 248, 24);
}
