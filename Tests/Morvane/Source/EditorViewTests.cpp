// The window without a display: each view drawn into an image at several sizes, and checked
// against the rules of the layout (which component shows, where, which frame).
#include "EditorRig.h"

#include "Components/MeterNadel.h"
#include "Components/MyImageButton.h"
#include "Components/Scale.h"
#include "LookAndFeel/LookAndFeelSlider.h"

#include <gtest/gtest.h>

#include <set>

namespace
{
using Views = EditorCase;

// The components that the view table shows in a view, by their names in the table.
std::set<std::string> shownIn(MorvaneEditor& e, int view)
{
    std::set<std::string> shown;
    const std::pair<const char*, juce::Component*> parts[] = {
        {"splashKnob", &e.splashKnob},
        {"btnPresets", &e.btnPresets},
        {"btnDualMono", &e.btnDualMono},
        {"btnStereo", &e.btnStereo},
        {"btnHome", &e.btnHome},
        {"btnIpOk", &e.btnIpOk},
        {"ipEditors", &e.ipEditors[0]},
        {"status2", &e.statusLabels[2]},
        {"sadFace", &e.sadFace},
        {"presetMain", e.presetMain.get()},
        {"frameBack", e.frameBack.get()},
        {"frameTop", e.frameTop.get()},
        {"lampTop", e.lampTop},
        {"frameBottom", e.frameBottom.get()},
        {"lampBottom", e.lampBottom},
        {"knob3", e.knobs[3]},
        {"knob12", e.knobs[12]},
        {"knob8", e.knobs[8]},
        {"needleTop", &e.needleTop},
        {"needleBottom", &e.needleBottom},
        {"shadowBottom", &e.needleShadowBottom},
    };
    for (const auto& [name, component] : parts)
        if (component->isVisible())
            shown.insert(name);
    (void)view;
    return shown;
}

std::set<std::string> tableFor(int view)
{
    switch (view)
    {
    case 2:
        return {"splashKnob"};
    case 4:
        return {"btnPresets", "btnDualMono", "frameBack", "frameTop", "lampTop", "knob3", "needleTop"};
    case 5:
        return {"btnIpOk", "ipEditors", "status2", "sadFace"};
    case 30:
        return {"btnHome", "presetMain"};
    default:
        return {"btnPresets", "btnStereo", "frameBack", "frameTop",  "lampTop",     "frameBottom",
                "lampBottom", "knob3",     "knob12",    "needleTop", "needleBottom"};
    }
}

// Exact window sizes and the bounds of the table at a size factor.
void expectLayout(MorvaneEditor& e, float s, int view)
{
    const auto k = [s](int d)
    {
        return scaledLength(d, s);
    };
    const int height = view == 80 ? k(438) : k(219);
    EXPECT_EQ(e.getBounds(), juce::Rectangle<int>(0, 0, k(800), height)) << "view " << view << " s " << s;
    EXPECT_EQ(e.knobs[3]->getBounds(), juce::Rectangle<int>(k(643), k(40), k(60), k(60)));
    EXPECT_EQ(e.meterFacesTop[0].getBounds(),
              juce::Rectangle<int>(scaledPair(322, 323, s), k(28), k(154), k(89)));
    EXPECT_EQ(e.ipLabelsTop[3].getBounds(),
              juce::Rectangle<int>(scaledPair(432, 428, s), k(27), k(90), k(40)));
    EXPECT_EQ(e.ipEditors[1].getBounds(), juce::Rectangle<int>(k(340), k(190), k(50), k(20)));
    EXPECT_EQ(e.btnIpOk.getBounds(), juce::Rectangle<int>(k(525), k(190), k(50), k(20)));
    EXPECT_EQ(e.statusLabels[2].getBounds(), juce::Rectangle<int>(k(240), k(140), k(350), k(50)));
    EXPECT_EQ(e.ledOutRedTop->getBounds(), juce::Rectangle<int>(k(455), k(104), k(16), k(10)));
    EXPECT_EQ(e.lampBottom->getBounds(), juce::Rectangle<int>(k(301), k(376), k(60), k(60)));
    EXPECT_EQ(e.presetMain->getBounds(), e.getLocalBounds());
}
} // namespace

