// The large pictures: decoded on imagesThread, handed to the components on the message
// thread by the tick, which stays away from them until then.
#include "PluginEditor.h"

#include "KnobMap.h"

#include "Debug/Debug.h"
#include "GlobalData/GlobalData.h"
#include "TCPIP/TCPIP.h"

void* asyncImages(void* arg)
{
    auto* editor = static_cast<MorvaneEditor*>(arg);
    const std::string folder = editor->settings->productFolder;
    Debug::DebugLog(0, "Async images Thread started", __FILE__, __LINE__, folder);
    editor->LoadImages();
    Debug::DebugLog(0, "Async images Thread ended", __FILE__, __LINE__, folder);
    return nullptr;
}

// Each picture is followed by a look at closing, so that a closing window waits for one
// decoding at most. An instance that searches shows the search animation first; one that is
// connected shows its panel first, and the animation (the largest strip of all) follows.
void MorvaneEditor::LoadImages()
{
    loadingImages = true;
    const bool searching = !global->connected.load();
    bool going = !searching || takeSplash();
    if (going && decodePanel())
        imagesDecoded = true;
    if (!searching && !closing.load())
        takeSplash();
    if (!imagesDecoded.load())
        loadingImages = false;
}

bool MorvaneEditor::takeSplash()
{
    splashPicture = pictures->get(Picture::splash);
    splashDecoded = !closing.load();
    return splashDecoded.load();
}

bool MorvaneEditor::decodePanel()
{
    const auto take = [this](juce::Image& into, juce::Image image)
    {
        into = std::move(image);
        return !closing.load();
    };
    bool going = take(decoded.panel, pictures->get(Picture::panel)) &&
                 take(decoded.frame, pictures->get(Picture::frame));
    for (int i = 0; going && i < faceCount; ++i)
    {
        const int number = i < 21 ? Picture::firstFace + i : Picture::network;
        going = take(decoded.facesTop[(size_t)i], pictures->get(number)) &&
                take(decoded.facesBottom[(size_t)i], pictures->copyOf(number));
    }
    for (int i = 0; going && i < stripCount; ++i)
        going = take(decoded.strips[(size_t)i], pictures->get(Picture::firstStrip + i));
    going = going && take(decoded.knobSmall, pictures->get(Picture::knobSmall));
    if (going && global->knobImageLoaded.load())
        decoded.knobBig = global->getKnobImage();
    else if (going)
        going = take(decoded.knobBig, pictures->get(Picture::knobBig));
    if (!going)
        return false;
    // A face chosen while the pictures loaded goes to the unit from here, not the tick.
    if (global->meterModeChanged.exchange(false) && !closing.load())
        tcp->Fetch("/knob?6/" + IntInString(global->meterMode.load()), true, &closing);
    return !closing.load();
}

// Message thread: the search animation, as soon as it is decoded.
void MorvaneEditor::installSplash()
{
    splashImage = splashPicture;
    splashLook->SetImage(splashImage, 150, false);
    splashKnob.repaint();
}

// Message thread: what LoadImages decoded goes into the components.
void MorvaneEditor::installPictures()
{
    frameBack->image = decoded.panel;
    frameTop->image = decoded.frame;
    frameBottom->image = decoded.frame;
    for (int i = 0; i < faceCount; ++i)
    {
        meterFacesTop[(size_t)i].SetImage(decoded.facesTop[(size_t)i]);
        meterFacesBottom[(size_t)i].SetImage(decoded.facesBottom[(size_t)i]);
    }
    for (int i = 0; i < stripCount; ++i)
    {
        modeStripsTop[(size_t)i].SetImage(decoded.strips[(size_t)i]);
        modeStripsBottom[(size_t)i].SetImage(decoded.strips[(size_t)i]);
    }
    knobImageSmall = decoded.knobSmall;
    knobImageBig = decoded.knobBig;
    if (!global->knobImageLoaded.load() && knobImageBig.isValid())
    {
        global->SetKnobImage(knobImageBig);
        global->knobImageLoaded = true;
    }
    decoded = DecodedPictures();
    installKnobLooks();
    prepareMeterKnob();
    setView(2);
    loadingImages = false;
}

void MorvaneEditor::installKnobLooks()
{
    knobLookBig = std::make_unique<LookAndFeelSlider>(180);
    knobLookBig->SetImage(knobImageBig, 180, false);
    knobLookSmall = std::make_unique<LookAndFeelSlider>(12);
    knobLookSmall->SetImage(knobImageSmall, 12, false);
    for (int i = 0; i < settings->knobCount && i < panelKnobs; ++i)
        knobs[i]->setLookAndFeel(knobLookBig.get());
    knobs[KnobMap::mode]->setLookAndFeel(knobLookSmall.get());
    knobs[KnobMap::lowerMode]->setLookAndFeel(knobLookSmall.get());
}

// Knob 35 carries the meter value.
void MorvaneEditor::prepareMeterKnob()
{
    Knob& meter = *knobs[KnobMap::meterRightSlot];
    meter.setRange(-32.0, 0.0, 0.0);
    meter.setValue(1.0, juce::sendNotificationAsync);
    meter.setSliderStyle(juce::Slider::RotaryHorizontalVerticalDrag);
    meter.setTextBoxStyle(juce::Slider::NoTextBox, true, 0, 0);
}
