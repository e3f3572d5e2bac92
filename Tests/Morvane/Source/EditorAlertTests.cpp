// The questions of the window on a real display (Xvfb) against simulated units in the studio
// network: which unit to take, and whether to download an update.
#include "CallHome/CallHome.h"
#include "CallHome/UpdateServer.h"
#include "GlobalData/GlobalData.h"
#include "LocalListener.h"
#include "MyAlertWindow.h"
#include "PluginCommunication/PluginCommunication.h"
#include "PluginEditor.h"
#include "Studio.h"

#include <arpa/inet.h>

#include <chrono>
#include <cstdio>

// Xlib's own header clashes with the framework's names; this one call is all the test needs.
extern "C"
{
    using XErrorHandler = int (*)(void* display, void* event);
    XErrorHandler XSetErrorHandler(XErrorHandler handler);
}

namespace
{
// A harmless X error (a window gone a moment early) must not end the run.
int ignoreXError(void*, void*)
{
    return 0;
}

bool until(const std::function<bool()>& done, int timeoutMs = 15000)
{
    return TestEnvironment::pumpUntil(done, timeoutMs);
}

// A simulated unit's MAC: 02:4d:56 and the last three bytes of its address.
std::string macOf(morvane::sim::Unit& unit)
{
    const uint32_t host = ntohl(inet_addr(unit.config().address.c_str()));
    char text[32];
    std::snprintf(text, sizeof text, "02:4d:56:%02x:%02x:%02x", (host >> 16) & 0xffu, (host >> 8) & 0xffu,
                  host & 0xffu);
    return text;
}

std::vector<std::string> itemsOf(juce::AlertWindow& window)
{
    std::vector<std::string> items;
    if (auto* box = window.getComboBoxComponent("device"))
        for (int i = 0; i < box->getNumItems(); ++i)
            items.push_back(box->getItemText(i).toStdString());
    return items;
}

// Picks entry `index` of the list and presses the button, as the user does.
void answer(juce::AlertWindow& window, int index, const juce::String& button)
{
    if (auto* box = window.getComboBoxComponent("device"))
        box->setSelectedItemIndex(index, juce::dontSendNotification);
    window.triggerButtonClick(button);
}

class Alerts : public StudioCase
{
protected:
    void SetUp() override
    {
        StudioCase::SetUp();
        XSetErrorHandler(ignoreXError);
        PluginCommunication::setChoiceLimitMs(60000);
    }
    void TearDown() override
    {
        editors.clear();
        while (!processors.empty())
            processors.pop_back();
        CallHome::setBaseUrlForEveryCheck({});
        CallHome::setOpenHook({});
    }

    MorvaneProcessor* open()
    {
        processors.push_back(std::make_unique<MorvaneProcessor>());
        return processors.back().get();
    }
    MorvaneEditor* openEditor(MorvaneProcessor* p)
    {
        auto& editor = editors[p];
        editor.reset(static_cast<MorvaneEditor*>(p->createEditor()));
        editor->addToDesktop(juce::ComponentPeer::windowHasTitleBar);
        editor->setVisible(true);
        return editor.get();
    }
    void closeEditor(MorvaneProcessor* p) { editors.erase(p); }
    static GlobalData* g(MorvaneProcessor* p) { return p->getGlobalData(); }

