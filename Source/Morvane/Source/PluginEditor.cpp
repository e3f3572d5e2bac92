#include "PluginEditor.h"

#include "KnobMap.h"

#include "CallHome/CallHome.h"
#include "Components/MyImageButton.h"
#include "Components/Scale.h"
#include "Debug/Debug.h"
#include "EditorSearch.h"
#include "GlobalData/GlobalData.h"
#include "MouseMenue/MeterMenu.h"
#include "MouseMenue/MousePopUpMenue.h"
#include "Presets/PresetPictures.h"
#include "SafeAndLoad/SafeAndLoad.h"

#include <sstream>

MorvaneEditor::MorvaneEditor(MorvaneProcessor& p, GlobalData* g, GlobalSettings* s, Broadcast* b, Knob** k,
                             TCPIP* t, SafeAndLoad*, MyImageButton* top, MyImageButton* bottom)
    : AudioProcessorEditor(p), knobs(k), settings(s), global(g), broadcast(b), tcp(t), lampTop(top),
      lampBottom(bottom), processor(p)
{
    pictures = EditorPictures::acquire();
    createSplash();
    alertLook = std::make_unique<juce::LookAndFeel_V3>();
    PresetPictures::setDecoder(Picture::decode);
    MeterMenu::setPictures([](int meter) { return Picture::decode(Picture::firstSmallFace + meter - 1); });
    presetMain = std::make_unique<PresetMain>(settings, global);
    addChildComponent(*presetMain);
    createPictureHolders();
    createLabels();
    createButtons();
    addPanelParts();
    addKnobs();
    mouseMenu = std::make_unique<MousePopUpMenue>(*this, global, settings, Picture::decode(Picture::logo));
    addMouseListener(mouseMenu.get(), true);
    global->viewState = 0;
    imagesThread = std::thread([this] { asyncImages(this); });
    setSize(settings->width, settings->height);
    constructed = true;
    startTimer(40);
    callHome = std::make_unique<CallHome>(global, settings);
    callHomeThread = std::thread([this] { delegatorCallHome(callHome.get()); });
}

MorvaneEditor::~MorvaneEditor()
{
    // First: the windows of the menu point to GlobalData.
    removeMouseListener(mouseMenu.get());
    mouseMenu.reset();
    closing = true;
    stopTimer();
    handOnOpenAlerts();
    if (callHome != nullptr)
        callHome->requestStop();
    if (imagesThread.joinable())
        imagesThread.join();
    if (callHomeThread.joinable())
        callHomeThread.join();
    meterRequest.stop();
    macRequest.stop();
    for (int i = 0; i < panelKnobs; ++i)
    {
        if (i <= KnobMap::mixLeft)
            knobs[i]->removeListener(this);
        knobs[i]->setLookAndFeel(nullptr);
    }
    // The knobs and lamps belong to the processor and outlive this window.
    removeAllChildren();
    for (auto* button : {&btnPresets, &btnHome, &btnDualMono, &btnStereo, &btnIpOk})
        button->setLookAndFeel(nullptr);
    splashKnob.setLookAndFeel(nullptr);
    processor.editorClosing(this);
}

// The search animation's strip is 45000 rows: it is decoded on imagesThread (first when the
// instance searches), so that the window opens at once, and turns as soon as it arrives.
void MorvaneEditor::createSplash()
{
    splashLook = std::make_unique<LookAndFeelSlider>(150);
    splashLook->SetImage({}, 150, false);
    splashKnob.setLookAndFeel(splashLook.get());
    splashKnob.setRange(0.0, 1.0, 0.0);
    splashKnob.setValue(0.0, juce::dontSendNotification);
    splashKnob.setSliderStyle(juce::Slider::RotaryHorizontalVerticalDrag);
    splashKnob.setTextBoxStyle(juce::Slider::NoTextBox, true, 0, 0);
    splashKnob.setInterceptsMouseClicks(false, false);
    splashKnob.setTitle("Connecting");
    addAndMakeVisible(splashKnob);
}

