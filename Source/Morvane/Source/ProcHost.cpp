// The host's side of the loop: the host's values onto the knobs, the knobs' values to the host.
#include "PluginProcessor.h"

#include "GlobalData/GlobalData.h"
#include "KnobMap.h"

using namespace KnobMap;

// Host values onto the knobs at every tick, with or without an editor, so that the host
// reads back what it wrote. Before the unit is in step the moves wait on the knobs and go
// out with the Restore push, as a restored session does.
void MorvaneProcessor::takeHostValues()
{
    for (int i = 0; i < hostParameters; ++i)
    {
        if (i == mode || knobs[i]->dragging || !globalData->hostChanged[i].exchange(false))
            continue;
        const double before = knobs[i]->getValue();
        knobs[i]->setValue(globalData->hostValue[i].load(), juce::dontSendNotification);
        if (knobs[i]->getValue() == before)
            continue;
        hostMoved[i] = true;
        if (!synced.load())
            restorePending = true;
    }
}

// The knobs already hold the values: only the host is told, the mailbox stays as it is.
void MorvaneProcessor::resyncHost()
{
    if (!hostResync.exchange(false))
        return;
    for (int i = 0; i < hostParameters; ++i)
        sendParamChangeMessageToListeners(i, hostValueOf(i, (float)knobs[i]->getValue()));
}

void MorvaneProcessor::tellHost(int knob, float knobValue)
{
    if (knob >= 0 && knob < hostParameters)
        setParameterNotifyingHost(knob, hostValueOf(knob, knobValue));
}

float MorvaneProcessor::hostValueOf(int knob, float knobValue)
{
    return knob == mode ? knobValue / (float)lastModePosition : knobValue;
}