    // A master that runs on unit 1 with the window open.
    MorvaneEditor* masterOnUnitOne(int units)
    {
        startUnits(units);
        Studio::storeIp(1, Studio::address(1));
        master = open();
        if (!until([&] { return master->isRunning(); }, 20000))
            return nullptr;
        return openEditor(master);
    }
    // The state a search leaves behind when the choice is the user's.
    void awaitAnswer(MorvaneProcessor* p, const std::vector<int>& offered)
    {
        auto* global = g(p);
        global->connected = false;
        global->deviceFinderBusy = true;
        global->deviceFinderRunning = 1;
        global->alertIps.clear();
        for (size_t i = 0; i < offered.size(); ++i)
        {
            global->alertIps.set((int)i + 1, Studio::address(offered[i]));
            global->knownNames.set((int)i + 1, Studio::serial(offered[i]));
            global->wrongSerialNames.set((int)i, "Unit " + std::to_string(offered[i]));
        }
        global->alertIpCount = (int)offered.size();
    }
    // Units 2 and 3 offered in the list of units with other serials, asked on the IP page.
    bool askAmongOtherUnitsOnTheIpPage(MorvaneEditor* editor)
    {
        awaitAnswer(master, {2, 3});
        g(master)->viewState = 5;
        g(master)->viewDirty = true;
        if (!until([&] { return editor->getRuntime() == 5; }))
            return false;
        g(master)->alertManyOthers = true;
        return until([&] { return editor->wrongSerialAlertWindow != nullptr; });
    }
    bool macShown(MorvaneEditor* editor, morvane::sim::Unit& unit)
    {
        const auto mac = macOf(unit);
        return until(
            [&]
            {
                for (size_t p = 0; p < 6; ++p)
                {
                    const std::string text{mac[3 * p], ' ', mac[3 * p + 1]};
                    if (editor->macLabelsTop[p].getText() != juce::String(text) ||
                        editor->macLabelsBottom[p].getText() != juce::String(text))
                        return false;
                }
                return true;
            },
            10000);
    }

    MorvaneProcessor* master = nullptr;
    std::vector<std::unique_ptr<MorvaneProcessor>> processors;
    std::map<MorvaneProcessor*, std::unique_ptr<MorvaneEditor>> editors;
};
} // namespace

// The list questions: the flag decides the title, the message, the list and the buttons.
// Both list windows can be open together; a held-units question replaces an unanswered one.
TEST_F(Alerts, EachListQuestionOpensForItsFlagWithItsTexts)
{
    auto* editor = masterOnUnitOne(3);
    ASSERT_NE(editor, nullptr);
    ASSERT_TRUE(until([&] { return !editor->isLoadingImages(); }));
    awaitAnswer(master, {2, 3});
    g(master)->alertManyOthers = true;
    g(master)->alertMoreThenOne = true;
    ASSERT_TRUE(until([&] { return editor->moreThenOneAlertWindow != nullptr; }));
    auto& many = *editor->moreThenOneAlertWindow;
    EXPECT_EQ(many.getDescription(),
              "More then one device found. More then one device was found, please choose one");
    EXPECT_EQ(itemsOf(many), (std::vector<std::string>{Studio::address(2), Studio::address(3)}));
    EXPECT_EQ(many.getNumButtons(), 1);
    EXPECT_TRUE(many.isCurrentlyModal(false));

    ASSERT_NE(editor->wrongSerialAlertWindow, nullptr);
    auto& others = *editor->wrongSerialAlertWindow;
    EXPECT_EQ(others.getDescription(), "Where is my Morvane. The Morvane which you normally take couldn't be "
                                       "found, but there are were more than those found. Do you want to "
                                       "connect with one of them? ");
    EXPECT_EQ(itemsOf(others), (std::vector<std::string>{
                                   "Device Name : Unit 2 Serial : MORVAN0012 Ip : " + Studio::address(2),
                                   "Device Name : Unit 3 Serial : MORVAN0013 Ip : " + Studio::address(3)}));
    EXPECT_EQ(others.getNumButtons(), 2);
    EXPECT_TRUE(g(master)->alertOpen.load());

    // The question about held units takes the place of the unanswered one.
    const auto* before = editor->moreThenOneAlertWindow.get();
    g(master)->alertAllOccupied = true;
    ASSERT_TRUE(until([&] { return editor->moreThenOneAlertWindow.get() != before; }));
    EXPECT_EQ(
        editor->moreThenOneAlertWindow->getDescription(),
        "More then one device found. All Morvane are occupied, but if u want u can connect again on one "
        "of these :");
    TestEnvironment::pump(200);
    EXPECT_FALSE(editor->moreThenOneResultSet) << "the replaced window's end is no answer";
    EXPECT_TRUE(g(master)->alertOpen.load());

    // An empty list still asks.
    g(master)->alertIpCount = 0;
    g(master)->alertMoreThenOne = true;
    ASSERT_TRUE(until([&] { return itemsOf(*editor->moreThenOneAlertWindow).empty(); }));
    answer(*editor->moreThenOneAlertWindow, 0, "OK");
    ASSERT_TRUE(until([&] { return editor->moreThenOneResultSet; }));
    EXPECT_FALSE(g(master)->connected.load()) << "nothing chosen from an empty list";
}

