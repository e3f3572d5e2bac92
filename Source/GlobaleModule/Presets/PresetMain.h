#pragma once

#include "Presets/PresetListing.h"
#include "Presets/TableDemoComponent.h"

#include <juce_gui_basics/juce_gui_basics.h>

#include <memory>
#include <string>

class GlobalData;
struct Settings;

// The presets view of the window: the browser's columns, the name field and Save. Its 40 ms
// tick is the one place where columns are built and where a pick becomes a load request
// for the processor; it talks to the processor only through flags of GlobalData. Three
// columns are in view; deeper folders scroll the view to the right, and the arrows beside
// the columns scroll it back.
class PresetMain : public juce::Component,
                   public juce::Timer,
                   public juce::Button::Listener,
                   public PresetListing
{
public:
    static constexpr int visibleColumns = 3;

    PresetMain(Settings* settings, GlobalData* global);
    ~PresetMain() override;

    void paint(juce::Graphics&) override;
    void resized() override;
    void buttonClicked(juce::Button*) override;
    void timerCallback() override;

    // The window's size factor; the editor hands it over at every layout.
    void setScale(float newScale);
    float getScale() const { return scale; }

    // The column of a level, null when none was built; and whether it is in view now.
    TableDemoComponent* getTable(int level) const;
    bool isShown(int level) const;
    // The level shown in the leftmost column.
    int getFirstShownLevel() const { return firstShownLevel; }
    void scrollColumns(int by);

    juce::TextEditor& getNameEditor() { return nameEditor; }
    juce::Button& getSaveButton() { return saveButton; }

private:
    int px(float coordinate) const;
    void hideDeeperTables();
    void servePick();
    void serveSaved();
    void serveReopen();
    void openFolder(const std::string& folder, int level);
    void pickFile(const std::string& file);
    // Tells that path is gone and lists the nearest folder above it that is left; parentLevel
    // is the level its folder is listed from.
    void refuseVanished(const std::string& path, int parentLevel);
    TableDemoComponent* buildTable(int level, const std::string& folder);
    void keepInView(int level);
    void placeTables();
    void save();

    GlobalData* global = nullptr;
    Settings* settings = nullptr;
    float scale = 0.0f;
    int columnX[visibleColumns] = {7, 170, 340};
    std::unique_ptr<juce::DrawableImage> background;
    juce::TextEditor nameEditor;
    juce::TextButton saveButton;
    juce::TextButton scrollLeft{"<"};
    juce::TextButton scrollRight{">"};
    std::unique_ptr<TableDemoComponent> tables[levelCount];
    // The deepest level that is open (not hidden by a shallower click), and the view's left.
    int openDepth = 0;
    int firstShownLevel = 0;

    JUCE_DECLARE_NON_COPYABLE_WITH_LEAK_DETECTOR(PresetMain)
};