void MorvaneEditor::createPictureHolders()
{
    sadFace.SetImage(pictures->get(Picture::sadFace));
    addChildComponent(sadFace);
    infoPageTop.SetImage(pictures->get(Picture::network));
    infoPageBottom.SetImage(pictures->get(Picture::network));
    addChildComponent(infoPageTop);
    addChildComponent(infoPageBottom);
    for (auto* needle : {&needleShadowTop, &needleShadowBottom})
        addChildComponent(needle);
    for (auto* needle : {&needleTop, &needleBottom})
        addChildComponent(needle);
    const auto inRed = pictures->get(Picture::inRed), outRed = pictures->get(Picture::outRed);
    const auto inAmber = pictures->get(Picture::inAmber), outAmber = pictures->get(Picture::outAmber);
    ledInRedTop = std::make_unique<ImageClippingLed>(inRed);
    ledInRedBottom = std::make_unique<ImageClippingLed>(inRed);
    ledOutRedTop = std::make_unique<ImageClippingLed>(outRed);
    ledOutRedBottom = std::make_unique<ImageClippingLed>(outRed);
    ledInAmberTop = std::make_unique<ImageClippingLed>(inAmber);
    ledInAmberBottom = std::make_unique<ImageClippingLed>(inAmber);
    ledOutAmberTop = std::make_unique<ImageClippingLed>(outAmber);
    ledOutAmberBottom = std::make_unique<ImageClippingLed>(outAmber);
}

void MorvaneEditor::styleIpLabel(juce::Label& label, const juce::String& text)
{
    label.setText(text, juce::dontSendNotification);
    label.setFont(juce::Font("Courier New", 7.0f, juce::Font::plain));
    label.setJustificationType(juce::Justification::centredLeft);
    label.setEditable(false, false, false);
    label.setColour(juce::Label::textColourId, juce::Colours::white);
    label.setColour(juce::TextEditor::textColourId, juce::Colours::white);
    label.setColour(juce::Label::outlineColourId, juce::Colour(0x00ffffff));
    label.setInterceptsMouseClicks(false, false);
}

void MorvaneEditor::styleSilentNotice(juce::Label& notice)
{
    notice.setText("NO STATUS FROM UNIT\nknobs and meter on hold", juce::dontSendNotification);
    notice.setTitle("Unit status");
    notice.setJustificationType(juce::Justification::centred);
    notice.setColour(juce::Label::backgroundColourId, juce::Colour(0xff161616));
    notice.setColour(juce::Label::textColourId, juce::Colour(0xffffb43c));
    notice.setColour(juce::Label::outlineColourId, juce::Colour(0xffffb43c));
    notice.setBorderSize({1, 2, 1, 2});
    notice.setInterceptsMouseClicks(false, false);
    addChildComponent(notice);
}

void MorvaneEditor::createLabels()
{
    static const char* const ipTexts[4] = {"1 9 2\n", "1 6 8\n", "1 7 8\n", "1 0 1"};
    static const char* const macStarts[6] = {"A B", "C D\n", "E F", "G H", "I J", "K L"};
    for (int i = 0; i < 4; ++i)
    {
        styleIpLabel(ipLabelsTop[(size_t)i], ipTexts[i]);
        styleIpLabel(ipLabelsBottom[(size_t)i], ipTexts[i]);
    }
    for (int i = 0; i < 6; ++i)
    {
        styleIpLabel(macLabelsTop[(size_t)i], macStarts[i]);
        styleIpLabel(macLabelsBottom[(size_t)i], macStarts[i]);
    }
    for (auto& notice : silentNotices)
        styleSilentNotice(notice);
    for (auto* group : {&ipLabelsTop, &ipLabelsBottom})
        for (auto& label : *group)
            addChildComponent(label);
    for (auto* group : {&macLabelsTop, &macLabelsBottom})
        for (auto& label : *group)
            addChildComponent(label);
}