// OK in the list: the chosen unit is the stored one, connected, followed, its MAC shown.
TEST_F(Alerts, OkInTheListConnectsTheChosenUnitAndStoresIt)
{
    auto* editor = masterOnUnitOne(3);
    ASSERT_NE(editor, nullptr);
    ASSERT_TRUE(until([&] { return editor->getRuntime() == 4; }));
    ASSERT_TRUE(askAmongOtherUnitsOnTheIpPage(editor));
    answer(*editor->wrongSerialAlertWindow, 1, "OK");
    ASSERT_TRUE(until([&] { return !g(master)->alertOpen.load(); }));
    EXPECT_EQ(editor->wrongSerialResult, 1);
    EXPECT_EQ(std::make_tuple(g(master)->deviceIp.get(), g(master)->deviceSerial.get(),
                              g(master)->connected.load(), g(master)->deviceFinderBusy.load(),
                              g(master)->deviceFinderRunning.load()),
              std::make_tuple(Studio::address(3), Studio::serial(3), true, false, 0));
    EXPECT_EQ(Studio::file(1, "IP.txt"), Studio::address(3));
    EXPECT_NE(Studio::file(1, "GuiSettings.txt").find("Serial = " + Studio::serial(3) + ";"),
              std::string::npos);
    EXPECT_TRUE(until([&] { return editor->wrongSerialAlertWindow == nullptr; }, 2000))
        << "deleted once dismissed";

    // The loop takes the new unit over, and the window shows its panel and its MAC.
    EXPECT_TRUE(until([&] { return master->isRunning() && g(master)->devicePort.load() == 7003; }, 20000));
    unit(3).command("turn 3 900 0");
    EXPECT_TRUE(until([&] { return std::fabs(editor->knobs[3]->getValue() - 900.0 / 1023.0) < 0.002; }));
    EXPECT_TRUE(until([&] { return editor->getRuntime() == 4; }));
    EXPECT_TRUE(macShown(editor, unit(3)));
}

// Cancel leaves address and serial alone and shows the IP page.
TEST_F(Alerts, CancelInTheListLeavesTheStoredUnitAndShowsTheIpPage)
{
    auto* editor = masterOnUnitOne(3);
    ASSERT_NE(editor, nullptr);
    ASSERT_TRUE(until([&] { return editor->getRuntime() == 4; }));
    const auto files = std::make_pair(Studio::file(1, "IP.txt"), Studio::file(1, "GuiSettings.txt"));
    ASSERT_TRUE(askAmongOtherUnitsOnTheIpPage(editor));
    answer(*editor->wrongSerialAlertWindow, 1, "Cancel");
    ASSERT_TRUE(until([&] { return editor->wrongSerialResultSet; }));
    EXPECT_EQ(std::make_tuple(editor->wrongSerialResult, g(master)->alertOpen.load(),
                              g(master)->connected.load(), g(master)->deviceFinderBusy.load()),
              std::make_tuple(0, false, false, false));
    EXPECT_EQ(std::make_pair(g(master)->deviceIp.get(), g(master)->deviceSerial.get()),
              std::make_pair(Studio::address(1), Studio::serial(1)));
    EXPECT_EQ(std::make_pair(Studio::file(1, "IP.txt"), Studio::file(1, "GuiSettings.txt")), files);
    EXPECT_TRUE(until([&] { return editor->getRuntime() == 5; }));
}

