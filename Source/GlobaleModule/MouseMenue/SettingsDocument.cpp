#include "MouseMenue/SettingsDocument.h"

#include "GlobalData/GlobalData.h"
#include "MouseMenue/MeterMenu.h"

namespace
{
std::unique_ptr<juce::GroupComponent> makeGroup(juce::Component& page, const juce::String& title)
{
    auto group = std::make_unique<juce::GroupComponent>("group", juce::translate(title));
    group->setTextLabelPosition(juce::Justification::centred);
    page.addAndMakeVisible(*group);
    return group;
}

std::unique_ptr<juce::Slider> makeSlider(juce::Component& page, juce::Slider::Listener* listener, double low,
                                         double high, double step)
{
    auto slider = std::make_unique<juce::Slider>("slider");
    slider->setSliderStyle(juce::Slider::LinearHorizontal);
    slider->setTextBoxStyle(juce::Slider::NoTextBox, false, 0, 0);
    slider->setRange(low, high, step);
    slider->addListener(listener);
    page.addAndMakeVisible(*slider);
    return slider;
}

std::unique_ptr<juce::Label> makeLabel(juce::Component& page, const juce::String& text,
                                       juce::Justification justification = juce::Justification::centredLeft)
{
    auto label = std::make_unique<juce::Label>("label", text);
    label->setFont(juce::Font(15.0f));
    label->setJustificationType(justification);
    label->setEditable(false, false, false);
    page.addAndMakeVisible(*label);
    return label;
}

std::unique_ptr<juce::ToggleButton> makeToggle(juce::Component& page, juce::Button::Listener* listener,
                                               const juce::String& text, bool state)
{
    auto toggle = std::make_unique<juce::ToggleButton>(text);
    toggle->setColour(juce::ToggleButton::textColourId, juce::Colours::white);
    toggle->setToggleState(state, juce::dontSendNotification);
    toggle->addListener(listener);
    page.addAndMakeVisible(*toggle);
    return toggle;
}

void paintPage(juce::Component& page, juce::Graphics& g)
{
    g.fillAll(page.getLookAndFeel().findColour(juce::ResizableWindow::backgroundColourId));
}

// The page may be gone when the menu answers: then the answer is dropped.
void meterMenuAnswered(int result, Settings_Device* page)
{
    if (page == nullptr)
        return;
    page->meterMenuOpen = false;
    page->PopUpMeterResult(result);
}
} // namespace

Settings_Device::Settings_Device(GlobalData* g) : global(g)
{
    setLookAndFeel(&look);
    group = makeGroup(*this, "Screen brightness");
    // Before the unit's first status the range is not the unit's: the slider waits.
    const double low = global->brightnessMin.load(), high = global->brightnessMax.load();
    const bool usable = high > low;
    brightnessSlider = makeSlider(*this, this, low, usable ? high : low + 1.0, 1.0);
    brightnessSlider->setEnabled(usable);
    brightnessSlider->setValue(global->brightness.load(),
                               usable ? juce::sendNotificationAsync : juce::dontSendNotification);
    darkLabel = makeLabel(*this, juce::translate("dark\n"));
    brightLabel = makeLabel(*this, juce::translate("bright\n"));
    changeMeterButton = std::make_unique<juce::TextButton>(juce::translate("Change VU-Meter"));
    changeMeterButton->addListener(this);
    addAndMakeVisible(*changeMeterButton);
    autoGainButton = makeToggle(*this, this, "Auto Gain", global->autoGainValue.load());
    highGainButton = makeToggle(*this, this, "High Gain", global->highGainValue.load());
}

Settings_Device::~Settings_Device()
{
    // A menu left open would outlive the window it belongs to. While one of ours is open it
    // is the only menu of the process: the next click anywhere closes a popup menu.
    if (meterMenuOpen)
        juce::PopupMenu::dismissAllActiveMenus();
    setLookAndFeel(nullptr);
}

void Settings_Device::paint(juce::Graphics& g)
{
    paintPage(*this, g);
}

void Settings_Device::resized()
{
    group->setBounds(25, 10, 350, 60);
    brightnessSlider->setBounds(90, 30, 220, 25);
    darkLabel->setBounds(35, 30, 47, 24);
    brightLabel->setBounds(320, 30, 55, 24);
    changeMeterButton->setBounds(25, 90, 350, 25);
    autoGainButton->setBounds(100, 128, 88, 24);
    highGainButton->setBounds(200, 128, 88, 24);
}

void Settings_Device::sliderValueChanged(juce::Slider* slider)
{
    if (slider != brightnessSlider.get())
        return;
    global->brightness = (float)slider->getValue();
    global->brightnessRequest = true;
}

void Settings_Device::buttonClicked(juce::Button* button)
{
    if (button == autoGainButton.get())
    {
        global->autoGainValue = button->getToggleState();
        global->autoGainRequest = true;
    }
    else if (button == highGainButton.get())
    {
        global->highGainValue = button->getToggleState();
        global->highGainRequest = true;
    }
    else if (button == changeMeterButton.get())
    {
        meterMenuOpen = true;
        MeterMenu::build().showMenuAsync(juce::PopupMenu::Options(),
                                         juce::ModalCallbackFunction::forComponent(meterMenuAnswered, this));
    }
}