void MorvaneEditor::styleButton(juce::TextButton& button, const juce::String& text, juce::uint32 onColour)
{
    button.setButtonText(text);
    button.setTitle(text);
    button.setConnectedEdges(15);
    button.setColour(juce::TextButton::buttonColourId, juce::Colours::black);
    button.setColour(juce::TextButton::textColourOffId, juce::Colours::white);
    button.setColour(juce::TextButton::textColourOnId, juce::Colours::white);
    button.setColour(juce::TextButton::buttonOnColourId, juce::Colour(onColour));
    button.setLookAndFeel(&buttonLook);
    button.addListener(this);
    addChildComponent(button);
}

void MorvaneEditor::createButtons()
{
    styleButton(btnPresets, "Presets", 0xffbababa);
    styleButton(btnHome, "Home", 0xffababab);
    styleButton(btnDualMono, "DualMono", 0xffababab);
    styleButton(btnStereo, "Stereo", 0xffababab);
    styleButton(btnIpOk, "Ok", 0xffababab);
}

void MorvaneEditor::addPanelParts()
{
    addChildComponent(lampTop);
    addChildComponent(lampBottom);
    lampTop->setTitle("Lamp L");
    lampBottom->setTitle("Lamp R");
    for (int i = 0; i < faceCount; ++i)
    {
        addChildComponent(meterFacesTop[(size_t)i]);
        addChildComponent(meterFacesBottom[(size_t)i]);
    }
    for (int i = 0; i < stripCount; ++i)
    {
        addChildComponent(modeStripsTop[(size_t)i]);
        addChildComponent(modeStripsBottom[(size_t)i]);
    }
    for (auto* lamp : allLamps())
        addChildComponent(lamp);
    frameTop = std::make_unique<Rahmen>(global);
    frameBottom = std::make_unique<Rahmen>(global);
    frameBack = std::make_unique<Rahmen>(global);
    for (auto* frame : {frameTop.get(), frameBottom.get(), frameBack.get()})
    {
        frame->setInterceptsMouseClicks(false, false);
        addChildComponent(frame);
    }
}

void MorvaneEditor::addKnobs()
{
    for (int i = 0; i < panelKnobs; ++i)
    {
        Knob& knob = *knobs[i];
        addChildComponent(knob);
        knob.setVisible(false);
        if (i <= KnobMap::mixLeft)
            knob.addListener(this);
        const auto& name = settings->knobNames[(size_t)i];
        knob.setTitle(name.empty() ? (i == KnobMap::lowerMode ? "Mode R" : "Knob " + juce::String(i))
                                   : juce::String(name));
        knob.setWantsKeyboardFocus(true);
        overrideMarks[(size_t)i] = std::make_unique<ManuelOverWriteBtn>(i);
        addChildComponent(*overrideMarks[(size_t)i]);
        if (i <= 4)
        {
            auto& label = statusLabels[(size_t)i];
            label.setText(settings->statusTexts[(size_t)i], juce::dontSendNotification);
            label.setJustificationType(juce::Justification::centred);
            label.setColour(juce::Label::textColourId, juce::Colours::black);
            label.setColour(juce::Label::backgroundWhenEditingColourId, juce::Colours::transparentBlack);
            label.setEditable(false, false, false);
            addChildComponent(label);
        }
        if (i <= 3)
        {
            auto& field = ipEditors[(size_t)i];
            field.setName("IPAdress");
            field.setTitle("IP address, part " + juce::String(i + 1));
            field.setMultiLine(false);
            field.setInputRestrictions(3, "0123456789");
            field.setColour(juce::TextEditor::textColourId, juce::Colours::black);
            field.setColour(juce::TextEditor::outlineColourId, juce::Colours::black);
            field.setColour(juce::TextEditor::backgroundColourId, juce::Colours::white);
            field.setColour(juce::TextEditor::highlightColourId, juce::Colour(0x40000000));
            field.setColour(juce::TextEditor::shadowColourId, juce::Colour(0x38000000));
            field.onReturnKey = [this]
            {
                ipOkClicked();
            };
            addChildComponent(field);
        }
    }
}

