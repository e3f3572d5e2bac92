#pragma once

#include <juce_gui_basics/juce_gui_basics.h>

#include <functional>
#include <string>

class PresetDatabase;

// One column of the preset browser: the entries of one folder level, folders first. A left
// click on a preset loads it, on a folder opens it in the next column; a right click offers
// the file operations. A table never lists anything itself: whatever needs a fresh listing
// is written into the store, and the panel serves it at its next tick, which may destroy
// this table. So every menu choice waits for the table's own timer, and every answer that
// comes later (a question) carries what it needs and checks that the store still lives.
class TableDemoComponent : public juce::Component,
                           public juce::TableListBoxModel,
                           public juce::KeyListener,
                           public juce::Timer
{
public:
    class EditableTextCustomComponent;

    TableDemoComponent(juce::String path, juce::StringArray names, juce::StringArray paths,
                       juce::String folderName, juce::StringArray flags, int level, float scale,
                       PresetDatabase* database);
    ~TableDemoComponent() override;

    int getNumRows() override;
    void paintRowBackground(juce::Graphics&, int row, int width, int height, bool selected) override;
    void paintCell(juce::Graphics&, int row, int column, int width, int height, bool selected) override;
    juce::Component* refreshComponentForCell(int row, int column, bool selected,
                                             juce::Component* existing) override;
    void selectedRowsChanged(int lastRowSelected) override;
    void backgroundClicked(const juce::MouseEvent&) override;
    void sortOrderChanged(int, bool) override {}
    int getColumnAutoSizeWidth(int) override { return 1; }
    bool keyPressed(const juce::KeyPress&, juce::Component*) override { return true; }
    void paint(juce::Graphics&) override {}
    void resized() override;

    // The rename of a row: the new name, the file renamed on disk, the folder listed anew.
    void setText(int row, int column, const juce::String& text);

    // The background menu, and the steps after it (see the class comment).
    juce::PopupMenu backgroundMenu() const;
    void backgroundClicked_Callback(int result);
    void BackgroundClicked_Run(int id);

    // Lets a test receive the menus instead of a window; an empty shower restores the window.
    using MenuShower =
        std::function<void(const juce::PopupMenu& menu, std::function<void(int result)> chosen)>;
    static void setMenuShower(MenuShower shower);

    // A menu choice waits for the table's timer.
    bool isChoicePending() const { return menuPending; }
    juce::TableListBox& getTable() { return table; }
    const juce::String& getPath() const { return path; }
    const juce::String& getFolderName() const { return folderName; }
    int getLevel() const { return level; }
    const juce::StringArray& getNames() const { return names; }
    PresetDatabase* getDatabase() const { return database; }
    float getScale() const { return scale; }

private:
    void timerCallback() override;
    bool isFolderRow(int row) const;

    juce::TableListBox table;
    int menuResult = 0;
    bool menuPending = false;
    juce::String path;
    juce::StringArray names;
    juce::StringArray paths;
    juce::String folderName;
    juce::StringArray flags;
    float scale = 0.0f;
    juce::Font font{14.0f};
    std::unique_ptr<juce::DrawableImage> folderIcon;
    int level = 0;
    PresetDatabase* database = nullptr;
    juce::PopupMenu menu;

    JUCE_DECLARE_NON_COPYABLE_WITH_LEAK_DETECTOR(TableDemoComponent)
};

// The name cell of a row: a label that opens its editor on a double click (the rename),
// or when the store marks its row, and that carries the row's menu.
class TableDemoComponent::EditableTextCustomComponent : public juce::Label, public juce::Timer
{
public:
    EditableTextCustomComponent(TableDemoComponent& owner, int level, PresetDatabase* database);
    ~EditableTextCustomComponent() override;

    // Called by the list at every refresh: the row may be another than before.
    void setRow(int row, int column, const juce::String& name, const juce::String& path,
                const juce::String& isFolder, bool mayChange);

    void mouseDown(const juce::MouseEvent&) override;
    void mouseUp(const juce::MouseEvent&) override {}
    void mouseDoubleClick(const juce::MouseEvent&) override;
    void textWasEdited() override;
    void paint(juce::Graphics&) override;

    juce::PopupMenu fileMenu() const;
    juce::PopupMenu folderMenu() const;
    void mouseDown_isFile_Callback(int result);
    void mouseDown_isFolder_Callback(int result);
    void mouseDown_isFile_Run(int id);
    void mouseDown_isFolder_Run(int id);

    // A menu choice waits for the cell's timer.
    bool isChoicePending() const { return filePending || folderPending; }
    int getRow() const { return row; }
    const juce::String& getPath() const { return path; }
    bool isFolderRow() const { return isFolder == "true"; }

private:
    void timerCallback() override;
    // Runs action on the user's own entries; on shared ones says why not.
    void ifChangeable(const std::function<void()>& action);

    juce::PopupMenu menu;
    int level = 0;
    PresetDatabase* database = nullptr;
    int folderResult = 0;
    bool folderPending = false;
    int fileResult = 0;
    bool filePending = false;
    juce::String isFolder;
    TableDemoComponent& owner;
    int row = -1;
    int column = 0;
    juce::String path;
    juce::String name;
    bool changeable = true;

    JUCE_DECLARE_NON_COPYABLE_WITH_LEAK_DETECTOR(EditableTextCustomComponent)
};
