// The preferences window on a real display (Xvfb), against the simulated unit: each control
// reaches the unit through the loop or the editor's tick, or the instance's settings file.
#include "EditorPictures.h"
#include "EditorRig.h"
#include "XErrors.h"

#include "Components/Scale.h"
#include "Ground/SettingsPaths.h"
#include "MouseMenue/MenuImageComponent.h"
#include "MouseMenue/SettingsDocument.h"

#include <cstring>

namespace
{
bool samePixels(const juce::Image& a, const juce::Image& b)
{
    if (!a.isValid() || !b.isValid() || a.getBounds() != b.getBounds())
        return false;
    for (int y = 0; y < a.getHeight(); y += 7)
        for (int x = 0; x < a.getWidth(); x += 7)
            if (a.getPixelAt(x, y) != b.getPixelAt(x, y))
                return false;
    return true;
}

// The picture cells of the open popup menus, top to bottom.
void collectCells(juce::Component& c, std::vector<MenuImageComponent*>& cells)
{
    if (auto* cell = dynamic_cast<MenuImageComponent*>(&c))
        cells.push_back(cell);
    for (auto* child : c.getChildren())
        collectCells(*child, cells);
}

std::vector<MenuImageComponent*> openMenuCells()
{
    std::vector<MenuImageComponent*> cells;
    auto& desktop = juce::Desktop::getInstance();
    for (int i = 0; i < desktop.getNumComponents(); ++i)
        collectCells(*desktop.getComponent(i), cells);
    // A menu taller than the screen stands in columns.
    const auto place = [](const MenuImageComponent* c)
    {
        return std::make_pair(c->getScreenX(), c->getScreenY());
    };
    std::sort(cells.begin(), cells.end(), [&](auto* a, auto* b) { return place(a) < place(b); });
    return cells;
}

void press(juce::Component& window, int key)
{
    window.getPeer()->handleKeyPress(juce::KeyPress(key));
}

class Preferences : public EditorCase
{
protected:
    void SetUp() override
    {
        XErrors::survive();
        rig.unit->command("balance -1.5");
        ASSERT_TRUE(rig.connect());
        // The brightness range is the unit's once a regular cycle has read it.
        ASSERT_TRUE(
            until([&] { return rig.global->brightnessMax.load() > rig.global->brightnessMin.load(); }));
    }
    void TearDown() override
    {
        // The editor closes the windows its menu opened before it goes.
        delete window.getComponent();
        closeEditor();
    }

    void openWindow()
    {
        openEditor();
        editor->addToDesktop(juce::ComponentPeer::windowHasTitleBar);
        editor->setVisible(true);
        ASSERT_TRUE(until([&] { return editor->getRuntime() == 4 && editor->knobs[3]->isShowing(); }));
    }
    void openPreferences()
    {
        window = new Settings_Document("Morvane Preferences", juce::Colours::white,
                                       juce::DocumentWindow::allButtons, rig.global);
        window->setUsingNativeTitleBar(true);
        window->setBounds(200, 200, 420, 240);
        window->setVisible(true);
    }
    // A click as the user's pointer makes it, through the peer of the window it is in.
    void click(juce::Component& c)
    {
        auto* peer = c.getPeer();
        const auto at = peer->getComponent().getLocalPoint(&c, c.getLocalBounds().getCentre()).toFloat();
        for (const bool down : {true, false})
        {
            const auto modifiers =
                down ? juce::ModifierKeys(juce::ModifierKeys::leftButtonModifier) : juce::ModifierKeys();
            juce::ModifierKeys::currentModifiers = modifiers;
            peer->handleMouseEvent(juce::MouseInputSource::InputSourceType::mouse, at, modifiers,
                                   juce::MouseInputSource::defaultPressure, 0.0f,
                                   (juce::int64)juce::Time::getMillisecondCounter());
        }
    }
    bool unitHeard(const std::string& text, int timeoutMs = 5000)
    {
        return until(
            [&]
            {
                for (const auto& line : rig.unit->requests())
                    if (line.find(text) != std::string::npos)
                        return true;
                return false;
            },
            timeoutMs);
    }
    std::string guiSettings() const
    {
        return TestEnvironment::readFile(SettingsPaths::makeFolders("Morvane/1") + "/GuiSettings.txt");
    }
    bool fileHas(const std::string& line)
    {
        return until([&] { return guiSettings().find(line) != std::string::npos; }, 3000);
    }
    std::vector<MenuImageComponent*> openMeterMenu()
    {
        click(*window->devicePage()->changeMeterButton);
        std::vector<MenuImageComponent*> cells;
        until([&] { return (cells = openMenuCells()).size() == 21 && cells.back()->isShowing(); }, 5000);
        return cells;
    }