// One unit with another serial: the friend question at the mouse; Ok makes it the stored one.
TEST_F(Alerts, TheOtherUnitQuestionTakesTheOneFoundOnOk)
{
    startUnits(1);
    TestEnvironment::writeFile(SettingsPaths::makeFolders("Morvane/1") + "/GuiSettings.txt",
                               defaultGuiSettings("MORVAN9999"));
    master = open();
    ASSERT_TRUE(until([&] { return g(master)->alertOneOther.load(); }, 20000));
    auto* editor = openEditor(master);
    ASSERT_TRUE(until([&] { return editor->oneOtherWindow != nullptr; }));
    auto* window = editor->oneOtherWindow.getComponent();
    EXPECT_EQ(window->getName(), "Where is my Friend?");
    EXPECT_EQ(window->getMessage(),
              "The Morvane which you normally use couldn't be found, but another Morvane "
              "was found. Do you want to connect to this one?");
    EXPECT_EQ(std::make_tuple(window->getWidth(), window->getHeight(), window->isAlwaysOnTop(),
                              window->isShowing()),
              std::make_tuple(300, 160, true, true));
    EXPECT_TRUE(g(master)->alertOpen.load());
    EXPECT_TRUE(until([&] { return editor->getRuntime() == 2; })) << "the search waits for the answer";

    window->getOkButton().triggerClick();
    ASSERT_TRUE(until([&] { return editor->oneOtherWindow == nullptr; }));
    EXPECT_EQ(std::make_tuple(g(master)->deviceIp.get(), g(master)->deviceSerial.get(),
                              g(master)->connected.load(), g(master)->alertOpen.load()),
              std::make_tuple(Studio::address(1), Studio::serial(1), true, false));
    EXPECT_EQ(Studio::file(1, "IP.txt"), Studio::address(1));
    EXPECT_NE(Studio::file(1, "GuiSettings.txt").find("Serial = " + Studio::serial(1)), std::string::npos);
    EXPECT_TRUE(until([&] { return master->isRunning(); }, 20000));
    EXPECT_TRUE(until([&] { return editor->getRuntime() == 4; }));
    EXPECT_TRUE(macShown(editor, unit(1)));
    const auto log = Studio::log();
    EXPECT_LT(log.find("0:::Delete my altert window:::"), log.find("0:::Delte my alert window done:::"));
}

// A slave offered three units asks the user, also when its window opens only later, and
// after a window closed with the question open; the answer reaches the master as message 5.
TEST_F(Alerts, ASlaveOfferedThreeUnitsAsksAndReportsTheChoice)
{
    auto* editor = masterOnUnitOne(4);
    ASSERT_NE(editor, nullptr);
    ASSERT_TRUE(until([&] { return g(master)->freeIpCount.load() == 3; }, 20000));
    auto* slave = open();
    ASSERT_TRUE(until([&] { return g(slave)->alertMoreThenOne.load(); }, 15000));
    TestEnvironment::pump(300);
    EXPECT_TRUE(g(slave)->alertMoreThenOne.load()) << "no window yet: the question waits";

    auto* first = openEditor(slave);
    ASSERT_TRUE(until([&] { return first->moreThenOneAlertWindow != nullptr; }));
    EXPECT_EQ(itemsOf(*first->moreThenOneAlertWindow).size(), 3u);
    closeEditor(slave);
    EXPECT_TRUE(g(slave)->alertMoreThenOne.load() && g(slave)->alertOpen.load()) << "handed on";

    auto* second = openEditor(slave);
    ASSERT_TRUE(until([&] { return second->moreThenOneAlertWindow != nullptr; }));
    const auto chosen = g(slave)->alertIps.get(3);
    answer(*second->moreThenOneAlertWindow, 2, "OK");
    EXPECT_TRUE(until([&] { return g(master)->takenIps.get(2) == chosen; }, 10000));
    EXPECT_FALSE(second->moreThenOneAlertWindow->isVisible()) << "answered questions go";
    EXPECT_EQ(g(slave)->deviceIp.get(), chosen);
    EXPECT_EQ(Studio::file(2, "IP.txt"), chosen);
    EXPECT_TRUE(until([&] { return slave->isRunning(); }, 20000));
    EXPECT_TRUE(until([&] { return second->getRuntime() == 4; }));
}