int MorvaneEditor::k(int length) const
{
    return scaledLength(length, global->guiSize.load());
}

// A host that resizes the window gets the size of the nearest size factor, taken from the
// width, as if the user had set it in the preferences.
void MorvaneEditor::takeHostWidth()
{
    const float wanted = (float)getWidth() / (float)settings->width - 1.0f;
    global->guiSize = juce::jlimit(0.0f, 5.0f, wanted);
    global->safeGuiSettings();
}

// The only sizes are those of the size factor.
void MorvaneEditor::resized()
{
    if (global->guiSize.load() == 20.0f)
        return;
    if (constructed && !sizing && getWidth() != k(settings->width))
        takeHostWidth();
    const int width = k(settings->width), height = k(runtime == 80 ? 2 * settings->height : settings->height);
    if (getWidth() != width || getHeight() != height)
    {
        const juce::ScopedValueSetter<bool> own(sizing, true);
        setSize(width, height); // lays out again from inside
        return;
    }
    splashKnob.setBounds(k(325), k(10), k(150), k(150));
    sadFace.setBounds(k(325), k(10), k(150), k(150));
    layoutKnobs();
    layoutIpPage();
    presetMain->setBounds(0, 0, getWidth(), getHeight());
    frameTop->setBounds(0, 0, k(800), k(219));
    frameBottom->setBounds(0, k(219), k(800), k(219));
    layoutDisplays();
    layoutButtons();
    layoutLamps();
    frameBack->setBounds(0, 0, k(800), k(219));
    frameBack->toBack();
    scaleChildren();
}

void MorvaneEditor::layoutKnobs()
{
    const auto place = [this](juce::Component& c, int i)
    {
        c.setBounds(k(settings->knobX[(size_t)i]), k(settings->knobY[(size_t)i]),
                    k(settings->knobW[(size_t)i]), k(settings->knobH[(size_t)i]));
    };
    place(*knobs[KnobMap::lowerMode], KnobMap::lowerMode);
    knobs[KnobMap::lowerMode]->setVisible(true);
    for (int i = 0; i <= 17; ++i)
        place(*knobs[i], i);
    for (int i = 0; i < 16; ++i)
        if (overrideMarks[(size_t)i] != nullptr)
            overrideMarks[(size_t)i]->setBounds(k(settings->labelX[(size_t)i]),
                                                k(settings->labelY[(size_t)i]), k(8), k(8));
    for (int i = 0; i < 5; ++i)
        statusLabels[(size_t)i].setBounds(k(settings->statusX[(size_t)i]), k(settings->statusY[(size_t)i]),
                                          k(settings->statusW[(size_t)i]), k(settings->statusH[(size_t)i]));
}

void MorvaneEditor::layoutIpPage()
{
    const float s = global->guiSize.load();
    for (int i = 0; i < 4; ++i)
    {
        auto& field = ipEditors[(size_t)i];
        field.setBounds(k(settings->ipFieldX[(size_t)i]), k(settings->ipFieldY[(size_t)i]),
                        k(settings->ipFieldW[(size_t)i]), k(settings->ipFieldH[(size_t)i]));
        // A font applies to text typed later: take the text out and put it back.
        const auto text = field.getText();
        field.clear();
        field.setFont(juce::Font(14.0f * (1.0f + s)));
        field.scrollEditorToPositionCaret(0, 0);
        field.setText(text, false);
    }
}

