// paint: the one place where the view turns into what is visible.
#include "PluginEditor.h"

#include "KnobMap.h"

#include "Components/MyImageButton.h"
#include "GlobalData/GlobalData.h"

namespace
{
bool isPanel(int view)
{
    return view == 4 || view == 80;
}
} // namespace

// The first pass after a change of view draws nothing; the next tick's pass does the work.
void MorvaneEditor::paint(juce::Graphics& g)
{
    if (oldRuntime != runtime || viewDirty)
    {
        oldRuntime = runtime;
        viewDirty = false;
        return;
    }
    if (runtime != 2 && runtime != 4 && runtime != 5 && runtime != 30 && runtime != 80)
        return;
    if (runtime != 80)
        g.fillAll(juce::Colours::white);
    if (isPanel(runtime))
        drawPanel(g);
    applyView();
}

void MorvaneEditor::drawPanel(juce::Graphics& g)
{
    const auto& panel = frameBack->image;
    if (!panel.isValid())
        return;
    g.drawImage(panel, 0, 0, k(800), k(219), 0, 0, panel.getWidth(), panel.getHeight());
    if (runtime == 80)
        g.drawImage(panel, 0, k(219), k(800), k(219), 0, 0, panel.getWidth(), panel.getHeight());
}

void MorvaneEditor::applyView()
{
    const int v = runtime;
    const bool panel = isPanel(v), dual = v == 80;
    splashKnob.setVisible(v == 2);
    btnPresets.setVisible(panel);
    btnDualMono.setVisible(v == 4);
    btnStereo.setVisible(dual);
    btnHome.setVisible(v == 30);
    btnIpOk.setVisible(v == 5);
    for (auto& field : ipEditors)
        field.setVisible(v == 5);
    for (int i = 0; i < 5; ++i)
        statusLabels[(size_t)i].setVisible(i == 2 && v == 5);
    sadFace.setVisible(v == 5);
    presetMain->setVisible(v == 30);
    frameBack->setVisible(panel);
    frameTop->setVisible(panel);
    lampTop->setVisible(panel);
    frameBottom->setVisible(dual);
    lampBottom->setVisible(dual);
    for (int i = 0; i < KnobMap::lowerMode; ++i)
        knobs[i]->setVisible((i <= KnobMap::mixLeft && panel) ||
                             (i >= KnobMap::inputRight && i <= KnobMap::mixRight && dual));
    needleShadowBottom.setVisible(false);
    if (!panel)
    {
        for (auto& mark : overrideMarks)
            mark->setVisible(false);
        for (auto* lamp : allLamps())
            lamp->setVisible(false);
    }
    showDisplay(true, panel);
    showDisplay(false, dual);
    if (v == 5)
    {
        for (auto* front : std::initializer_list<juce::Component*>{&btnIpOk, &ipEditors[0], &ipEditors[1],
                                                                   &ipEditors[2], &ipEditors[3]})
        {
            front->toFront(false);
            front->setAlwaysOnTop(true);
        }
        sadFace.toFront(false);
    }
    if (v == 30)
    {
        btnHome.setBounds(k(743), k(7), k(50), k(15));
        btnHome.toFront(false);
    }
}

// One display: a meter face with its mode strip, or the network page.
void MorvaneEditor::showDisplay(bool top, bool shown)
{
    auto& faces = top ? meterFacesTop : meterFacesBottom;
    auto& strips = top ? modeStripsTop : modeStripsBottom;
    auto& info = top ? infoPageTop : infoPageBottom;
    auto& ipLabels = top ? ipLabelsTop : ipLabelsBottom;
    auto& macLabels = top ? macLabelsTop : macLabelsBottom;
    const int mode = global->deviceMode.load();
    const bool network = shown && mode == 12;
    const int face = juce::jlimit(1, 21, global->meterMode.load()) - 1;
    for (int i = 0; i < faceCount; ++i)
        faces[(size_t)i].setVisible(shown && !network && i == face);
    for (int i = 0; i < stripCount; ++i)
        strips[(size_t)i].setVisible(shown && !network && i == mode - 1);
    info.setVisible(network);
    for (int i = 0; i < 4; ++i)
    {
        if (network)
            ipLabels[(size_t)i].setText(global->ipDigits.get(i), juce::dontSendNotification);
        ipLabels[(size_t)i].setVisible(network);
    }
    for (auto& label : macLabels)
        label.setVisible(network);
    silentNotices[top ? 0 : 1].setVisible(shown && global->unitSilent.load());
    if (top)
    {
        needleTop.setVisible(shown && !network);
        needleShadowTop.setVisible(shown && !network);
    }
    else
    {
        needleBottom.setVisible(shown && !network);
    }
    if (shown)
        restack(top);
}

// Back to front: the face, the needle's shadow and the needle, the strip, the clip lamps,
// the frame; on the network page the page, its labels, the frame. The notice of a silent
// unit lies over either, behind the frame.
void MorvaneEditor::restack(bool top)
{
    auto* frame = top ? frameTop.get() : frameBottom.get();
    stackDisplay(top, frame);
    silentNotices[top ? 0 : 1].toBehind(frame);
}

void MorvaneEditor::stackDisplay(bool top, juce::Component* frame)
{
    const int face = juce::jlimit(1, 21, global->meterMode.load()) - 1;
    const int mode = global->deviceMode.load();
    if (mode == 12)
    {
        (top ? infoPageTop : infoPageBottom).toBehind(frame);
        for (auto& label : top ? ipLabelsTop : ipLabelsBottom)
            label.toBehind(frame);
        for (auto& label : top ? macLabelsTop : macLabelsBottom)
            label.toBehind(frame);
        return;
    }
    (top ? meterFacesTop : meterFacesBottom)[(size_t)face].toBehind(frame);
    (top ? needleShadowTop : needleShadowBottom).toBehind(frame);
    (top ? needleTop : needleBottom).toBehind(frame);
    if (mode >= 1 && mode <= stripCount)
        (top ? modeStripsTop : modeStripsBottom)[(size_t)mode - 1].toBehind(frame);
    for (auto* lamp : lampsOf(top))
        lamp->toBehind(frame);
}

std::array<ImageClippingLed*, 4> MorvaneEditor::lampsOf(bool top) const
{
    if (top)
        return {ledInAmberTop.get(), ledInRedTop.get(), ledOutAmberTop.get(), ledOutRedTop.get()};
    return {ledInAmberBottom.get(), ledInRedBottom.get(), ledOutAmberBottom.get(), ledOutRedBottom.get()};
}

std::array<ImageClippingLed*, 8> MorvaneEditor::allLamps() const
{
    const auto top = lampsOf(true), bottom = lampsOf(false);
    return {top[0], top[1], top[2], top[3], bottom[0], bottom[1], bottom[2], bottom[3]};
}