TEST_F(Views, EveryViewAtEverySizeShowsWhatItsTableSays)
{
    ASSERT_TRUE(rig.connect());
    for (const float s : {0.0f, 0.1f, 1.0f})
    {
        rig.global->guiSize = s;
        // A search under way holds the window in view 2.
        rig.global->deviceFinderBusy = true;
        openEditor();
        ASSERT_TRUE(until([&] { return editor->getRuntime() == 2; })) << s;
        draw();
        EXPECT_EQ(shownIn(*editor, 2), tableFor(2));
        rig.global->deviceFinderBusy = false;
        ASSERT_TRUE(until([&] { return editor->getRuntime() == 4; }));
        for (const int view : {4, 30, 4, 80, 4, 5})
        {
            goTo(view);
            const auto image = draw();
            EXPECT_EQ(shownIn(*editor, view), tableFor(view)) << "view " << view << " s " << s;
            EXPECT_EQ(image.getBounds(), editor->getLocalBounds());
            expectLayout(*editor, s, view);
        }
        closeEditor();
    }
}

TEST_F(Views, AViewChangeDrawsNothingInItsFirstPass)
{
    ASSERT_TRUE(rig.connect());
    openEditor();
    ASSERT_TRUE(until([&] { return editor->getRuntime() == 4; }));
    draw();
    const auto panel = draw();
    editor->buttonClicked(&editor->btnPresets);
    const auto first = editor->createComponentSnapshot(editor->getLocalBounds(), false);
    EXPECT_FALSE(editor->presetMain->isVisible()) << "the first pass only records the view";
    draw();
    EXPECT_TRUE(editor->presetMain->isVisible());
    EXPECT_NE(panel.getPixelAt(5, 5), juce::Colour()) << "the panel fills the window";
}

TEST_F(Views, KnobsShowTheFrameOfTheirValue)
{
    // A strip whose frames carry their own number in the red channel.
    const auto strip = [](int frames)
    {
        juce::Image image(juce::Image::ARGB, 10, 10 * frames, true);
        for (int f = 0; f < frames; ++f)
            image.clear({0, 10 * f, 10, 10}, juce::Colour((juce::uint8)f, 0, 0));
        return image;
    };
    LookAndFeelSlider big(180), small(12);
    big.SetImage(strip(180), 180, false);
    small.SetImage(strip(12), 12, false);
    const auto shownFrame = [](juce::Slider& slider, double value)
    {
        slider.setValue(value, juce::dontSendNotification);
        return (int)slider.createComponentSnapshot(slider.getLocalBounds()).getPixelAt(5, 5).getRed();
    };
    Knob knob(3), mode(2);
    for (auto* k : {&knob, &mode})
    {
        k->setSliderStyle(juce::Slider::RotaryHorizontalVerticalDrag);
        k->setTextBoxStyle(juce::Slider::NoTextBox, true, 0, 0);
        k->setSize(66, 66);
    }
    knob.setRange(0.0, 1.0, 0.0000001);
    knob.setLookAndFeel(&big);
    mode.setRange(0.0, 11.0, 1.0);
    mode.setLookAndFeel(&small);
    EXPECT_EQ(std::make_tuple(shownFrame(knob, 0.0), shownFrame(knob, 0.5), shownFrame(knob, 0.999),
                              shownFrame(knob, 1.0)),
              std::make_tuple(0, 89, 178, 179));
    for (int n = 0; n <= 11; ++n)
        EXPECT_EQ(shownFrame(mode, n), n);
    LookAndFeelSlider none(180);
    none.SetImage({}, 180, false);
    EXPECT_EQ(none.frames, 0) << "a missing strip draws nothing";
    knob.setLookAndFeel(nullptr);
    mode.setLookAndFeel(nullptr);
}

