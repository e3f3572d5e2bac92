#include "MouseMenue/MousePopUpMenue.h"

#include "CallHome/CallHome.h"
#include "CallHome/UpdateServer.h"
#include "Debug/Debug.h"
#include "GlobalData/GlobalData.h"
#include "GlobalData/Settings.h"
#include "MouseMenue/AboutUs.h"
#include "MouseMenue/SettingsDocument.h"

namespace
{
// The presets view has the browser's own menus.
constexpr int presetsView = 30;

void showUpdateAnswer(UpdateServer::Answer answer, const std::string& link)
{
    using Answer = UpdateServer::Answer;
    if (answer == Answer::unavailable)
    {
        juce::AlertWindow::showMessageBoxAsync(juce::MessageBoxIconType::InfoIcon, "Server is unavailable",
                                               "Please check your internet connection");
        return;
    }
    if (answer == Answer::latest)
    {
        juce::AlertWindow::showMessageBoxAsync(juce::MessageBoxIconType::InfoIcon, "Perfect",
                                               "you are on the latest version");
        return;
    }
    CallHome::downloadlink = link;
    juce::AlertWindow::showOkCancelBox(juce::MessageBoxIconType::NoIcon, "Plug-In update available",
                                       "Do you want to download the latest version of the Plug-In?",
                                       "Download", "Cancel", nullptr,
                                       new CallHome::ManuelUpdate_AlertWindowResultWorker());
}
} // namespace

MousePopUpMenue::MousePopUpMenue(juce::Component& owner, GlobalData* g, Settings* s, juce::Image logoImage)
    : global(g), settings(s), panel(owner), logo(std::move(logoImage))
{
    startTimer(20);
}

MousePopUpMenue::~MousePopUpMenue()
{
    stopTimer();
    for (auto& window : windows)
        delete window.getComponent();
}

void MousePopUpMenue::mouseDown(const juce::MouseEvent&)
{
    // The pointer's state now, not the event's copy of it.
    if (!juce::ModifierKeys::getCurrentModifiersRealtime().isRightButtonDown())
        return;
    if (global->viewState.load() == presetsView)
        return;
    // The menu may answer after this object has gone: then the answer is dropped.
    buildMenu().showMenuAsync(juce::PopupMenu::Options().withDeletionCheck(panel),
                              [menu = juce::WeakReference<MousePopUpMenue>(this)](int result)
                              {
                                  if (auto* self = menu.get())
                                      self->PopupMenuResult(result);
                              });
}

juce::PopupMenu MousePopUpMenue::buildMenu()
{
    const int known = juce::jlimit(0, maxUnits, global->knownIpCount.load());
    for (int n = 1; n <= maxUnits; ++n)
        ips[(size_t)n] = n <= known ? global->knownIps.get(n) : std::string();

    const auto device = global->deviceIp.get();
    juce::PopupMenu units;
    for (int n = 1; n <= known; ++n)
        if (ips[(size_t)n] != device)
            units.addItem(firstUnitId + n - 1, juce::String(ips[(size_t)n]));

    const juce::String product(settings->productFolder);
    juce::PopupMenu menu;
    menu.addSeparator();
    menu.addItem(showAddressId, "Show IP Adress");
    menu.addItem(openPageId, "Open " + product + " in browser");
    // Enabled also while empty: addSubMenu would grey out a submenu without entries.
    juce::PopupMenu::Item change("Change " + product);
    change.itemID = 0;
    change.subMenu = std::make_unique<juce::PopupMenu>(std::move(units));
    menu.addItem(std::move(change));
    menu.addSeparator();
    menu.addSeparator();
    menu.addItem(updateId, "Search for update");
    menu.addSeparator();
    menu.addItem(preferencesId, "Preferences");
    menu.addSeparator();
    menu.addItem(aboutId, "About");
    return menu;
}

void MousePopUpMenue::PopupMenuResult(int result)
{
    menuResult = result;
    menuPending = true;
}

void MousePopUpMenue::timerCallback()
{
    if (!menuPending)
        return;
    menuPending = false;
    serve(menuResult);
}

void MousePopUpMenue::serve(int id)
{
    if (id >= firstUnitId && id < firstUnitId + maxUnits)
        changeUnit(id - firstUnitId + 1);
    else if (id == showAddressId)
        showAddress();
    else if (id == openPageId)
        CallHome::openInBrowser("http://" + global->deviceIp.get());
    else if (id == updateId)
        searchForUpdate();
    else if (id == preferencesId)
        openPreferences();
    else if (id == aboutId)
        openAbout();
}

void MousePopUpMenue::showAddress()
{
    juce::AlertWindow::showMessageBoxAsync(juce::MessageBoxIconType::NoIcon, "IP address",
                                           juce::String(global->deviceIp.get()));
}

// Nothing is sent and nothing stored here: the processor's next tick takes the address over.
void MousePopUpMenue::changeUnit(int n)
{
    const auto ip = ips[(size_t)n];
    if (ip.empty())
        return;
    global->SetIp(ip);
    Debug::DebugLog(n + 20, juce::String(ip), __FILE__, __LINE__, settings->productFolder);
    // The other instances of the process see which unit the master holds.
    if (global->isMaster.load())
        global->takenIps.set(1, ip);
    global->ipChanged = true;
}

// The user's own check, on the message thread: the window stands still until the server
// answers, at most for the request's hard limit. Every outcome but no answer is told.
void MousePopUpMenue::searchForUpdate()
{
    const auto serial = global->deviceSerial.get();
    // The first three characters are the model: a shorter serial has no identity to ask for.
    if (serial.size() < 3)
        return;
    global->callHomeRunning = true;
    std::string reply;
    int result = UpdateServer::noStream;
    try
    {
        result = UpdateServer::fetch(CallHome::checkAddress(serial, settings->version), reply,
                                     [this] { return global->quitRequested.load(); });
    }
    catch (...)
    {
        // No thread for the request: as no stream.
    }
    global->callHomeRunning = false;
    if (result == UpdateServer::errorStatus)
    {
        showUpdateAnswer(UpdateServer::Answer::unavailable, {});
        return;
    }
    if (result != UpdateServer::received)
        return;
    std::string link;
    const auto answer = UpdateServer::readAnswer(reply, link);
    showUpdateAnswer(answer, link);
}

void MousePopUpMenue::openPreferences()
{
    auto* window = new Settings_Document(juce::String(settings->productFolder) + " Preferences",
                                         juce::Colours::white, juce::DocumentWindow::allButtons, global);
    showAtMouse(window, 420, 240);
}

void MousePopUpMenue::openAbout()
{
    auto* window = new AboutUs(settings->version, global->deviceSerial.get(), logo);
    showAtMouse(window, 300, 300);
    window->toFront(true);
}

// A fixed floating window at the mouse, above the host's, kept until the editor goes.
void MousePopUpMenue::showAtMouse(juce::DocumentWindow* window, int width, int height)
{
    keep(window);
    const auto at = juce::Desktop::getMousePosition();
    window->setBounds(at.x, at.y, width, height);
    window->setResizable(false, false);
    window->setUsingNativeTitleBar(true);
    window->setVisible(true);
    window->setAlwaysOnTop(true);
}

// Windows closed by the user leave empty pointers; they go when the next one comes.
void MousePopUpMenue::keep(juce::Component* window)
{
    windows.removeIf([](const juce::Component::SafePointer<juce::Component>& p) { return p == nullptr; });
    windows.add(window);
}
