// The panel's right-click menu on a real display (Xvfb), against the simulated unit: the
// items, the change to another unit, the windows it opens, and the manual update check
// against a loopback web server. One right click comes from the X server itself.
#include "EditorRig.h"
#include "FakePointer.h"
#include "LocalListener.h"
#include "XErrors.h"

#include "CallHome/CallHome.h"
#include "CallHome/UpdateServer.h"
#include "Ground/SettingsPaths.h"
#include "MouseMenue/AboutUs.h"
#include "MouseMenue/MousePopUpMenue.h"
#include "MouseMenue/SettingsDocument.h"

namespace
{
struct Item
{
    int id = 0;
    std::string text;
    bool separator = false;
    std::vector<Item> sub;
    bool enabled = true;
};

std::vector<Item> itemsOf(const juce::PopupMenu& menu)
{
    std::vector<Item> items;
    for (juce::PopupMenu::MenuItemIterator it(menu); it.next();)
    {
        const auto& entry = it.getItem();
        Item item{entry.itemID, entry.text.toStdString(), entry.isSeparator, {}, entry.isEnabled};
        if (entry.subMenu != nullptr)
            item.sub = itemsOf(*entry.subMenu);
        items.push_back(item);
    }
    return items;
}

template <typename Window> std::vector<Window*> desktopWindows()
{
    std::vector<Window*> found;
    auto& desktop = juce::Desktop::getInstance();
    for (int i = 0; i < desktop.getNumComponents(); ++i)
        if (auto* w = dynamic_cast<Window*>(desktop.getComponent(i)))
            found.push_back(w);
    return found;
}

// "title. message" of the one alert on the screen, with its buttons' texts.
std::string alertShown()
{
    const auto alerts = desktopWindows<juce::AlertWindow>();
    if (alerts.size() != 1)
        return std::to_string(alerts.size()) + " alerts";
    std::string text = alerts[0]->getDescription().toStdString();
    for (auto* child : alerts[0]->getChildren())
        if (auto* button = dynamic_cast<juce::TextButton*>(child))
            text += " [" + button->getButtonText().toStdString() + "]";
    return text;
}

class MouseMenu : public EditorCase
{
protected:
    void SetUp() override
    {
        XErrors::survive();
        ASSERT_TRUE(rig.connect());
        openEditor();
        editor->addToDesktop(juce::ComponentPeer::windowHasTitleBar);
        editor->setVisible(true);
        ASSERT_TRUE(until([&] { return editor->getRuntime() == 4; }));
        // The editor's own daily check (its date stored, its flag down again) has ended before
        // a case points checks elsewhere.
        ASSERT_TRUE(until(
            [&] { return SettingsPaths::isFile(CallHome::settingsFile()) && !rig.global->callHomeRunning; }));
        CallHome::setOpenHook([this](const std::string& address) { opened.push_back(address); });
    }
    void TearDown() override
    {
        closeAlerts();
        CallHome::setOpenHook({});
        CallHome::setBaseUrlForEveryCheck("");
        closeEditor();
    }

    MousePopUpMenue& menu() { return *editor->mouseMenu; }
    // What the popup's callback does for this id, then the menu's timer serves it.
    void choose(int id)
    {
        menu().PopupMenuResult(id);
        ASSERT_TRUE(until([&] { return !menu().menuPending; }, 2000));
        TestEnvironment::pump(50);
    }
    void closeAlerts()
    {
        juce::ModalComponentManager::getInstance()->cancelAllModalComponents();
        until([] { return desktopWindows<juce::AlertWindow>().empty(); }, 2000);
    }
    std::string logText()
    {
        return TestEnvironment::readFile(SettingsPaths::makeFolders("Morvane") + "/Log.txt");
    }

    std::vector<std::string> opened;
};
} // namespace

// The framework keeps no separator at the top and none twice in a row.
TEST_F(MouseMenu, HoldsEveryItemWithItsIdAndADismissalChangesNothing)
{
    std::vector<std::pair<int, std::string>> shown;
    for (const auto& item : itemsOf(menu().buildMenu()))
        shown.emplace_back(item.id, item.separator ? "--" : item.text);
    const std::vector<std::pair<int, std::string>> expected = {{8, "Show IP Adress"},
                                                               {9, "Open Morvane in browser"},
                                                               {0, "Change Morvane"},
                                                               {0, "--"},
                                                               {12, "Search for update"},
                                                               {0, "--"},
                                                               {13, "Preferences"},
                                                               {0, "--"},
                                                               {20, "About"}};
    EXPECT_EQ(shown, expected);

    // Only the current unit known: the submenu is there, empty, and still enabled.
    rig.global->knownIps.set(1, rig.global->deviceIp.get());
    rig.global->knownIpCount = 1;
    const auto change = itemsOf(menu().buildMenu())[2];
    EXPECT_TRUE(change.sub.empty());
    EXPECT_TRUE(change.enabled);

    choose(0);
    EXPECT_TRUE(desktopWindows<juce::AlertWindow>().empty());
    EXPECT_TRUE(menu().windows.isEmpty());
    EXPECT_EQ(rig.global->deviceIp.get(), "127.0.0.2");
    EXPECT_FALSE(rig.global->ipChanged.load());
}