    juce::Component::SafePointer<Settings_Document> window;
};
} // namespace

TEST_F(Preferences, DeviceTabReachesTheUnitThroughTheLoop)
{
    openPreferences();
    auto& page = *window->devicePage();
    EXPECT_EQ(page.brightnessSlider->getRange(), juce::Range<double>(1.0, 100.0));
    EXPECT_EQ(page.brightnessSlider->getValue(), 80.0);
    rig.clearRequests();
    page.brightnessSlider->setValue(33.4, juce::sendNotificationSync);
    EXPECT_TRUE(unitHeard("/knob?7/33 "));
    EXPECT_TRUE(until([&] { return rig.unit->row(7).value == 33; }));

    // The toggles go out with the loop's regular cycle, as the knobs do.
    ASSERT_FALSE(page.autoGainButton->getToggleState());
    click(*page.autoGainButton);
    EXPECT_TRUE(until([&] { return rig.unit->row(5).value == 255; }));
    click(*page.highGainButton);
    EXPECT_TRUE(until([&] { return rig.unit->row(22).value == 1; }));
    click(*page.highGainButton);
    EXPECT_TRUE(until([&] { return rig.unit->row(22).value == 0; }));
    EXPECT_EQ(rig.unit->row(5).value, 255);
}

TEST_F(Preferences, BalanceStartsFromTheUnitsFigureAndMovesInHalfSteps)
{
    rig.clearRequests();
    openPreferences();
    auto& slider = *window->balancePage()->balanceSlider;
    EXPECT_EQ(slider.getValue(), -1.5);
    // Opening tells the unit once what it reported.
    EXPECT_TRUE(unitHeard("/balance?-1.5 "));
    slider.setValue(1.3, juce::sendNotificationSync);
    EXPECT_EQ(slider.getValue(), 1.5);
    EXPECT_TRUE(unitHeard("/balance?1.5 "));
    EXPECT_TRUE(until([&] { return rig.unit->panel().balance() == 1.5; }));
}

