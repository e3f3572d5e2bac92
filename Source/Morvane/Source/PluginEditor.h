#pragma once

#include "EditorPictures.h"
#include "EditorSearch.h"
#include "EditorWorker.h"
#include "PluginProcessor.h"

#include "Components/ImageHolders.h"
#include "Components/ManuelOverWriteBtn.h"
#include "Components/MeterNadel.h"
#include "GlobalData/Settings.h"
#include "Ground/SharedText.h"
#include "LookAndFeel/CLookAndFeel.h"
#include "LookAndFeel/LookAndFeelSlider.h"
#include "Presets/PresetMain.h"

#include <juce_gui_basics/juce_gui_basics.h>

#include <array>
#include <atomic>
#include <memory>
#include <thread>
#include <vector>

class GlobalData;
class Broadcast;
class TCPIP;
class SafeAndLoad;
class MyImageButton;
class CallHome;
class MousePopUpMenue;
class MyAlertWindow;
class MorvaneEditor;

// The modal callbacks of the list alerts. Each holds the editor (gone: nothing to do) and the
// ticket of its window (replaced: nothing to do).
struct AlertMoreThenOneDevice_Callback
{
    juce::Component::SafePointer<MorvaneEditor> editor;
    int ticket = 0;
    void operator()(int result) const;
};
struct AlertWrongSerialMoreDevices_Callback
{
    juce::Component::SafePointer<MorvaneEditor> editor;
    int ticket = 0;
    void operator()(int result) const;
};