TEST_F(MouseMenu, ChangeOffersTenOtherUnitsAndAChoiceConnectsIt)
{
    auto secondUnit = SyncRig::secondUnit();
    ASSERT_TRUE(secondUnit->start());
    auto& second = *secondUnit;

    // Twelve known units, the current one last: the first ten are offered.
    for (int n = 1; n <= 12; ++n)
        rig.global->knownIps.set(n, "127.0.0." + std::to_string(n == 12 ? 2 : n + 2));
    rig.global->knownIpCount = 12;
    const auto offeredNow = [&]
    {
        std::vector<std::pair<int, std::string>> offered;
        const auto items = itemsOf(menu().buildMenu());
        for (const auto& item : items[2].sub)
            offered.emplace_back(item.id, item.text);
        return offered;
    };
    auto offered = offeredNow();
    ASSERT_EQ(offered.size(), 10u);
    for (int n = 1; n <= 10; ++n)
        EXPECT_EQ(offered[(size_t)n - 1], std::make_pair(30 + n, "127.0.0." + std::to_string(n + 2)));

    // The current unit among them is left out, its id with it.
    rig.global->knownIps.set(3, "127.0.0.2");
    offered = offeredNow();
    EXPECT_EQ(offered.size(), 9u);
    EXPECT_TRUE(std::none_of(offered.begin(), offered.end(), [](auto& o) { return o.first == 33; }));

    choose(31);
    EXPECT_EQ(rig.global->deviceIp.get(), "127.0.0.3");
    ASSERT_TRUE(rig.global->isMaster.load());
    EXPECT_EQ(rig.global->takenIps.get(1), "127.0.0.3");
    EXPECT_NE(logText().find("21:::127.0.0.3:::"), std::string::npos);
    ASSERT_TRUE(until([&] { return rig.global->devicePort.load() == 7102; }));
    EXPECT_EQ(rig.global->deviceSerial.get(), "MORVAN0002");
    EXPECT_TRUE(until([&] { return rig.processor->isRunning(); }));
    // The panel now drives the second unit.
    rig.processor->setParameterNotifyingHost(3, 0.0f);
    EXPECT_TRUE(until(
        [&]
        {
            const auto heard = second.requests();
            return std::any_of(heard.begin(), heard.end(),
                               [](auto& line) { return line.find("/knob?") != std::string::npos; });
        }));
    second.stop();
}

TEST_F(MouseMenu, AddressWebPagePreferencesAndAboutOpenTheirWindows)
{
    choose(MousePopUpMenue::showAddressId);
    EXPECT_EQ(alertShown(), "IP address. 127.0.0.2 [OK]");
    closeAlerts();

    choose(MousePopUpMenue::openPageId);
    EXPECT_EQ(opened, std::vector<std::string>{"http://127.0.0.2"});

    choose(MousePopUpMenue::preferencesId);
    choose(MousePopUpMenue::preferencesId);
    const auto preferences = desktopWindows<Settings_Document>();
    ASSERT_EQ(preferences.size(), 2u);
    EXPECT_EQ(preferences[0]->getName(), "Morvane Preferences");
    EXPECT_EQ(preferences[0]->getBounds().getWidth(), 420);
    EXPECT_TRUE(preferences[0]->isAlwaysOnTop() && preferences[0]->isShowing());

    choose(MousePopUpMenue::aboutId);
    auto about = desktopWindows<AboutUs>();
    ASSERT_EQ(about.size(), 1u);
    EXPECT_EQ(about[0]->getName(), "About");
    EXPECT_EQ(about[0]->versionText, "Version : 2_3_10\n");
    EXPECT_EQ(about[0]->serialText, "Serial number : MORVAN0001");
    EXPECT_EQ(about[0]->closeButton.getBounds(), juce::Rectangle<int>(112, 256, 78, 24));
    EXPECT_TRUE(about[0]->logo.isValid() && about[0]->logo.getWidth() == 230 &&
                about[0]->logo.getHeight() == 80);
    // The serial is the one of the moment it opened; the title bar's close leaves it open.
    rig.global->deviceSerial = "MORVAN0777";
    about[0]->closeButtonPressed();
    TestEnvironment::pump(50);
    ASSERT_EQ(desktopWindows<AboutUs>().size(), 1u);
    EXPECT_EQ(about[0]->serialText, "Serial number : MORVAN0001");
    about[0]->closeButton.triggerClick();
    EXPECT_TRUE(until([] { return desktopWindows<AboutUs>().empty(); }, 2000));

    // Before any unit: no serial. The editor's end closes every window the menu opened.
    rig.global->deviceSerial = "";
    choose(MousePopUpMenue::aboutId);
    about = desktopWindows<AboutUs>();
    ASSERT_EQ(about.size(), 1u);
    EXPECT_EQ(about[0]->serialText, "Serial number : ");
    closeEditor();
    EXPECT_TRUE(desktopWindows<AboutUs>().empty());
    EXPECT_TRUE(desktopWindows<Settings_Document>().empty());
}