void MorvaneEditor::layoutDisplays()
{
    const float s = global->guiSize.load();
    const int faceX = scaledPair(322, 323, s);
    for (int i = 0; i < faceCount; ++i)
    {
        meterFacesTop[(size_t)i].setBounds(faceX, k(28), k(154), k(89));
        meterFacesBottom[(size_t)i].setBounds(faceX, k(247), k(154), k(89));
    }
    infoPageTop.setBounds(faceX, k(28), k(154), k(89));
    infoPageBottom.setBounds(faceX, k(247), k(154), k(89));
    needleTop.setBounds(k(396), k(40), k(3), k(80));
    needleShadowTop.setBounds(k(393), k(40), k(1), k(80));
    if (runtime == 80)
    {
        needleBottom.setBounds(k(396), k(259), k(3), k(80));
        needleShadowBottom.setBounds(k(393), k(259), k(3), k(80));
    }
    for (int i = 0; i < stripCount; ++i)
    {
        modeStripsTop[(size_t)i].setBounds(k(323), k(102), k(154), k(15));
        modeStripsBottom[(size_t)i].setBounds(k(323), k(321), k(154), k(15));
    }
    lampTop->setBounds(k(301), k(157), k(60), k(60));
    lampTop->toFront(false);
    lampBottom->setBounds(k(301), k(376), k(60), k(60));
    lampBottom->toFront(false);
    static const int ipX[4][2] = {{351, 347}, {378, 374}, {404, 400}, {432, 428}};
    static const int macX[6][2] = {{343, 341}, {364, 362}, {384, 382}, {404, 402}, {424, 422}, {444, 442}};
    for (int i = 0; i < 4; ++i)
    {
        ipLabelsTop[(size_t)i].setBounds(scaledPair(ipX[i][0], ipX[i][1], s), k(27), k(90), k(40));
        ipLabelsBottom[(size_t)i].setBounds(scaledPair(ipX[i][0], ipX[i][1], s), k(246), k(90), k(40));
    }
    silentNotices[0].setBounds(k(332), k(50), k(134), k(28));
    silentNotices[1].setBounds(k(332), k(269), k(134), k(28));
    for (int i = 0; i < 6; ++i)
    {
        macLabelsTop[(size_t)i].setBounds(scaledPair(macX[i][0], macX[i][1], s), k(84), k(40), k(30));
        macLabelsBottom[(size_t)i].setBounds(scaledPair(macX[i][0], macX[i][1], s), k(303), k(40), k(30));
    }
}

void MorvaneEditor::layoutButtons()
{
    btnPresets.setBounds(k(743), k(7), k(50), k(15));
    btnPresets.toFront(false);
    auto& channelButton = runtime == 80 ? btnStereo : btnDualMono;
    channelButton.setBounds(k(685), k(7), k(50), k(15));
    channelButton.toFront(false);
    if (runtime == 30)
        btnHome.setBounds(k(743), k(7), k(50), k(15));
    btnIpOk.setBounds(k(525), k(190), k(50), k(20));
}

void MorvaneEditor::layoutLamps()
{
    ledInAmberTop->setBounds(k(434), k(104), k(16), k(10));
    ledInRedTop->setBounds(k(434), k(104), k(16), k(10));
    ledOutAmberTop->setBounds(k(455), k(104), k(16), k(10));
    ledOutRedTop->setBounds(k(455), k(104), k(16), k(10));
    ledInAmberBottom->setBounds(k(434), k(323), k(16), k(10));
    ledInRedBottom->setBounds(k(434), k(323), k(16), k(10));
    ledOutAmberBottom->setBounds(k(455), k(323), k(16), k(10));
    ledOutRedBottom->setBounds(k(455), k(323), k(16), k(10));
}