TEST_F(Preferences, MeterMenuShowsTheSmallFacesAndAChoiceChangesFaceAndUnit)
{
    openWindow();
    openPreferences();
    ASSERT_EQ(rig.global->meterMode.load(), 1);
    auto cells = openMeterMenu();
    ASSERT_EQ(cells.size(), 21u);
    for (int i = 0; i < 21; ++i)
    {
        EXPECT_EQ(cells[(size_t)i]->getBounds().getHeight(), 140) << i;
        EXPECT_TRUE(samePixels(cells[(size_t)i]->image, Picture::decode(Picture::firstSmallFace + i))) << i;
    }

    // The keys walk the menu; the cell lit when Return goes down is the face chosen.
    rig.clearRequests();
    auto& menu = *cells[0]->getTopLevelComponent();
    for (int i = 0; i < 7; ++i)
        press(menu, juce::KeyPress::downKey);
    const auto lit = std::find_if(cells.begin(), cells.end(), [](auto* c) { return c->isItemHighlighted(); });
    ASSERT_NE(lit, cells.end());
    const int chosen = (int)(lit - cells.begin()) + 1;
    ASSERT_NE(chosen, 1);
    press(menu, juce::KeyPress::returnKey);
    EXPECT_TRUE(unitHeard("/knob?6/" + std::to_string(chosen) + " "));
    EXPECT_TRUE(until([&] { return rig.unit->row(6).value == chosen; }));
    EXPECT_TRUE(until([&] { return editor->meterFacesTop[(size_t)chosen - 1].isVisible(); }));
    EXPECT_FALSE(editor->meterFacesTop[0].isVisible());

    cells = openMeterMenu();
    ASSERT_EQ(cells.size(), 21u);
    // The mark follows the pointer: on while it is over a cell, gone when it leaves.
    auto& cell = *cells[4];
    auto& again = *cell.getTopLevelComponent();
    const auto over = again.getLocalPoint(&cell, juce::Point<int>(4, 4)).toFloat();
    const auto move = [&](juce::Point<float> at)
    {
        juce::ModifierKeys::currentModifiers = {};
        again.getPeer()->handleMouseEvent(juce::MouseInputSource::InputSourceType::mouse, at, {},
                                          juce::MouseInputSource::defaultPressure, 0.0f,
                                          (juce::int64)juce::Time::getMillisecondCounter());
    };
    const auto corner = [&]
    {
        return cell.createComponentSnapshot({0, 0, 2, 2}).getPixelAt(0, 0);
    };
    const auto plain = corner();
    move(over);
    EXPECT_TRUE(cell.hovered);
    EXPECT_NE(corner(), plain);
    move(again.getLocalPoint(cells[5], juce::Point<int>(4, 4)).toFloat());
    EXPECT_FALSE(cell.hovered);
    EXPECT_EQ(corner(), plain);

    // A dismissed menu leaves the face as it is.
    rig.clearRequests();
    press(again, juce::KeyPress::escapeKey);
    EXPECT_TRUE(until([&] { return openMenuCells().empty(); }));
    rig.runCycles(6);
    EXPECT_EQ(rig.global->meterMode.load(), chosen);
    EXPECT_TRUE(rig.knobRequests().empty()) << rig.knobRequests()[0];
}

TEST_F(Preferences, PluginTabWritesTheSettingsFileAndResizesTheOpenEditor)
{
    openWindow();
    openPreferences();
    window->getTabs().setCurrentTabIndex(1);
    auto& page = *window->pluginPage();
    EXPECT_EQ(page.resolutionSlider->getRange(), juce::Range<double>(1.0, 1000.0));
    page.sizeSlider->setValue(0.5, juce::sendNotificationSync);
    EXPECT_TRUE(fileHas("Size = 0.5;"));
    EXPECT_TRUE(until([&] { return editor->getWidth() == scaledLength(800, 0.5f); }));
    EXPECT_EQ(editor->knobs[3]->getBounds(),
              juce::Rectangle<int>(scaledLength(643, 0.5f), scaledLength(40, 0.5f), scaledLength(60, 0.5f),
                                   scaledLength(60, 0.5f)));

    page.resolutionSlider->setValue(250.0, juce::sendNotificationSync);
    EXPECT_TRUE(fileHas("Knob Resolution = 250;"));
    EXPECT_TRUE(until([&] { return editor->knobs[3]->getInterval() == 0.025; }));
    EXPECT_EQ(editor->knobs[2]->getInterval(), 1.0);

    ASSERT_TRUE(page.ignoreEmptyButton->getToggleState());
    click(*page.ignoreEmptyButton);
    EXPECT_TRUE(fileHas("ZeroPreset = 0;"));
    EXPECT_FALSE(rig.global->zeroPreset.load());
}

// Closing by the title bar, or from outside while the meter menu is still open: the window
// goes, and its menu with it.
TEST_F(Preferences, WindowGoesByItsCloseButtonOrFromOutsideWithItsMenuOpen)
{
    openPreferences();
    window->getPeer()->handleUserClosingWindow();
    EXPECT_EQ(window.getComponent(), nullptr);

    rig.clearRequests();
    openPreferences();
    delete window.getComponent();
    rig.runCycles(6);
    EXPECT_FALSE(unitHeard("/balance?", 200)) << "the opening's notification went with the window";

    openPreferences();
    const auto cells = openMeterMenu();
    ASSERT_EQ(cells.size(), 21u);
    for (int i = 0; i < 3; ++i)
        press(*cells[0]->getTopLevelComponent(), juce::KeyPress::downKey);
    delete window.getComponent();
    EXPECT_TRUE(until([&] { return openMenuCells().empty(); }));
    TestEnvironment::pump(200);
    EXPECT_EQ(rig.global->meterMode.load(), 1);
}
