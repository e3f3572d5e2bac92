// The alerts that ask which unit to use. Searches and the hand-out raise flags on their
// threads; the tick opens the alert here. Every alert is a window of its own, modal only
// through the framework's asynchronous callbacks: the host's message thread never waits.
#include "PluginEditor.h"

#include "GlobalData/GlobalData.h"
#include "MyAlertWindow.h"
#include "TCPIP/TCPIP.h"

void AlertMoreThenOneDevice_Callback::operator()(int result) const
{
    if (editor != nullptr)
        editor->moreThenOneAnswered(result, ticket);
}

void AlertWrongSerialMoreDevices_Callback::operator()(int result) const
{
    if (editor != nullptr)
        editor->wrongSerialAnswered(result, ticket);
}

void MorvaneEditor::checkAlert()
{
    if (global->alertMoreThenOne.exchange(false))
        openListAlert(ListAlert::moreThenOne);
    if (global->alertManyOthers.exchange(false))
        openListAlert(ListAlert::manyOthers);
    if (global->alertOneOther.exchange(false))
        openOneOtherAlert();
    if (global->alertAllOccupied.exchange(false))
        openListAlert(ListAlert::allOccupied);
}

namespace
{
juce::String productName(const GlobalSettings* settings)
{
    return juce::String::fromUTF8(settings->productFolder.c_str());
}
} // namespace

juce::String MorvaneEditor::alertTitle(ListAlert kind) const
{
    if (kind == ListAlert::manyOthers)
        return "Where is my " + productName(settings);
    return "More then one device found";
}

juce::String MorvaneEditor::alertMessage(ListAlert kind) const
{
    const auto p = productName(settings);
    if (kind == ListAlert::moreThenOne)
        return "More then one device was found, please choose one";
    if (kind == ListAlert::manyOthers)
        return "The " + p +
               " which you normally take couldn't be found, but there are were more than those found. Do "
               "you want to connect with one of them? ";
    return "All " + p + " are occupied, but if u want u can connect again on one of these :";
}

// The units as the window shows them. The broadcast of the master's watch may rewrite
// alertIps while the question is open: the answer takes what the user saw.
MorvaneEditor::ListChoice MorvaneEditor::takeChoice(ListAlert kind) const
{
    ListChoice choice;
    const bool master = global->isMaster.load();
    const int count = juce::jlimit(0, IpList::size - 1, global->alertIpCount.load());
    for (int i = 1; i <= count; ++i)
    {
        choice.ips.push_back(global->alertIps.get(i));
        choice.serials.push_back(master ? global->knownNames.get(i) : global->offerSerials.get(i));
        choice.names.push_back(global->wrongSerialNames.get(i - 1));
    }
    choice.kind = kind;
    return choice;
}

// One entry per address: the addresses alone, or for units with other serials what tells
// them apart.
juce::StringArray MorvaneEditor::alertList(const ListChoice& choice) const
{
    juce::StringArray list;
    for (size_t i = 0; i < choice.ips.size(); ++i)
    {
        std::string entry = choice.ips[i];
        if (choice.kind == ListAlert::manyOthers && global->isMaster.load())
            entry = "Device Name : " + choice.names[i] + " Serial : " + choice.serials[i] + " Ip : " + entry;
        else if (choice.kind == ListAlert::manyOthers && !choice.serials[i].empty())
            entry = choice.serials[i];
        list.add(juce::String::fromUTF8(entry.c_str()));
    }
    return list;
}

std::unique_ptr<juce::AlertWindow> MorvaneEditor::makeListAlert(const ListChoice& choice)
{
    const auto kind = choice.kind;
    auto window = std::make_unique<juce::AlertWindow>(alertTitle(kind), alertMessage(kind),
                                                      juce::MessageBoxIconType::NoIcon, nullptr);
    if (kind == ListAlert::moreThenOne)
        window->setLookAndFeel(alertLook.get());
    else if (kind == ListAlert::manyOthers)
        window->setLookAndFeel(wrongSerialLook.get());
    window->addComboBox("device", alertList(choice), "");
    window->addButton("OK", 1, juce::KeyPress(juce::KeyPress::returnKey));
    if (kind == ListAlert::manyOthers)
        window->addButton("Cancel", 0, juce::KeyPress(juce::KeyPress::escapeKey));
    return window;
}

void MorvaneEditor::openListAlert(ListAlert kind)
{
    global->alertOpen = true;
    const int ticket = ++alertTickets;
    if (kind == ListAlert::manyOthers)
    {
        // The window before goes first: it still uses the look that is replaced.
        wrongSerialAlertWindow.reset();
        wrongSerialLook = std::make_unique<juce::LookAndFeel_V3>();
        wrongSerialChoice = takeChoice(kind);
        wrongSerialAlertWindow = makeListAlert(wrongSerialChoice);
        wrongSerialTicket = ticket;
        wrongSerialAlertWindow->enterModalState(
            true, juce::ModalCallbackFunction::create(AlertWrongSerialMoreDevices_Callback{this, ticket}),
            false);
        return;
    }
    // A new question replaces an unanswered one: its callback finds the ticket gone.
    moreThenOneChoice = takeChoice(kind);
    moreThenOneAlertWindow = makeListAlert(moreThenOneChoice);
    moreThenOneTicket = ticket;
    if (kind == ListAlert::moreThenOne)
        moreThenOneAlertWindow->enterModalState(
            true, juce::ModalCallbackFunction::create(AlertMoreThenOneDevice_Callback{this, ticket}), false);
    else
        moreThenOneAlertWindow->enterModalState(
            true, juce::ModalCallbackFunction::create(AlertWrongSerialMoreDevices_Callback{this, ticket}),
            false);
}

