#include "MyAlertWindow.h"

#include "Broadcast/Broadcast.h"
#include "Debug/Debug.h"
#include "GlobalData/GlobalData.h"
#include "TCPIP/TCPIP.h"

MyAlertWindow::MyAlertWindow(const juce::String& title, const juce::String& message, GlobalData* g, TCPIP* t,
                             Broadcast* b)
    : DocumentWindow(title, juce::Colours::white, juce::DocumentWindow::allButtons), global(g), tcp(t),
      broadcast(b)
{
    setLookAndFeel(&lookAndFeel);
    okButton.setButtonText(juce::translate("Ok"));
    cancelButton.setButtonText(juce::translate("Cancel"));
    for (auto* button : {&okButton, &cancelButton})
    {
        button->addListener(this);
        Component::addAndMakeVisible(button);
    }
    label.setText(message, juce::dontSendNotification);
    label.setFont(juce::Font(15.0f));
    label.setJustificationType(juce::Justification::centred);
    label.setEditable(false, false, false);
    Component::addAndMakeVisible(label);
}

MyAlertWindow::~MyAlertWindow()
{
    okButton.removeListener(this);
    cancelButton.removeListener(this);
    setLookAndFeel(nullptr);
}

void MyAlertWindow::paint(juce::Graphics& g)
{
    g.fillAll(juce::Colours::white);
}

void MyAlertWindow::resized()
{
    if (getWidth() != width || getHeight() != height)
    {
        setSize(width, height);
        return;
    }
    DocumentWindow::resized();
    // The buttons and the message sit below the title bar of a window without a native one.
    const auto area = getContentComponentBorder();
    okButton.setBounds(juce::Rectangle<int>(48, 96, 88, 32).translated(area.getLeft(), area.getTop()));
    cancelButton.setBounds(juce::Rectangle<int>(176, 96, 88, 32).translated(area.getLeft(), area.getTop()));
    label.setBounds(juce::Rectangle<int>(24, 0, 264, 104).translated(area.getLeft(), area.getTop()));
}

void MyAlertWindow::buttonClicked(juce::Button* button)
{
    if (answered)
        return;
    if (button == &okButton)
        takeOtherUnit();
    else if (button == &cancelButton)
        keepLooking();
    else
        return;
    closing();
}

// Closing by the title bar is a "no": the user is not left in front of a turning search.
void MyAlertWindow::closeButtonPressed()
{
    if (answered)
        return;
    keepLooking();
    closing();
}

// From now on this unit is the remembered one: address, serial and both files.
void MyAlertWindow::takeOtherUnit()
{
    const std::string ip = broadcast->lastIp.get();
    tcp->SetIP(ip);
    global->SetIp(ip);
    global->deviceSerial = broadcast->names.get(1);
    global->safeGuiSettings();
    // The loop takes the unit over, with the port of its status stream.
    global->ipChanged = true;
    global->connected = true;
    global->checkMac = true;
    global->SetDeviceFinderDone();
    global->deviceFinderRunning = 0;
    global->alertOpen = false;
}

void MyAlertWindow::keepLooking()
{
    global->connected = false;
    global->SetDeviceFinderDone();
    global->deviceFinderRunning = 0;
    global->alertOpen = false;
}

void MyAlertWindow::closing()
{
    answered = true;
    setVisible(false);
    juce::MessageManager::callAsync(
        [self = juce::Component::SafePointer<MyAlertWindow>(this)]
        {
            if (self == nullptr)
                return;
            const std::string folder = self->global->settings->productFolder;
            MORVANE_LOG(0, "Delete my altert window", folder);
            delete self.getComponent();
            MORVANE_LOG(0, "Delte my alert window done", folder);
        });
}