TEST_F(Views, TheEditorGivesThePanelKnobsItsStrips)
{
    ASSERT_TRUE(rig.connect());
    openEditor();
    ASSERT_TRUE(until([&] { return editor->getRuntime() == 4; }));
    auto* big = dynamic_cast<LookAndFeelSlider*>(&editor->knobs[3]->getLookAndFeel());
    auto* small = dynamic_cast<LookAndFeelSlider*>(&editor->knobs[2]->getLookAndFeel());
    ASSERT_TRUE(big != nullptr && small != nullptr);
    EXPECT_EQ(&editor->knobs[19]->getLookAndFeel(), small);
    EXPECT_EQ(std::make_pair(big->image.isValid(), small->image.isValid()), std::make_pair(true, true));
    EXPECT_EQ(std::make_tuple(big->frames, big->frameWidth, big->frameHeight),
              std::make_tuple(180, 250, 250));
    EXPECT_EQ(std::make_tuple(small->frames, small->frameWidth, small->frameHeight),
              std::make_tuple(12, 250, 250));
    EXPECT_TRUE(rig.global->knobImageLoaded);
    const auto shared = rig.global->getKnobImage();
    closeEditor();
    openEditor();
    ASSERT_TRUE(until([&] { return editor->getRuntime() == 4; }));
    big = dynamic_cast<LookAndFeelSlider*>(&editor->knobs[3]->getLookAndFeel());
    ASSERT_NE(big, nullptr);
    EXPECT_EQ(big->image.getPixelData(), shared.getPixelData()) << "the second editor decodes no strip";
}

TEST_F(Views, NeedlesTurnByTheirValue)
{
    constexpr double degree = 57.29577951308232;
    EXPECT_EQ(Needle::radians(0.0f), (float)((double)387.0f / degree));
    EXPECT_EQ(Needle::radians(-20.0f), (float)((double)323.0f / degree));
    EXPECT_EQ(Needle::radians(5.0f), (float)((double)403.5f / degree));
    EXPECT_EQ(Needle::radians(-64.0f / 3.3f), Needle::radians(-40.0f)) << "clamped at 37 degrees left";
    // The pivot lies 17 (1 + s) below the component's lower edge, on its centre line.
    const juce::Rectangle<int> bounds(792, 80, 6, 160);
    EXPECT_EQ(Needle::transform(bounds, 1.0f, 5.0f),
              juce::AffineTransform::rotation(Needle::radians(5.0f), 795.0f, 274.0f));

    ASSERT_TRUE(rig.connect());
    openEditor();
    ASSERT_TRUE(until([&] { return editor->getRuntime() == 4; }));
    rig.unit->command("comp 0 0");
    for (const float v : {0.0f, -20.0f, 5.0f})
    {
        rig.global->hostValue[35] = v;
        tick();
        EXPECT_EQ(editor->needleTop.getTransform(),
                  Needle::transform(editor->needleTop.getBounds(), rig.global->guiSize, v))
            << v;
        EXPECT_EQ(editor->needleShadowTop.getTransform(),
                  Needle::transform(editor->needleShadowTop.getBounds(), rig.global->guiSize, v));
    }
}

TEST_F(Views, ClipLampsLightByTheirFields)
{
    ASSERT_TRUE(rig.connect());
    openEditor();
    ASSERT_TRUE(until([&] { return editor->getRuntime() == 4; }));
    draw();
    draw();
    const auto lit = [&]
    {
        std::string names;
        const std::pair<const char*, ImageClippingLed*> lamps[] = {
            {"inRedTop ", editor->ledInRedTop.get()},
            {"inAmberTop ", editor->ledInAmberTop.get()},
            {"outRedTop ", editor->ledOutRedTop.get()},
            {"outAmberTop ", editor->ledOutAmberTop.get()},
            {"inRedBottom ", editor->ledInRedBottom.get()},
            {"inAmberBottom ", editor->ledInAmberBottom.get()},
            {"outRedBottom ", editor->ledOutRedBottom.get()},
            {"outAmberBottom ", editor->ledOutAmberBottom.get()}};
        for (const auto& [name, lamp] : lamps)
            if (lamp->isVisible())
                names += name;
        return names;
    };
    const auto clip = [&](int word)
    {
        rig.global->hostValue[20] = (float)word;
        tick();
        return lit();
    };
    EXPECT_EQ(clip(0x88), "inRedTop outRedTop ");
    EXPECT_EQ(clip(0x44), "inAmberTop outAmberTop ");
    EXPECT_EQ(clip(0xF), "");
    EXPECT_EQ(clip(0x88), "inRedTop outRedTop ");
    goTo(80);
    EXPECT_EQ(clip(0xF), "");
    EXPECT_EQ(clip(0x88), "inRedBottom outRedBottom ");
    EXPECT_EQ(clip(0x12), "inRedTop outAmberTop ");
    // The lit lamps lie above the strip and directly behind the frame.
    const int frameAt = editor->getIndexOfChildComponent(editor->frameTop.get());
    EXPECT_EQ(editor->getIndexOfChildComponent(editor->ledOutAmberTop.get()) < frameAt, true);
}

