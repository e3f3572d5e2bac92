// The window's only driver: every tick repaints and walks a fixed list of flags.
#include "PluginEditor.h"

#include "KnobMap.h"

#include "GlobalData/GlobalData.h"

void MorvaneEditor::timerCallback()
{
    repaint();
    if (splashDecoded.exchange(false))
        installSplash();
    if (loadingImages.load())
    {
        // The tick that installs the pictures goes on at once: the panel of a connected
        // instance shows a tick sooner.
        if (!imagesDecoded.load())
            return;
        installPictures();
    }
    takeOutsideView();
    if (global->repaintRequest.exchange(false))
        repaint();
    serveSettingsFlags();
    checkAlert();
    if (searchAgain)
        startEditorSearch();
    CheckMeter();
    if (global->modeChanged.exchange(false))
        updateModeStrips();
    if (runtime == 2)
        searchStep();
    else if (runtime == 4)
        stereoStep();
    else if (runtime == 80)
        dualMonoStep();
}

// The status thread moves a stereo window to the IP page when the unit is lost.
void MorvaneEditor::takeOutsideView()
{
    if (!global->viewDirty.exchange(false))
        return;
    const int view = global->viewState.load();
    if (runtime == 4 && view == 5)
        runtime = view;
    viewDirty = true;
}

void MorvaneEditor::serveSettingsFlags()
{
    if (global->fpsChanged.exchange(false))
    {
        global->safeGuiSettings();
        stopTimer();
        startTimer(juce::jmax(1, global->frameInterval.load()));
    }
    if (global->resizeRequest.exchange(false))
        applySizeFactor();
}

// The preferences changed the size factor: the window takes the factor's size, rather than
// the factor the window's old width (as after a host's resize).
void MorvaneEditor::applySizeFactor()
{
    const juce::ScopedValueSetter<bool> own(sizing, true);
    resized();
}

// A new mode shows at once, without waiting for a change of view.
void MorvaneEditor::updateModeStrips()
{
    const int mode = global->deviceMode.load();
    const bool dual = global->dualMono.load();
    for (int i = 1; i <= stripCount; ++i)
    {
        modeStripsTop[(size_t)i - 1].setVisible(i == mode);
        modeStripsBottom[(size_t)i - 1].setVisible(i == mode && dual);
    }
}

void MorvaneEditor::searchStep()
{
    if (splashPosition < 0.0f || splashPosition >= 1.0f)
        splashPosition = 0.008f;
    else
        splashPosition += 0.008f;
    splashKnob.setValue(splashPosition, juce::sendNotificationAsync);
    if (global->deviceFinderBusy.load())
        return;
    setView(global->connected.load() ? 4 : 5);
    global->repaintRequest = true;
}

void MorvaneEditor::enterDualMono(bool copyMode)
{
    global->dualMono = true;
    global->dualMonoEntered = true;
    if (copyMode)
    {
        knobs[KnobMap::lowerMode]->setValue(knobs[KnobMap::mode]->getValue(), juce::sendNotificationAsync);
        knobs[KnobMap::lowerMode]->repaint();
    }
    setView(80);
    resized();
    repaint();
}

void MorvaneEditor::leaveDualMono()
{
    global->repaintRequest = true;
    setView(4);
    global->dualMono = false;
    global->dualMonoLeft = true;
    resized();
    repaint();
}

void MorvaneEditor::serveChannelRequests(bool copyMode)
{
    const bool toDual = global->requestDualMono.exchange(false);
    if (toDual || (copyMode && global->dualMono.load()))
        enterDualMono(copyMode);
    if (global->requestStereo.exchange(false))
        leaveDualMono();
}

void MorvaneEditor::resolutionStep()
{
    if (!global->knobResolutionChanged.exchange(false))
        return;
    const double step = (double)global->knobResolution.load() / 10000.0;
    for (int i = 0; i < panelKnobs; ++i)
        if (i != KnobMap::mode && i != KnobMap::lowerMode)
            knobs[i]->setRange(0.0, 1.0, step);
}

void MorvaneEditor::stereoStep()
{
    serveChannelRequests(true);
    btnDualMono.setVisible(true);
    btnStereo.setVisible(false);
    CheckMac();
    resolutionStep();
    CheckMeter();
    stereoMeterStep();
    for (int i = 0; i <= KnobMap::lastComparedKnob; ++i)
        knobStep(i, false);
    clipStep(false);
    global->anyHostChange = false;
}

void MorvaneEditor::dualMonoStep()
{
    CheckMac();
    resolutionStep();
    CheckMeter();
    btnDualMono.setVisible(false);
    btnStereo.setVisible(true);
    serveChannelRequests(false);
    // The right mode switch leads the left one in this direction.
    const float modeR = (float)knobs[KnobMap::lowerMode]->getValue();
    if (modeR != lastModeR)
    {
        knobs[KnobMap::mode]->setValue(modeR, juce::sendNotificationAsync);
        lastModeR = modeR;
    }
    dualMonoMeterStep();
    for (int i = 0; i <= KnobMap::lowerMode; ++i)
        knobStep(i, true);
    clipStep(true);
    global->anyHostChange = false;
}

// A host value reaches a knob without notification, and never one under the user's hand.
void MorvaneEditor::knobStep(int i, bool dual)
{
    if (dual && i == KnobMap::lowerMode)
    {
        if (global->hostChanged[KnobMap::meterLeftSlot].exchange(false) &&
            !knobs[KnobMap::lowerMode]->dragging &&
            knobs[KnobMap::mode]->getValue() != KnobMap::lastModePosition)
        {
            const float value = global->hostValue[KnobMap::meterLeftSlot].load();
            Needle::turn(needleBottom, global->guiSize.load(), value);
            Needle::turn(needleShadowBottom, global->guiSize.load(), value);
        }
        return;
    }
    if (global->hostChanged[i].exchange(false) && !knobs[i]->dragging)
        knobs[i]->setValue(global->hostValue[i].load(), juce::dontSendNotification);
    if (i == KnobMap::lamp && !dual)
        knobs[KnobMap::lamp]->setValue(global->hostValue[KnobMap::lamp].load(), juce::dontSendNotification);
    if (i <= KnobMap::lastComparedKnob)
        overrideMarks[(size_t)i]->setVisible(global->deviceHeld[i].load());
}
