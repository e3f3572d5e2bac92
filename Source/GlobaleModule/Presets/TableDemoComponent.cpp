#include "Presets/TableDemoComponent.h"

#include "Presets/PresetActions.h"
#include "Presets/PresetDatabase.h"
#include "Presets/PresetPictures.h"

namespace
{
int scaled(float length, float scale)
{
    return (int)(length * (1.0f + scale));
}

std::string bytes(const juce::String& text)
{
    return text.toStdString();
}

// Set and used on the message thread only.
TableDemoComponent::MenuShower& customShower()
{
    static TableDemoComponent::MenuShower shower;
    return shower;
}

// Shows the menu without waiting; the choice goes to store unless the component has gone.
template <typename Owner> void showMenu(juce::PopupMenu& menu, Owner* owner, void (Owner::*store)(int))
{
    juce::Component::SafePointer<Owner> safe(owner);
    auto chosen = [safe, store](int result)
    {
        if (auto* alive = safe.getComponent())
            (alive->*store)(result);
    };
    if (customShower())
        customShower()(menu, chosen);
    else
        menu.showMenuAsync(juce::PopupMenu::Options(), chosen);
}
} // namespace

TableDemoComponent::TableDemoComponent(juce::String folderPath, juce::StringArray entryNames,
                                       juce::StringArray entryPaths, juce::String title,
                                       juce::StringArray entryFlags, int tableLevel, float tableScale,
                                       PresetDatabase* store)
    : path(std::move(folderPath)), names(std::move(entryNames)), paths(std::move(entryPaths)),
      folderName(std::move(title)), flags(std::move(entryFlags)), scale(tableScale), level(tableLevel),
      database(store)
{
    table.setModel(this);
    auto& header = table.getHeader();
    const int dirWidth = scaled(15.0f, scale), nameWidth = scaled(125.0f, scale);
    header.addColumn("Dir", 1, dirWidth, dirWidth, dirWidth, juce::TableHeaderComponent::notSortable);
    header.addColumn(folderName, 2, nameWidth, nameWidth, nameWidth, juce::TableHeaderComponent::notSortable);
    header.setPopupMenuActive(false);
    table.setOutlineThickness(1);
    // The two columns are a little wider than the list; a scroll bar for that is only noise.
    table.getViewport()->setScrollBarsShown(true, false);
    table.setColour(juce::ListBox::outlineColourId, juce::Colours::grey);
    addAndMakeVisible(table);
    database->tableChanged = true;
    database->lastTableLevel = level;
    startTimer(40);
}

TableDemoComponent::~TableDemoComponent()
{
    stopTimer();
}

void TableDemoComponent::setMenuShower(MenuShower shower)
{
    customShower() = std::move(shower);
}

void TableDemoComponent::resized()
{
    table.setBoundsInset(juce::BorderSize<int>(8));
}

int TableDemoComponent::getNumRows()
{
    return names.size();
}

bool TableDemoComponent::isFolderRow(int row) const
{
    return flags[row] == "true";
}

void TableDemoComponent::paintRowBackground(juce::Graphics& g, int row, int, int, bool selected)
{
    const auto background = getLookAndFeel().findColour(juce::ListBox::backgroundColourId);
    if (selected)
        g.fillAll(juce::Colours::lightblue);
    else if (row % 2 != 0)
        g.fillAll(
            background.interpolatedWith(getLookAndFeel().findColour(juce::ListBox::textColourId), 0.03f));
}

void TableDemoComponent::paintCell(juce::Graphics& g, int row, int column, int width, int height, bool)
{
    g.setColour(getLookAndFeel().findColour(juce::ListBox::textColourId));
    g.setFont(font);
    if (column == 1 && isFolderRow(row) && folderIcon == nullptr)
        folderIcon = std::make_unique<juce::DrawableImage>(PresetPictures::folder());
    if (column == 1 && isFolderRow(row) && !folderIcon->getImage().isNull())
        folderIcon->drawWithin(g, {(float)scaled(4.0f, scale), scale + 2.0f, 15.0f, 15.0f},
                               juce::RectanglePlacement::centred, 1.0f);
    if (column == 2)
    {
        const int x = (int)(2.0f * scale + 10.0f);
        g.drawText(names[row], x, 0, width - 4, height, juce::Justification::centredLeft, true);
    }
    g.setColour(getLookAndFeel().findColour(juce::ListBox::backgroundColourId));
    g.fillRect(width - 1, 0, 1, height);
}