TEST_F(MouseMenu, TheManualUpdateCheckAnswersEveryReply)
{
    const auto check = [&](LocalListener::Mode mode, const std::string& reply)
    {
        closeAlerts();
        LocalListener server(mode, reply);
        CallHome::setBaseUrlForEveryCheck("http://127.0.0.1:" + std::to_string(server.port()));
        choose(MousePopUpMenue::updateId);
        EXPECT_FALSE(rig.global->callHomeRunning.load());
        until([] { return !desktopWindows<juce::AlertWindow>().empty(); }, 1000);
        return std::make_pair(server.requests(), alertShown());
    };
    using Mode = LocalListener::Mode;
    const auto offer =
        LocalListener::httpAnswer(R"({"version":"2_3_11","update":true,"link":"/dl/Morvane.pkg"})");

    const auto [requests, shown] = check(Mode::answer, offer);
    ASSERT_EQ(requests.size(), 1u);
    EXPECT_EQ(
        requests[0].rfind(std::string("GET /Plugin/") + UpdateServer::platformWord() + "/VAN0001/2_3_10 ", 0),
        0u)
        << requests[0];
    EXPECT_EQ(shown, "Plug-In update available. Do you want to download the latest version of the Plug-In? "
                     "[Download] [Cancel]");
    desktopWindows<juce::AlertWindow>()[0]->triggerButtonClick("Download");
    EXPECT_TRUE(until([&] { return !opened.empty(); }, 2000));
    EXPECT_EQ(opened, std::vector<std::string>{UpdateServer::productBase() + "/dl/Morvane.pkg"});

    const std::string unavailable = "Server is unavailable. Please check your internet connection [OK]";
    EXPECT_EQ(check(Mode::answer, LocalListener::httpAnswer("no such page", "404 Not Found")).second,
              unavailable);
    EXPECT_EQ(
        check(Mode::answer, LocalListener::httpAnswer(R"({"v":"2_3_404","update":true,"link":"/x"})")).second,
        unavailable);
    EXPECT_EQ(
        check(Mode::answer, LocalListener::httpAnswer(R"({"version":"2_3_10","update":false,"link":""})"))
            .second,
        "Perfect. you are on the latest version [OK]");
    EXPECT_EQ(check(Mode::answer, LocalListener::httpAnswer("garbage")).second,
              "Perfect. you are on the latest version [OK]");
    // No answer at all: nothing is said, and the message thread is free again.
    EXPECT_EQ(check(Mode::closeAtOnce, "").second, "0 alerts");
    // A serial too short for an identity: no request.
    rig.global->deviceSerial = "MO";
    const auto [none, silent] = check(Mode::answer, offer);
    EXPECT_TRUE(none.empty());
    EXPECT_EQ(silent, "0 alerts");
}

// One right click as the X server delivers it: the button is down by the pointer's real
// state. A left click, and a right click in the presets view, open nothing.
TEST_F(MouseMenu, ARealRightClickOpensTheMenuOutsideThePresetsView)
{
    auto* modal = juce::ModalComponentManager::getInstance();
    // On the frame, away from every control.
    const auto at = editor->getScreenPosition() + juce::Point<int>(12, 12);
    // The menu is dismissed before the button comes up, so the release can't choose an item.
    const auto clickWith = [&](int button)
    {
        EXPECT_TRUE(FakePointer::moveTo(at.x, at.y));
        TestEnvironment::pump(100);
        EXPECT_TRUE(FakePointer::button(button, true));
        const bool opened = until([&] { return modal->getNumModalComponents() > 0; }, 1500);
        const bool isMenu = opened && modal->getModalComponent(0)->isShowing() &&
                            dynamic_cast<juce::AlertWindow*>(modal->getModalComponent(0)) == nullptr;
        juce::PopupMenu::dismissAllActiveMenus();
        EXPECT_TRUE(until([&] { return modal->getNumModalComponents() == 0; }, 2000));
        FakePointer::button(button, false);
        TestEnvironment::pump(100);
        return opened && isMenu;
    };
    EXPECT_FALSE(clickWith(1));
    EXPECT_TRUE(clickWith(3));
    // The dismissal was served as nothing.
    EXPECT_FALSE(menu().menuPending);
    EXPECT_TRUE(menu().windows.isEmpty());
    EXPECT_TRUE(desktopWindows<juce::AlertWindow>().empty());

    goTo(30);
    EXPECT_FALSE(clickWith(3));
}