void Settings_Device::PopUpMeterResult(int result)
{
    if (result < 1 || result > MeterMenu::faceCount)
        return;
    global->meterMode = result;
    global->meterModeChanged = true;
}

Settings_Plugin::Settings_Plugin(GlobalData* g) : global(g)
{
    setLookAndFeel(&look);
    sizeGroup = makeGroup(*this, "Plugin size");
    sizeSlider = makeSlider(*this, this, 0.0, 5.0, 0.0);
    sizeSlider->setValue(global->guiSize.load(), juce::sendNotificationAsync);
    smallLabel = makeLabel(*this, juce::translate("small\n"));
    bigLabel = makeLabel(*this, juce::translate("big\n"));
    resolutionGroup = makeGroup(*this, "Poti resolution");
    // A smaller value is a finer step: "high" resolution stands at 1.
    resolutionSlider = makeSlider(*this, this, 1.0, 1000.0, 1.0);
    resolutionSlider->setValue(global->knobResolution.load(), juce::dontSendNotification);
    highLabel = makeLabel(*this, juce::translate("high\n"));
    lowLabel = makeLabel(*this, juce::translate("low\n"));
    ignoreEmptyButton =
        makeToggle(*this, this, "Ignore emptpy presets (ProTools)", global->zeroPreset.load());
}

Settings_Plugin::~Settings_Plugin()
{
    setLookAndFeel(nullptr);
}

void Settings_Plugin::paint(juce::Graphics& g)
{
    paintPage(*this, g);
}

void Settings_Plugin::resized()
{
    sizeGroup->setBounds(25, 10, 350, 60);
    sizeSlider->setBounds(90, 30, 220, 24);
    smallLabel->setBounds(40, 30, 45, 24);
    bigLabel->setBounds(320, 30, 47, 24);
    resolutionGroup->setBounds(25, 80, 350, 60);
    resolutionSlider->setBounds(90, 104, 220, 24);
    highLabel->setBounds(40, 103, 47, 24);
    lowLabel->setBounds(320, 103, 47, 24);
    ignoreEmptyButton->setBounds(80, 150, 250, 24);
}

void Settings_Plugin::sliderValueChanged(juce::Slider* slider)
{
    if (slider == sizeSlider.get())
    {
        global->guiSize = (float)slider->getValue();
        global->safeGuiSettings();
        global->resizeRequest = true;
    }
    else if (slider == resolutionSlider.get())
    {
        global->knobResolution = (float)slider->getValue();
        global->safeGuiSettings();
        global->knobResolutionChanged = true;
    }
}

void Settings_Plugin::buttonClicked(juce::Button* button)
{
    if (button != ignoreEmptyButton.get())
        return;
    global->zeroPreset = button->getToggleState();
    global->safeGuiSettings();
}

Settings_Balance::Settings_Balance(GlobalData* g) : global(g)
{
    setLookAndFeel(&look);
    group = makeGroup(*this, "Balance");
    balanceSlider = makeSlider(*this, this, -3.0, 3.0, 0.5);
    balanceSlider->setValue(global->balance.load(), juce::sendNotificationAsync);
    leftLabel = makeLabel(*this, "L", juce::Justification::centred);
    rightLabel = makeLabel(*this, "R", juce::Justification::centred);
}

Settings_Balance::~Settings_Balance()
{
    setLookAndFeel(nullptr);
}

void Settings_Balance::paint(juce::Graphics& g)
{
    paintPage(*this, g);
}

void Settings_Balance::resized()
{
    group->setBounds(25, 10, 350, 60);
    balanceSlider->setBounds(90, 30, 220, 25);
    leftLabel->setBounds(70, 30, 16, 25);
    rightLabel->setBounds(314, 30, 16, 25);
}

void Settings_Balance::sliderValueChanged(juce::Slider* slider)
{
    if (slider != balanceSlider.get())
        return;
    global->balance = (float)slider->getValue();
    global->balanceRequest = true;
}

Settings_Document::Settings_Document(const juce::String& title, juce::Colour background, int buttons,
                                     GlobalData* global)
    : juce::DocumentWindow(title, background, buttons)
{
    tabs = std::make_unique<juce::TabbedComponent>(juce::TabbedButtonBar::TabsAtTop);
    tabs->setTabBarDepth(30);
    const juce::Colour tabColour(0xff5c5c5c);
    tabs->addTab("Device", tabColour, new Settings_Device(global), true);
    tabs->addTab("Plugin", tabColour, new Settings_Plugin(global), true);
    tabs->addTab("Balance", tabColour, new Settings_Balance(global), true);
    tabs->setCurrentTabIndex(0);
    tabs->setBounds(10, 10, 400, 220);
    setContentNonOwned(tabs.get(), true);
}

Settings_Document::~Settings_Document()
{
    clearContentComponent();
}

void Settings_Document::closeButtonPressed()
{
    delete this;
}

Settings_Device* Settings_Document::devicePage() const
{
    return dynamic_cast<Settings_Device*>(tabs->getTabContentComponent(0));
}

Settings_Plugin* Settings_Document::pluginPage() const
{
    return dynamic_cast<Settings_Plugin*>(tabs->getTabContentComponent(1));
}

Settings_Balance* Settings_Document::balancePage() const
{
    return dynamic_cast<Settings_Balance*>(tabs->getTabContentComponent(2));
}