juce::Component* TableDemoComponent::refreshComponentForCell(int row, int column, bool selected,
                                                             juce::Component* existing)
{
    if (column != 2)
    {
        jassert(existing == nullptr);
        return nullptr;
    }
    auto* cell = static_cast<EditableTextCustomComponent*>(existing);
    if (cell == nullptr)
        cell = new EditableTextCustomComponent(*this, level, database);
    if (names[row] == database->reopenRowName)
        database->reopenRow = row;
    cell->setRow(row, column, names[row], paths[row], flags[row], database->mayChange(bytes(paths[row])));
    // Dark text on the light selection, whatever the look-and-feel's text colour.
    if (selected)
        cell->setColour(juce::Label::textColourId, juce::Colours::black);
    else
        cell->removeColour(juce::Label::textColourId);
    return cell;
}

void TableDemoComponent::selectedRowsChanged(int row)
{
    if (row < 0 || row >= names.size())
        return;
    database->pendingPath = bytes(paths[row]);
    if (isFolderRow(row))
    {
        database->pendingLevel = level;
        database->pendingIsFolder = true;
    }
    else
    {
        database->pendingIsFolder = false;
    }
    database->pendingSelection = true;
}

void TableDemoComponent::backgroundClicked(const juce::MouseEvent& event)
{
    database->currentFolder = bytes(path);
    if (!(event.mods.isRightButtonDown() && event.mods.withoutMouseButtons() == juce::ModifierKeys()))
        return;
    database->currentLevel = level;
    menu = backgroundMenu();
    showMenu(menu, this, &TableDemoComponent::backgroundClicked_Callback);
}

juce::PopupMenu TableDemoComponent::backgroundMenu() const
{
    const bool writable = database->mayWriteInto(bytes(path));
    juce::PopupMenu items;
    items.addItem(1, "Rename", false);
    items.addItem(2, "Open in file system");
    items.addItem(4, "Paste", database->clipboardFilled && writable);
    items.addItem(5, "New folder", writable);
    return items;
}

void TableDemoComponent::backgroundClicked_Callback(int result)
{
    menuResult = result;
    menuPending = true;
    menu.clear();
}

void TableDemoComponent::timerCallback()
{
    if (!menuPending)
        return;
    menuPending = false;
    BackgroundClicked_Run(menuResult);
}

void TableDemoComponent::BackgroundClicked_Run(int id)
{
    switch (id)
    {
    case 2:
        PresetActions::reveal(database->currentFolder);
        return;
    case 4:
        PresetActions::paste(*database, level - 1,
                             {"This Preset already exists. Do you want to replace it?", "OK"});
        return;
    case 5:
        PresetActions::newFolder(*database, bytes(path), level);
        return;
    default:
        return;
    }
}

void TableDemoComponent::setText(int row, int, const juce::String& text)
{
    if (row < 0 || row >= names.size())
        return;
    if (PresetActions::rename(*database, bytes(paths[row]), bytes(text)))
        names.set(row, text);
    PresetActions::relist(*database, bytes(path), level - 1);
}

// The name cell.

TableDemoComponent::EditableTextCustomComponent::EditableTextCustomComponent(TableDemoComponent& table,
                                                                             int tableLevel,
                                                                             PresetDatabase* store)
    : level(tableLevel), database(store), owner(table)
{
    setEditable(true, true, true);
    startTimer(40);
}

TableDemoComponent::EditableTextCustomComponent::~EditableTextCustomComponent()
{
    stopTimer();
}

void TableDemoComponent::EditableTextCustomComponent::setRow(int newRow, int newColumn,
                                                             const juce::String& newName,
                                                             const juce::String& newPath,
                                                             const juce::String& folderFlag, bool mayChange)
{
    // Setting the text closes an open editor: a refresh of the same row leaves it alone.
    if (newRow != row || getText() != newName)
        setText(newName, juce::dontSendNotification);
    row = newRow;
    column = newColumn;
    name = newName;
    path = newPath;
    isFolder = folderFlag;
    changeable = mayChange;
}

