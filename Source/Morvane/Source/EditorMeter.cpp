// The display's moving parts: the face chosen for the unit's screen, the needles, the clip
// lamps, and the unit's identity on the network page.
#include "PluginEditor.h"

#include "KnobMap.h"

#include "GlobalData/GlobalData.h"
#include "TCPIP/TCPIP.h"

// The unit's own screen takes the chosen face too. The request runs off the message
// thread; while one is under way the flag waits for a later tick.
void MorvaneEditor::CheckMeter()
{
    if (!global->meterModeChanged.load() || meterRequest.isBusy())
        return;
    global->meterModeChanged = false;
    const std::string path = "/knob?6/" + IntInString(global->meterMode.load());
    // The thread holds the processor's parts only; a face cut off by a closing window is
    // left for the next one to send.
    meterRequest.start(
        [unit = tcp, g = global, path](const std::atomic<bool>& stopping)
        {
            if (unit->Fetch(path, true, &stopping).code != 1 && stopping.load())
                g->meterModeChanged = true;
        });
    viewDirty = true;
    repaint();
}

void MorvaneEditor::stereoMeterStep()
{
    global->hostChanged[KnobMap::meterRightSlot] = false;
    const float value = global->hostValue[KnobMap::meterRightSlot].load();
    knobs[KnobMap::meterRightSlot]->setValue(value, juce::dontSendNotification);
    Needle::turn(needleTop, global->guiSize.load(), value);
    Needle::turn(needleShadowTop, global->guiSize.load(), value);
}

void MorvaneEditor::dualMonoMeterStep()
{
    if (!global->hostChanged[KnobMap::meterRightSlot].exchange(false) ||
        knobs[KnobMap::meterRightSlot]->dragging)
        return;
    const float value = global->hostValue[KnobMap::meterRightSlot].load();
    knobs[KnobMap::meterRightSlot]->setValue(value, juce::dontSendNotification);
    if (knobs[KnobMap::mode]->getValue() == KnobMap::lastModePosition)
        return;
    Needle::turn(needleTop, global->guiSize.load(), value);
    Needle::turn(needleShadowTop, global->guiSize.load(), value);
}

// A lamp is touched only when its own state changes.
void MorvaneEditor::setLamp(ImageClippingLed& lamp, bool on, bool& last, bool toFront, bool force)
{
    if (on == last && !force)
        return;
    lamp.setVisible(on);
    last = on;
    if (on && toFront)
    {
        lamp.toFront(false);
        lamp.toBehind(frameTop.get());
    }
}

// The clip word holds four 2-bit fields: 2 lights the red lamp of a pair, 1 the amber one.
void MorvaneEditor::clipStep(bool dual)
{
    // The first tick of the other step sets every lamp of it by the current word, and the
    // lower lamps go dark in stereo.
    const bool switched = clipStepWasDual != (int)dual;
    clipStepWasDual = (int)dual;
    if (switched && !dual)
        for (auto* lamp : lampsOf(false))
            lamp->setVisible(false);
    const int word = (int)global->hostValue[KnobMap::clipSlot].load();
    const auto field = [word](int shift)
    {
        return (word >> shift) & 3;
    };
    struct Pair
    {
        ImageClippingLed* red;
        ImageClippingLed* amber;
        int shift;
    };
    // Stereo: the second channel's input and output on the upper display; dual mono: both
    // channels, the first above.
    const Pair stereoPairs[2] = {{ledInRedTop.get(), ledInAmberTop.get(), 2},
                                 {ledOutRedTop.get(), ledOutAmberTop.get(), 6}};
    const Pair dualPairs[4] = {{ledInRedTop.get(), ledInAmberTop.get(), 0},
                               {ledOutRedTop.get(), ledOutAmberTop.get(), 4},
                               {ledInRedBottom.get(), ledInAmberBottom.get(), 2},
                               {ledOutRedBottom.get(), ledOutAmberBottom.get(), 6}};
    const Pair* pairs = dual ? dualPairs : stereoPairs;
    bool* act = dual ? actClipDual.data() : actClipStereo.data();
    bool* last = dual ? lastClipDual.data() : lastClipStereo.data();
    for (size_t p = 0; p < (dual ? 4u : 2u); ++p)
    {
        act[2 * p] = field(pairs[p].shift) == 2;
        act[2 * p + 1] = field(pairs[p].shift) == 1;
        setLamp(*pairs[p].red, act[2 * p], last[2 * p], !dual, switched);
        setLamp(*pairs[p].amber, act[2 * p + 1], last[2 * p + 1], !dual, switched);
    }
}

namespace
{
// "00:1a:2b:3c:4d:5e" as six label texts "0 0", "1 a", ...; a short reply leaves blanks.
std::array<std::string, 6> macLabelTexts(const std::string& reply)
{
    const bool found = TextCut::find(reply, "mac:") != TextCut::npos;
    const auto mac = found ? TextCut::cutBehind(reply, "mac:", 6, 17) : TextCut::cut(reply, 5, 17);
    std::array<std::string, 6> texts;
    for (size_t p = 0; p < 6; ++p)
    {
        const auto pair = TextCut::cut(mac, 3 * p, 2);
        if (pair.size() == 2)
            texts[p] = std::string(1, pair[0]) + " " + pair[1];
    }
    return texts;
}
} // namespace

// Asks the unit for its identity once per connection, off the message thread; the labels
// take the answer at a later tick. The closing window stops the request and joins it.
void MorvaneEditor::CheckMac()
{
    if (macReady.exchange(false))
        for (int p = 0; p < 6; ++p)
        {
            const auto text = macTexts.get(p);
            if (text.empty())
                continue;
            macLabelsTop[(size_t)p].setText(text, juce::dontSendNotification);
            macLabelsBottom[(size_t)p].setText(text, juce::dontSendNotification);
        }
    if (!global->checkMac.load() || macRequest.isBusy())
        return;
    global->checkMac = false;
    macRequest.start(
        [this](const std::atomic<bool>& stopping)
        {
            const auto response = tcp->Fetch("/dinfo", true, &stopping);
            if (response.code != 1 && stopping.load())
            {
                global->checkMac = true; // for the next window
                return;
            }
            const auto texts = macLabelTexts(response.text);
            for (int p = 0; p < 6; ++p)
                macTexts.set(p, texts[(size_t)p]);
            macReady = true;
        });
}