// The window: a picture of the unit's front panel whose knobs move with the real ones.
// It owns no knob: the processor's knobs and lamp buttons are re-parented into each new
// editor. Its timer is the window's only driver; it learns of everything by flags.
class MorvaneEditor : public juce::AudioProcessorEditor,
                      public juce::Timer,
                      public juce::Slider::Listener,
                      public juce::Button::Listener
{
public:
    MorvaneEditor(MorvaneProcessor& processor, GlobalData* global, GlobalSettings* settings,
                  Broadcast* broadcast, Knob** knobs, TCPIP* tcp, SafeAndLoad* safeAndLoad,
                  MyImageButton* lampTop, MyImageButton* lampBottom);
    ~MorvaneEditor() override;

    void paint(juce::Graphics&) override;
    void resized() override;
    void timerCallback() override;
    void sliderValueChanged(juce::Slider* slider) override;
    void buttonClicked(juce::Button* button) override;

    // Decodes the pictures (on imagesThread); the tick hands them to the components.
    void LoadImages();
    void CheckMeter();
    void CheckMac();
    // The choice alerts raised by searches and the hand-out, in their fixed order.
    void checkAlert();
    enum class ListAlert
    {
        moreThenOne,
        manyOthers,
        allOccupied
    };
    void moreThenOneAnswered(int result, int ticket);
    void wrongSerialAnswered(int result, int ticket);

    // The view: 0 loading, 2 searching, 4 stereo, 5 IP page, 30 presets, 80 dual mono.
    int getRuntime() const { return runtime; }
    bool isLoadingImages() const { return loadingImages.load(); }

    static constexpr int panelKnobs = 20;
    static constexpr int faceCount = 22;
    static constexpr int stripCount = 11;

    // The children, public for the menus, the alerts and the tests.
    Knob splashKnob{50};
    MeterImages sadFace;
    std::array<MeterImages, faceCount> meterFacesTop, meterFacesBottom;
    MeterImages infoPageTop, infoPageBottom;
    std::array<Modi, stripCount> modeStripsTop, modeStripsBottom;
    std::unique_ptr<Rahmen> frameTop, frameBottom, frameBack;
    std::array<std::unique_ptr<ManuelOverWriteBtn>, panelKnobs> overrideMarks;
    std::array<juce::Label, 5> statusLabels;
    std::array<juce::TextEditor, 4> ipEditors;
    std::array<juce::Label, 4> ipLabelsTop, ipLabelsBottom;
    std::array<juce::Label, 6> macLabelsTop, macLabelsBottom;
    // Over each display while the unit answers but sends no status (unitSilent): the knobs
    // and the needle would otherwise just stand still. Upper display first.
    std::array<juce::Label, 2> silentNotices;
    juce::TextButton btnPresets{"new button"}, btnHome{"new button"}, btnDualMono{"DualMono"},
        btnStereo{"Stereo"}, btnIpOk{"Ok"};
    MeterNadel needleTop, needleBottom;
    MeterNadelSchatten needleShadowTop, needleShadowBottom;
    std::unique_ptr<ImageClippingLed> ledInRedTop, ledOutRedTop, ledInAmberTop, ledOutAmberTop;
    std::unique_ptr<ImageClippingLed> ledInRedBottom, ledOutRedBottom, ledInAmberBottom, ledOutAmberBottom;
    std::unique_ptr<PresetMain> presetMain;

    // The open questions. One per window rather than per process: instances never close
    // each other's question.
    std::unique_ptr<juce::AlertWindow> moreThenOneAlertWindow, wrongSerialAlertWindow;
    juce::Component::SafePointer<MyAlertWindow> oneOtherWindow;
    int moreThenOneResult = 0, wrongSerialResult = 0;
    bool moreThenOneResultSet = false, wrongSerialResultSet = false;

    Knob** knobs;
    GlobalSettings* settings;
    GlobalData* global;
    Broadcast* broadcast;
    TCPIP* tcp;
    MyImageButton* lampTop;
    MyImageButton* lampBottom;
    // The right-click menu, a listener on this window and its children.
    std::unique_ptr<MousePopUpMenue> mouseMenu;

private:
    // Construction, in its order.
    void createSplash();
    void createPictureHolders();
    void createLabels();
    void createButtons();
    void addPanelParts();
    void addKnobs();
    void styleIpLabel(juce::Label& label, const juce::String& text);
    void styleSilentNotice(juce::Label& notice);
    void styleButton(juce::TextButton& button, const juce::String& text, juce::uint32 onColour);

    // Layout.
    int k(int length) const;
    void takeHostWidth();
    void applySizeFactor();
    void layoutKnobs();
    void layoutDisplays();
    void layoutButtons();
    void layoutLamps();
    void layoutIpPage();
    void scaleChildren();

    // The tick.
    bool finishLoading();
    void takeOutsideView();
    void serveSettingsFlags();
    void updateModeStrips();
    void searchStep();
    void stereoStep();
    void dualMonoStep();
    void enterDualMono(bool copyMode);
    void leaveDualMono();
    void serveChannelRequests(bool copyMode);
    void resolutionStep();
    void knobStep(int i, bool dual);
    void setView(int view);

    // The views.
    void applyView();
    void showDisplay(bool top, bool shown);
    void restack(bool top);
    void stackDisplay(bool top, juce::Component* frame);
    void drawPanel(juce::Graphics& g);
    std::array<ImageClippingLed*, 4> lampsOf(bool top) const;
    std::array<ImageClippingLed*, 8> allLamps() const;

    // The pictures.
    bool takeSplash();
    bool decodePanel();
    void installSplash();
    void installPictures();
    void installKnobLooks();
    void prepareMeterKnob();

    // The meter.
    void stereoMeterStep();
    void dualMonoMeterStep();
    void clipStep(bool dual);
    void setLamp(ImageClippingLed& lamp, bool on, bool& last, bool toFront, bool force);

    // The alerts.
    struct ListChoice
    {
        ListAlert kind = ListAlert::moreThenOne;
        std::vector<std::string> ips, serials, names;
    };
    juce::String alertTitle(ListAlert kind) const;
    juce::String alertMessage(ListAlert kind) const;
    ListChoice takeChoice(ListAlert kind) const;
    juce::StringArray alertList(const ListChoice& choice) const;
    std::unique_ptr<juce::AlertWindow> makeListAlert(const ListChoice& choice);
    void openListAlert(ListAlert kind);
    void openOneOtherAlert();
    static int selectedIndex(juce::AlertWindow& window);
    void takeListAnswer(const ListChoice& choice, int result, int index);
    void takeListedUnit(const ListChoice& choice, size_t entry);
    void handOnOpenAlerts();

    // The buttons.
    void presetsClicked();
    void homeClicked();
    void stereoClicked();
    void dualMonoClicked();
    void ipOkClicked();
    void startEditorSearch();

    MorvaneProcessor& processor;

    int runtime = 0;
    int oldRuntime = -1;
    bool viewDirty = false;
    bool constructed = false;
    bool sizing = false;
    std::atomic<bool> closing{false};
    std::atomic<bool> loadingImages{false};
    std::atomic<bool> imagesDecoded{false};
    std::atomic<bool> splashDecoded{false};
    float splashPosition = 0.0f;
    float lastModeR = 99.0f;

    // Lamp states of the stereo step (input, output: red, amber) and of the dual-mono step.
    std::array<bool, 4> actClipStereo{}, lastClipStereo{};
    std::array<bool, 8> actClipDual{}, lastClipDual{};
    int clipStepWasDual = -1;

    std::unique_ptr<juce::LookAndFeel_V3> alertLook, wrongSerialLook;
    ListChoice moreThenOneChoice, wrongSerialChoice;
    int alertTickets = 0, moreThenOneTicket = 0, wrongSerialTicket = 0;
    CLookAndFeel buttonLook;
    std::unique_ptr<LookAndFeelSlider> splashLook, knobLookBig, knobLookSmall;
    juce::Image splashImage, knobImageBig, knobImageSmall;

    // The pictures of this editor, decoded on imagesThread and shared within the process.
    std::shared_ptr<EditorPictures> pictures;
    DecodedPictures decoded;
    // Written by imagesThread before splashDecoded rises, read by the tick after.
    juce::Image splashPicture;

    std::unique_ptr<CallHome> callHome;
    std::thread imagesThread, callHomeThread;
    EditorSearch search{processor};
    // Ok was pressed again while the last search ran: the next one starts once it ended.
    bool searchAgain = false;
    EditorWorker meterRequest, macRequest;
    SharedStringList<6> macTexts;
    std::atomic<bool> macReady{false};

    friend void* asyncImages(void* editor);

    JUCE_DECLARE_NON_COPYABLE_WITH_LEAK_DETECTOR(MorvaneEditor)
};

// Entry of imagesThread.
void* asyncImages(void* editor);