// Every child that scales its own drawing takes the size factor; the lamps go directly
// behind the upper frame.
void MorvaneEditor::scaleChildren()
{
    const float s = global->guiSize.load();
    for (auto* lamp : allLamps())
    {
        lamp->scale = s;
        lamp->toFront(false);
        lamp->toBehind(frameTop.get());
    }
    for (auto* group : {&ipLabelsTop, &ipLabelsBottom})
        for (auto& label : *group)
            label.setFont(juce::Font("Courier New", 6.0f * (1.0f + s), juce::Font::plain));
    for (auto* group : {&macLabelsTop, &macLabelsBottom})
        for (auto& label : *group)
            label.setFont(juce::Font("Courier New", 6.0f * (1.0f + s), juce::Font::plain));
    for (auto* holder : {&meterFacesTop, &meterFacesBottom})
        for (auto& face : *holder)
            face.scale = s;
    for (auto* holder : {&modeStripsTop, &modeStripsBottom})
        for (auto& strip : *holder)
            strip.scale = s;
    for (auto* holder : {&sadFace, &infoPageTop, &infoPageBottom})
        holder->scale = s;
    for (auto& mark : overrideMarks)
        if (mark != nullptr)
            mark->scale = s;
    needleTop.scale = needleBottom.scale = s;
    needleShadowTop.scale = needleShadowBottom.scale = s;
    presetMain->setScale(s);
    buttonLook.scale = s;
    for (auto& label : statusLabels)
        label.setFont(juce::Font(15.0f * (1.0f + s)));
    for (auto& notice : silentNotices)
        notice.setFont(juce::Font(10.0f * (1.0f + s), juce::Font::bold));
}

void MorvaneEditor::sliderValueChanged(juce::Slider* slider)
{
    int i = 0;
    while (i < panelKnobs && knobs[i] != slider)
        ++i;
    if (i == panelKnobs)
        return;
    const float value = (float)slider->getValue();
    if (i == KnobMap::mode)
    {
        if (global->dualMono.load())
        {
            knobs[KnobMap::lowerMode]->setValue(value, juce::sendNotificationAsync);
            knobs[KnobMap::lowerMode]->repaint();
        }
        global->modeChanged = true;
        viewDirty = true;
    }
    processor.tellHost(i, value);
}

void MorvaneEditor::buttonClicked(juce::Button* button)
{
    if (button == &btnPresets)
        presetsClicked();
    else if (button == &btnHome)
        homeClicked();
    else if (button == &btnStereo)
        stereoClicked();
    else if (button == &btnDualMono)
        dualMonoClicked();
    else if (button == &btnIpOk)
        ipOkClicked();
    else
        return;
    if (button != &btnIpOk)
    {
        resized();
        repaint();
    }
}

void MorvaneEditor::setView(int view)
{
    runtime = view;
    global->viewState = view;
    viewDirty = true;
}

void MorvaneEditor::presetsClicked()
{
    setView(30);
}

void MorvaneEditor::homeClicked()
{
    global->repaintRequest = true;
    setView(4);
}

void MorvaneEditor::stereoClicked()
{
    homeClicked();
    global->dualMono = false;
    global->dualMonoLeft = true;
}

void MorvaneEditor::dualMonoClicked()
{
    global->dualMono = true;
    global->dualMonoEntered = true;
    setView(80);
    knobs[KnobMap::lowerMode]->setValue(knobs[KnobMap::mode]->getValue(), juce::sendNotificationAsync);
    knobs[KnobMap::lowerMode]->repaint();
}

// An address typed whole is stored and searched; with a part empty the master searches
// the network again, and a slave asks the master for a unit.
void MorvaneEditor::ipOkClicked()
{
    juce::StringArray parts;
    for (auto& field : ipEditors)
        parts.add(field.getText());
    const bool whole =
        std::none_of(parts.begin(), parts.end(), [](const juce::String& p) { return p.isEmpty(); });
    global->connected = false;
    global->deviceFinderBusy = true;
    global->deviceFinderRunning = 1;
    if (whole)
    {
        global->SetIp(parts.joinIntoString(".").toStdString());
        SafeAndLoad files(settings, global);
        std::stringstream address;
        address << global->deviceIp.get();
        files.SafeFiles("IP", address);
        startEditorSearch();
    }
    else if (global->isMaster.load())
        startEditorSearch();
    else
        global->reRequestIp = true;
    setView(2);
}

// The message thread never waits for a search: one still under way from an earlier press
// is followed by the new one at a later tick.
void MorvaneEditor::startEditorSearch()
{
    searchAgain = !search.start();
}