TEST_F(Views, TheNetworkPageShowsTheUnitsAddressInBothDisplays)
{
    rig.unit->command("mode 11");
    ASSERT_TRUE(rig.connect());
    openEditor();
    ASSERT_TRUE(until([&] { return editor->getRuntime() == 4; }));
    goTo(80);
    ASSERT_TRUE(until([&] { return rig.global->deviceMode.load() == 12; }));
    draw();
    draw();
    const auto address = rig.global->ipDigits.get(0) + rig.global->ipDigits.get(1) +
                         rig.global->ipDigits.get(2) + rig.global->ipDigits.get(3);
    EXPECT_EQ(address, "1 2 7 0 0 2 ");
    for (auto* labels : {&editor->ipLabelsTop, &editor->ipLabelsBottom})
    {
        std::string shown;
        for (auto& label : *labels)
            shown += label.isVisible() ? label.getText().toStdString() : "(hidden)";
        EXPECT_EQ(shown, address);
    }
    for (auto* page : {&editor->infoPageTop, &editor->infoPageBottom})
        EXPECT_TRUE(page->isVisible());
    for (auto* hidden : std::initializer_list<juce::Component*>{
             &editor->needleTop, &editor->needleBottom, &editor->meterFacesTop[9], &editor->modeStripsTop[0]})
        EXPECT_FALSE(hidden->isVisible());
    ASSERT_TRUE(until([&] { return editor->macLabelsTop[0].getText() != "A B"; }));
    EXPECT_EQ(editor->macLabelsTop[5].getText(), editor->macLabelsBottom[5].getText());
}

TEST_F(Views, AHostThatResizesGetsTheSizeOfTheNearestFactor)
{
    ASSERT_TRUE(rig.connect());
    openEditor();
    ASSERT_TRUE(until([&] { return editor->getRuntime() == 4; }));
    editor->setSize(1600, 300);
    EXPECT_EQ(std::make_tuple(rig.global->guiSize.load(), editor->getWidth(), editor->getHeight()),
              std::make_tuple(1.0f, 1600, 438));
    EXPECT_EQ(editor->knobs[3]->getBounds(), juce::Rectangle<int>(1286, 80, 120, 120));
    editor->setSize(20000, 219);
    EXPECT_EQ(std::make_pair(rig.global->guiSize.load(), editor->getWidth()), std::make_pair(5.0f, 4800));
    editor->setSize(10, 10);
    EXPECT_EQ(editor->getBounds(), juce::Rectangle<int>(0, 0, 800, 219));
    EXPECT_NE(
        TestEnvironment::readFile(rig.global->settingsFolder.get() + "/GuiSettings.txt").find("Size = 0"),
        std::string::npos);
}