// Nobody answers in time: the slave keeps its stored unit and asks again, and the question
// waits for the window that opens later.
TEST_F(Alerts, AnUnansweredQuestionKeepsTheStoredUnitAndTheSlaveAsksAgain)
{
    auto* editor = masterOnUnitOne(4);
    ASSERT_NE(editor, nullptr);
    ASSERT_TRUE(until([&] { return g(master)->freeIpCount.load() == 3; }, 20000));
    const std::string gone = "10.77.0.99";
    Studio::storeIp(2, gone);
    PluginCommunication::setChoiceLimitMs(800);
    auto* slave = open();
    const auto logged = [](const std::string& line)
    {
        return until([&] { return Studio::log("PluginCommunication").find(line) != std::string::npos; },
                     15000);
    };
    ASSERT_TRUE(logged("No choice of a device"));
    PluginCommunication::setChoiceLimitMs(60000);
    ASSERT_TRUE(logged("Ask again for a device"));
    EXPECT_EQ(std::make_pair(Studio::file(2, "IP.txt"), g(slave)->connected.load()),
              std::make_pair(gone, false));
    ASSERT_TRUE(until([&] { return g(slave)->alertMoreThenOne.load() && g(slave)->alertOpen.load(); }));

    auto* window = openEditor(slave);
    ASSERT_TRUE(until([&] { return window->moreThenOneAlertWindow != nullptr; }));
    TestEnvironment::pump(300);
    const auto chosen = g(slave)->alertIps.get(1);
    answer(*window->moreThenOneAlertWindow, 0, "OK");
    EXPECT_TRUE(until([&] { return g(master)->takenIps.get(2) == chosen; }, 10000));
    EXPECT_EQ(Studio::file(2, "IP.txt"), chosen);
}

// The editor's update check: asked once on a due day; OK opens the link; closing the window
// in the middle of a request does not wait for the server.
TEST_F(Alerts, TheUpdateQuestionAsksOnceADayAndClosingMidRequestIsQuick)
{
    startUnits(1);
    Studio::storeIp(1, Studio::address(1));
    master = open();
    ASSERT_TRUE(until([&] { return master->isRunning(); }, 20000));
    const std::string body = R"({"version":"9_0_0","update":true,"link":"/downloads/Morvane_9_0_0.pkg"})";
    std::vector<std::string> opened;
    CallHome::setOpenHook([&opened](const std::string& address) { opened.push_back(address); });
    {
        LocalListener server(LocalListener::Mode::answer, LocalListener::httpAnswer(body));
        CallHome::setBaseUrlForEveryCheck("http://127.0.0.1:" + std::to_string(server.port()));
        openEditor(master);
        auto* question = dynamic_cast<juce::AlertWindow*>(juce::Component::getCurrentlyModalComponent());
        ASSERT_TRUE(until(
            [&]
            {
                question = dynamic_cast<juce::AlertWindow*>(juce::Component::getCurrentlyModalComponent());
                return question != nullptr;
            }));
        EXPECT_EQ(question->getName(), "Plug-in update available");
        question->triggerButtonClick("OK");
        ASSERT_TRUE(until([&] { return !opened.empty(); }));
        EXPECT_EQ(opened,
                  std::vector<std::string>{UpdateServer::productBase() + "/downloads/Morvane_9_0_0.pkg"});
        EXPECT_EQ(CallHome::downloadlink.get(), "/downloads/Morvane_9_0_0.pkg");
        closeEditor(master);
        openEditor(master);
        TestEnvironment::pump(1500);
        EXPECT_EQ(server.requests().size(), 1u) << "one check a day";
        EXPECT_EQ(juce::Component::getCurrentlyModalComponent(), nullptr);
        closeEditor(master);
    }

    ::unlink(CallHome::settingsFile().c_str());
    LocalListener silent(LocalListener::Mode::neverAnswer);
    CallHome::setBaseUrlForEveryCheck("http://127.0.0.1:" + std::to_string(silent.port()));
    openEditor(master);
    ASSERT_TRUE(until([&] { return silent.requests().size() == 1; }, 5000));
    const auto start = std::chrono::steady_clock::now();
    closeEditor(master);
    const double seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    std::printf("closing the window mid-request took %.3f s\n", seconds);
    EXPECT_LT(seconds, 0.2);
}