void TableDemoComponent::EditableTextCustomComponent::mouseDown(const juce::MouseEvent& event)
{
    owner.table.selectRowsBasedOnModifierKeys(row, event.mods, false);
    if (level < database->lastTableLevel)
    {
        database->lastTableLevel = level;
        database->tableChanged = true;
    }
    const auto full = bytes(path);
    if (isFolderRow())
    {
        database->currentFolder = full;
        database->currentLevel = level + 1;
    }
    else
    {
        database->currentFolder = PresetFileOps::parentOf(full);
        database->currentLevel = level;
    }
    if (!event.mods.isRightButtonDown())
    {
        database->pendingPath = full;
        database->pendingLevel = level;
        database->pendingIsFolder = isFolderRow();
        database->pendingSelection = true;
        return;
    }
    menu = isFolderRow() ? folderMenu() : fileMenu();
    showMenu(menu, this,
             isFolderRow() ? &EditableTextCustomComponent::mouseDown_isFolder_Callback
                           : &EditableTextCustomComponent::mouseDown_isFile_Callback);
}

void TableDemoComponent::EditableTextCustomComponent::mouseDoubleClick(const juce::MouseEvent& event)
{
    if (changeable)
        Label::mouseDoubleClick(event);
}

juce::PopupMenu TableDemoComponent::EditableTextCustomComponent::fileMenu() const
{
    juce::PopupMenu items;
    items.addItem(1, "Rename", changeable);
    items.addItem(2, "Open in file system");
    items.addItem(3, "Copy");
    items.addItem(4, "Delete", changeable);
    return items;
}

juce::PopupMenu TableDemoComponent::EditableTextCustomComponent::folderMenu() const
{
    juce::PopupMenu items;
    items.addItem(1, "Rename", changeable);
    items.addItem(2, "Open in file system");
    items.addItem(4, "Paste", database->clipboardFilled && database->mayWriteInto(bytes(path)));
    items.addItem(6, "Delete", changeable);
    return items;
}

void TableDemoComponent::EditableTextCustomComponent::mouseDown_isFile_Callback(int result)
{
    fileResult = result;
    filePending = true;
    menu.clear();
}

void TableDemoComponent::EditableTextCustomComponent::mouseDown_isFolder_Callback(int result)
{
    folderResult = result;
    folderPending = true;
    menu.clear();
}

void TableDemoComponent::EditableTextCustomComponent::timerCallback()
{
    if (auto* mark = database->editMark(level, row); mark != nullptr && *mark == 1)
    {
        *mark = 0;
        if (changeable)
            showEditor();
    }
    if (folderPending)
    {
        folderPending = false;
        mouseDown_isFolder_Run(folderResult);
    }
    if (filePending)
    {
        filePending = false;
        mouseDown_isFile_Run(fileResult);
    }
}

void TableDemoComponent::EditableTextCustomComponent::ifChangeable(const std::function<void()>& action)
{
    if (changeable)
        action();
    else
        PresetActions::tellUnchangeable(bytes(path));
}

void TableDemoComponent::EditableTextCustomComponent::mouseDown_isFile_Run(int id)
{
    const auto full = bytes(path);
    if (id == 1)
        ifChangeable([this] { showEditor(); });
    else if (id == 2)
        PresetActions::reveal(full);
    else if (id == 3)
        PresetActions::copy(*database, full);
    else if (id == 4)
        ifChangeable([&] { PresetActions::deleteFile(*database, full, level - 1); });
}

void TableDemoComponent::EditableTextCustomComponent::mouseDown_isFolder_Run(int id)
{
    if (id == 1)
        ifChangeable([this] { showEditor(); });
    else if (id == 2)
        PresetActions::reveal(database->currentFolder);
    else if (id == 4)
        PresetActions::paste(*database, level,
                             {"This preset already exists. Do you want to replace it?", "Ok"});
    else if (id == 6)
        ifChangeable([&] { PresetActions::deleteFolder(*database, bytes(path), level - 1); });
}

void TableDemoComponent::EditableTextCustomComponent::textWasEdited()
{
    const auto text = getText();
    if (text == name)
        return;
    if (!changeable)
    {
        PresetActions::tellUnchangeable(bytes(path));
        setText(name, juce::dontSendNotification);
        return;
    }
    owner.setText(row, column, text);
    if (owner.names[row] != text)
        setText(name, juce::dontSendNotification);
}

void TableDemoComponent::EditableTextCustomComponent::paint(juce::Graphics& g)
{
    if (dynamic_cast<juce::LookAndFeel_V4*>(&getLookAndFeel()) == nullptr)
        getLookAndFeel().setColour(juce::Label::textColourId, juce::Colours::black);
    Label::paint(g);
}