void MorvaneEditor::moreThenOneAnswered(int result, int ticket)
{
    if (ticket != moreThenOneTicket || moreThenOneAlertWindow == nullptr)
        return;
    moreThenOneResult = result;
    moreThenOneResultSet = true;
    moreThenOneTicket = 0;
    takeListAnswer(moreThenOneChoice, result, selectedIndex(*moreThenOneAlertWindow));
    // Kept until the next question replaces it.
    moreThenOneAlertWindow->setVisible(false);
}

// Serves the list of other serials and the list of held units alike: the ticket tells which.
void MorvaneEditor::wrongSerialAnswered(int result, int ticket)
{
    if (ticket == moreThenOneTicket && moreThenOneAlertWindow != nullptr)
    {
        wrongSerialResult = result;
        wrongSerialResultSet = true;
        moreThenOneTicket = 0;
        takeListAnswer(moreThenOneChoice, result, selectedIndex(*moreThenOneAlertWindow));
        moreThenOneAlertWindow->setVisible(false);
        return;
    }
    if (ticket != wrongSerialTicket || wrongSerialAlertWindow == nullptr)
        return;
    wrongSerialResult = result;
    wrongSerialResultSet = true;
    wrongSerialTicket = 0;
    takeListAnswer(wrongSerialChoice, result, selectedIndex(*wrongSerialAlertWindow));
    wrongSerialAlertWindow->setVisible(false);
    // Deleted when dismissed, once the framework is done with it.
    juce::MessageManager::callAsync(
        [editor = juce::Component::SafePointer<MorvaneEditor>(this)]
        {
            if (editor != nullptr && editor->wrongSerialTicket == 0)
                editor->wrongSerialAlertWindow.reset();
        });
}

int MorvaneEditor::selectedIndex(juce::AlertWindow& window)
{
    auto* box = window.getComboBoxComponent("device");
    return box != nullptr ? box->getSelectedItemIndex() : -1;
}

void MorvaneEditor::takeListAnswer(const ListChoice& choice, int result, int index)
{
    if (result == 1 && index >= 0 && index < (int)choice.ips.size())
        takeListedUnit(choice, (size_t)index);
    else
        global->connected = false;
    global->SetDeviceFinderDone();
    global->deviceFinderRunning = 0;
    global->alertOpen = false;
    // Answered from the IP page: the search step shows the panel of the unit taken.
    if (runtime == 5 && global->connected.load())
        setView(2);
}

void MorvaneEditor::takeListedUnit(const ListChoice& choice, size_t entry)
{
    const std::string ip = choice.ips[entry];
    tcp->SetIP(ip);
    global->SetIp(ip);
    if (choice.kind == ListAlert::manyOthers)
    {
        global->deviceSerial = choice.serials[entry];
        global->safeGuiSettings();
    }
    // The loop takes the unit over: its serial (the lists of addresses alone name none) and
    // the port of its status stream.
    global->ipChanged = true;
    global->connected = true;
    global->checkMac = true;
}

void MorvaneEditor::openOneOtherAlert()
{
    const auto p = productName(settings);
    const juce::String message = "The " + p + " which you normally use couldn't be found, but another " + p +
                                 " was found. Do you want to connect to this one?";
    delete oneOtherWindow.getComponent();
    auto* window = new MyAlertWindow("Where is my Friend?", message, global, tcp, broadcast);
    oneOtherWindow = window;
    window->setAlwaysOnTop(true);
    window->setUsingNativeTitleBar(true);
    window->setResizable(false, false);
    const auto mouse = juce::Desktop::getInstance().getMainMouseSource().getScreenPosition().roundToInt();
    window->setBounds(mouse.x, mouse.y, MyAlertWindow::width, MyAlertWindow::height);
    window->setVisible(true);
    window->toFront(true);
    window->setAlwaysOnTop(true);
    global->alertOpen = true;
}

// An editor that closes with a question unanswered hands it on: the flag goes up again and
// the next editor asks. alertOpen stays up, so whoever waits for the answer goes on waiting.
void MorvaneEditor::handOnOpenAlerts()
{
    if (moreThenOneAlertWindow != nullptr && moreThenOneTicket != 0)
        (moreThenOneChoice.kind == ListAlert::moreThenOne ? global->alertMoreThenOne
                                                          : global->alertAllOccupied) = true;
    if (wrongSerialAlertWindow != nullptr && wrongSerialTicket != 0)
        global->alertManyOthers = true;
    if (oneOtherWindow != nullptr && !oneOtherWindow->isAnswered())
        global->alertOneOther = true;
    moreThenOneTicket = wrongSerialTicket = 0;
    moreThenOneAlertWindow.reset();
    wrongSerialAlertWindow.reset();
    delete oneOtherWindow.getComponent();
}
