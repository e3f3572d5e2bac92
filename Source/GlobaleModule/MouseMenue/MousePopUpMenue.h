#pragma once

#include <juce_gui_basics/juce_gui_basics.h>

#include <array>
#include <string>

class GlobalData;
struct Settings;

// The right-click menu of the panel: the unit's address and web page, the change to another
// known unit, the manual update check, the preferences and the about window. The popup's
// callback only stores the choice; the timer serves it once the menu has gone.
class MousePopUpMenue : public juce::MouseListener, public juce::Timer
{
public:
    // Ids of the menu.
    static constexpr int showAddressId = 8;
    static constexpr int openPageId = 9;
    static constexpr int updateId = 12;
    static constexpr int preferencesId = 13;
    static constexpr int aboutId = 20;
    static constexpr int firstUnitId = 31; // + n - 1 for ips[n]
    static constexpr int maxUnits = 10;

    // panel: the window the menu belongs to; a menu still open when it goes is dismissed.
    // logo: the maker's logo for the about window (230 x 80).
    MousePopUpMenue(juce::Component& panel, GlobalData* global, Settings* settings, juce::Image logo);
    // Closes every window it opened: none of them may outlive the GlobalData it points to.
    ~MousePopUpMenue() override;

    void mouseDown(const juce::MouseEvent& event) override;
    void timerCallback() override;
    void openPreferences();
    // The popup's callback: the result waits for the timer.
    void PopupMenuResult(int result);
    // The menu as it opens now; copies the known units into ips.
    juce::PopupMenu buildMenu();

    bool menuPending = false;
    int menuResult = 0;
    GlobalData* global;
    Settings* settings;
    std::array<std::string, maxUnits + 1> ips;
    juce::Array<juce::Component::SafePointer<juce::Component>> windows;

private:
    void serve(int id);
    void showAddress();
    void changeUnit(int n);
    void searchForUpdate();
    void openAbout();
    void showAtMouse(juce::DocumentWindow* window, int width, int height);
    void keep(juce::Component* window);

    juce::Component& panel;
    juce::Image logo;

    JUCE_DECLARE_WEAK_REFERENCEABLE(MousePopUpMenue)
    JUCE_DECLARE_NON_COPYABLE(MousePopUpMenue)
};
