#include "PluginEditor.h"

#include "Components/MyImageButton.h"
#include "GlobalData/GlobalData.h"

namespace
{
int scaled(int length, float scale)
{
    return (int)((float)length * scale + (float)length);
}
} // namespace

MorvaneEditor::MorvaneEditor(MorvaneProcessor& p, GlobalData* g, Settings* s, Broadcast*, Knob** k, TCPIP*,
                             SafeAndLoad*, MyImageButton* top, MyImageButton* bottom)
    : AudioProcessorEditor(p), processor(p), global(g), settings(s), knobs(k), lampTop(top),
      lampBottom(bottom)
{
    for (int i = 0; i < settings->knobCount; ++i)
    {
        if (!shown(i))
            continue;
        addAndMakeVisible(knobs[i]);
        knobs[i]->addListener(this);
        names[i].setText(settings->knobNames[(size_t)i], juce::dontSendNotification);
        names[i].setJustificationType(juce::Justification::centred);
        names[i].setFont(11.0f);
        addAndMakeVisible(names[i]);
    }
    addAndMakeVisible(lampTop);
    addAndMakeVisible(lampBottom);
    status.setJustificationType(juce::Justification::centred);
    addAndMakeVisible(status);

    const float scale = global->guiSize.load();
    setSize(scaled(settings->width, scale), scaled(440, scale));
    startTimer(40);
}

MorvaneEditor::~MorvaneEditor()
{
    stopTimer();
    for (int i = 0; i < settings->knobCount; ++i)
        if (shown(i))
            knobs[i]->removeListener(this);
    // The knobs and lamps belong to the processor and outlive this window.
    removeAllChildren();
    processor.editorClosing(this);
}

bool MorvaneEditor::shown(int knob) const
{
    return knob != 8 && knob != 16 && knob != 17 && knob != 18 && (knob != 19 || global->dualMono.load());
}

void MorvaneEditor::paint(juce::Graphics& g)
{
    g.fillAll(juce::Colour(0xff1d1f22));
    g.setColour(juce::Colour(0xff2b2e33));
    g.fillRoundedRectangle(getLocalBounds().reduced(6).toFloat(), 8.0f);
}

void MorvaneEditor::resized()
{
    const float scale = global->guiSize.load();
    for (int i = 0; i < settings->knobCount; ++i)
    {
        const auto x = scaled(settings->knobX[(size_t)i], scale),
                   y = scaled(settings->knobY[(size_t)i], scale);
        const auto w = scaled(settings->knobW[(size_t)i], scale),
                   h = scaled(settings->knobH[(size_t)i], scale);
        knobs[i]->setBounds(x, y, w, h);
        names[i].setBounds(x - 20, y + h - 4, w + 40, 14);
    }
    lampTop->setBounds(scaled(settings->knobX[8] + 52, scale), scaled(settings->knobY[8] + 20, scale),
                       scaled(50, scale), scaled(50, scale));
    lampBottom->setBounds(scaled(settings->knobX[16] + 52, scale), scaled(settings->knobY[16] + 20, scale),
                          scaled(50, scale), scaled(50, scale));
    status.setBounds(0, getHeight() - scaled(26, scale), getWidth(), scaled(20, scale));
}

juce::String MorvaneEditor::statusText() const
{
    if (global->connected.load())
        return "Morvane " + juce::String(global->deviceSerial.get()) + " at " +
               juce::String(global->deviceIp.get());
    if (global->deviceFinderBusy.load())
        return settings->statusTexts[0];
    return settings->statusTexts[2];
}

void MorvaneEditor::timerCallback()
{
    followModeRequests();
    mirrorHostValues();
    status.setText(statusText(), juce::dontSendNotification);
    if (global->repaintRequest.exchange(false))
        repaint();
}

// Host values onto the knobs, without notification, never under the user's hand.
void MorvaneEditor::mirrorHostValues()
{
    if (!global->anyHostChange.exchange(false))
        return;
    for (int i = 0; i < 16; ++i)
    {
        if (knobs[i]->dragging || !global->hostChanged[i].exchange(false))
            continue;
        knobs[i]->setValue(global->hostValue[i].load(), juce::dontSendNotification);
    }
}

void MorvaneEditor::followModeRequests()
{
    if (global->requestDualMono.exchange(false) && !global->dualMono.load())
    {
        global->dualMono = true;
        global->dualMonoEntered = true;
        knobs[19]->setValue(knobs[2]->getValue(), juce::sendNotificationAsync);
        addAndMakeVisible(knobs[19]);
        resized();
    }
    if (global->requestStereo.exchange(false) && global->dualMono.load())
    {
        global->dualMono = false;
        global->dualMonoLeft = true;
        removeChildComponent(knobs[19]);
    }
}

void MorvaneEditor::sliderValueChanged(juce::Slider* slider)
{
    auto* knob = dynamic_cast<Knob*>(slider);
    if (knob == nullptr || knob->index >= 16)
        return;
    if (knob->index == 2)
    {
        global->modeChanged = true;
        return;
    }
    processor.setParameterNotifyingHost(knob->index, (float)knob->getValue());
}