TEST_F(Views, KnobsButtonsAndFieldsCarryNamesAndKnobsTakeArrowKeys)
{
    ASSERT_TRUE(rig.connect());
    openEditor();
    ASSERT_TRUE(until([&] { return editor->getRuntime() == 4; }));
    for (int i = 0; i < 16; ++i)
        EXPECT_TRUE(i == 8 || editor->knobs[i]->getTitle().toStdString() ==
                                  rig.processor->getSettings()->knobNames[(size_t)i])
            << i;
    EXPECT_EQ(editor->knobs[19]->getTitle(), "Mode R");
    for (auto* named : std::initializer_list<juce::Component*>{&editor->btnPresets, &editor->btnIpOk,
                                                               &editor->ipEditors[0], &editor->ipEditors[3]})
        EXPECT_FALSE(named->getTitle().isEmpty());
    Knob& input = *editor->knobs[3];
    Knob& mode = *editor->knobs[2];
    EXPECT_TRUE(input.getWantsKeyboardFocus());
    input.setValue(0.5, juce::dontSendNotification);
    mode.setValue(4.0, juce::dontSendNotification);
    input.keyPressed(juce::KeyPress(juce::KeyPress::upKey));
    mode.keyPressed(juce::KeyPress(juce::KeyPress::rightKey));
    EXPECT_NEAR(input.getValue(), 0.51, 1e-6);
    EXPECT_EQ(mode.getValue(), 5.0);
    input.keyPressed(juce::KeyPress(juce::KeyPress::downKey));
    mode.keyPressed(juce::KeyPress(juce::KeyPress::leftKey));
    EXPECT_NEAR(input.getValue(), 0.5, 1e-6);
    EXPECT_EQ(mode.getValue(), 4.0);
}

// A unit whose web server answers but whose status stream stays away: each display says so
// over its face or network page, in words that fit it, and the notice goes with the stream's
// return.
TEST_F(Views, ASilentUnitIsNamedOnEveryDisplayShown)
{
    ASSERT_TRUE(rig.connect());
    const auto notice = [&](int display) -> juce::Label&
    {
        return editor->silentNotices[(size_t)display];
    };
    const auto fits = [&](int display, juce::Component& over)
    {
        auto& label = notice(display);
        const auto area = label.getBorderSize().subtractedFrom(label.getLocalBounds());
        const auto font = label.getFont();
        juce::StringArray lines;
        lines.addLines(label.getText());
        bool wide = false;
        for (const auto& line : lines)
            wide = wide || font.getStringWidthFloat(line) > (float)area.getWidth();
        return over.getBounds().contains(label.getBounds()) && !wide &&
               font.getHeight() * (float)lines.size() <= (float)area.getHeight();
    };
    for (const float s : {0.0f, 1.0f})
    {
        rig.global->guiSize = s;
        openEditor();
        ASSERT_TRUE(until([&] { return editor->getRuntime() == 4; })) << s;
        draw();
        draw();
        EXPECT_FALSE(notice(0).isVisible());
        // What the loop raises after eleven silent rounds of two seconds each.
        rig.unit->command("fault silent on");
        rig.runCycles(4);
        rig.global->unitSilent = true;
        tick();
        auto image = draw();
        const int face = juce::jlimit(1, 21, rig.global->meterMode.load()) - 1;
        EXPECT_EQ(std::make_pair(notice(0).isVisible(), notice(1).isVisible()), std::make_pair(true, false));
        EXPECT_TRUE(fits(0, editor->meterFacesTop[(size_t)face])) << s;
        const int at = editor->getIndexOfChildComponent(&notice(0));
        EXPECT_GT(at, editor->getIndexOfChildComponent(&editor->needleTop));
        EXPECT_LT(at, editor->getIndexOfChildComponent(editor->frameTop.get()));
        const auto inside = notice(0).getBounds().getCentre().withX(notice(0).getX() + scaledLength(3, s));
        EXPECT_LT(image.getPixelAt(inside.x, inside.y).getBrightness(), 0.2f) << "dark over the light face";
        goTo(80);
        EXPECT_EQ(std::make_pair(notice(0).isVisible(), notice(1).isVisible()), std::make_pair(true, true));
        EXPECT_TRUE(fits(1, editor->meterFacesBottom[(size_t)face])) << s;
        goTo(4);
        goTo(30);
        EXPECT_EQ(std::make_pair(notice(0).isVisible(), notice(1).isVisible()), std::make_pair(false, false));
        goTo(4);
        rig.unit->command("fault silent off");
        ASSERT_TRUE(until([&] { return !rig.global->unitSilent.load(); }, 5000))
            << "the next status lowers it";
        tick();
        draw();
        EXPECT_FALSE(notice(0).isVisible());
        closeEditor();
    }
}
