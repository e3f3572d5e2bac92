#include "Presets/PresetMain.h"

#include "GlobalData/GlobalData.h"
#include "GlobalData/Settings.h"
#include "Ground/SettingsPaths.h"
#include "Presets/PresetActions.h"
#include "Presets/PresetFile.h"
#include "Presets/PresetPictures.h"
#include "Presets/PresetRoot.h"

#include <algorithm>

namespace
{
juce::String text(const std::string& bytes)
{
    return juce::String::fromUTF8(bytes.c_str());
}

void setUpNameEditor(juce::TextEditor& editor)
{
    editor.setMultiLine(false);
    editor.setReturnKeyStartsNewLine(false);
    editor.setReadOnly(false);
    editor.setScrollbarsShown(false);
    editor.setCaretVisible(true);
    editor.setPopupMenuEnabled(false);
    editor.setColour(juce::TextEditor::textColourId, juce::Colours::white);
    editor.setColour(juce::TextEditor::backgroundColourId, juce::Colours::transparentBlack);
    editor.setColour(juce::TextEditor::highlightColourId, juce::Colours::black);
    editor.setColour(juce::TextEditor::outlineColourId, juce::Colours::transparentBlack);
    editor.setColour(juce::TextEditor::shadowColourId, juce::Colour(0x00ffffff));
    editor.setColour(juce::CaretComponent::caretColourId, juce::Colours::white);
    editor.setText(juce::translate("Presetname"));
}
} // namespace

PresetMain::PresetMain(Settings* panelSettings, GlobalData* globalData)
    : PresetListing(panelSettings), global(globalData), settings(panelSettings),
      scale(globalData != nullptr ? globalData->guiSize.load() : 0.0f)
{
    setUpNameEditor(nameEditor);
    saveButton.setButtonText(juce::translate("Save"));
    saveButton.setColour(juce::TextButton::buttonColourId, juce::Colour(0xb3b2b2b2));
    saveButton.addListener(this);
    addAndMakeVisible(nameEditor);
    addAndMakeVisible(saveButton);
    for (auto* arrow : {&scrollLeft, &scrollRight})
    {
        arrow->addListener(this);
        addChildComponent(arrow);
    }

    database->sharedRoots = PresetRoot::sharedTrees(panelSettings != nullptr ? panelSettings->productFolder
                                                                             : std::string("Morvane"));
    buildTable(0, getRootPath());
    placeTables();
    startTimer(40);
}

PresetMain::~PresetMain()
{
    stopTimer();
}

int PresetMain::px(float coordinate) const
{
    return (int)(coordinate * (1.0f + scale));
}

void PresetMain::setScale(float newScale)
{
    scale = newScale;
    resized();
    repaint();
}

TableDemoComponent* PresetMain::getTable(int level) const
{
    return level >= 0 && level < levelCount ? tables[level].get() : nullptr;
}

bool PresetMain::isShown(int level) const
{
    const auto* table = getTable(level);
    return table != nullptr && table->isVisible();
}

void PresetMain::paint(juce::Graphics& g)
{
    const float h = (float)(settings != nullptr ? settings->height : 219);
    g.fillAll(juce::Colour(0xff07305c));
    const std::pair<float, juce::uint32> stripes[] = {
        {-4.0f, 0x29ffffff}, {163.0f, 0x16ffffff}, {330.0f, 0x0fffffff}};
    for (const auto& [x, colour] : stripes)
    {
        g.setColour(juce::Colour(colour));
        g.fillRect(px(x), px(-4.0f), px(166.0f), px(284.0f));
    }
    g.setGradientFill(juce::ColourGradient(juce::Colour(0xec00cdff), (float)px(792.0f), (float)px(216.0f),
                                           juce::Colour(0x00ffffff), (float)px(672.0f), (float)px(72.0f),
                                           true));
    g.fillRect(px(552.0f), px(-4.0f), px(251.0f), px(282.0f));
    // Decoded when the view is first shown, not when the window opens.
    if (background == nullptr)
        background = std::make_unique<juce::DrawableImage>(PresetPictures::background());
    if (!background->getImage().isNull())
        background->drawWithin(g,
                               juce::Rectangle<int>(px(-4.0f), px(-4.0f), px(1280.0f), px(800.0f)).toFloat(),
                               juce::RectanglePlacement::stretchToFit, 0.5f);
    g.setColour(juce::Colours::white);
    g.drawRoundedRectangle(juce::Rectangle<int>(px(641.0f), px(h - 45.0f), px(150.0f), px(15.0f)).toFloat(),
                           5.0f, 2.0f);
}

void PresetMain::resized()
{
    const float h = (float)(settings != nullptr ? settings->height : 219);
    nameEditor.setBounds(px(641.0f), px(h - 45.0f), px(152.0f), px(15.0f));
    saveButton.setBounds(px(641.0f), px(h - 25.0f), px(152.0f), px(15.0f));
    scrollLeft.setBounds(px(497.0f), px(5.0f), px(22.0f), px(15.0f));
    scrollRight.setBounds(px(523.0f), px(5.0f), px(22.0f), px(15.0f));
    placeTables();
}

void PresetMain::placeTables()
{
    const float h = (float)(settings != nullptr ? settings->height : 219);
    for (int level = 0; level < levelCount; ++level)
    {
        auto* table = tables[level].get();
        if (table == nullptr)
            continue;
        const int column = level - firstShownLevel;
        const bool inView = level <= openDepth && column >= 0 && column < visibleColumns;
        if (inView)
            table->setBounds(px((float)columnX[column]), px(5.0f), px(150.0f), px(h - 10.0f));
        table->setVisible(inView);
    }
    scrollLeft.setVisible(firstShownLevel > 0);
    scrollRight.setVisible(openDepth >= firstShownLevel + visibleColumns);
}

void PresetMain::keepInView(int level)
{
    if (level >= firstShownLevel + visibleColumns)
        firstShownLevel = level - visibleColumns + 1;
    if (level < firstShownLevel)
        firstShownLevel = level;
    firstShownLevel = std::max(0, std::min(firstShownLevel, openDepth - visibleColumns + 1));
}

void PresetMain::scrollColumns(int by)
{
    firstShownLevel = std::max(0, std::min(firstShownLevel + by, openDepth - visibleColumns + 1));
    placeTables();
}

void PresetMain::buttonClicked(juce::Button* button)
{
    if (button == &saveButton)
        save();
    else if (button == &scrollLeft)
        scrollColumns(-1);
    else if (button == &scrollRight)
        scrollColumns(1);
}

void PresetMain::save()
{
    const auto name = nameEditor.getText().toStdString();
    const auto folder = database->currentFolder;
    if (!PresetFileOps::isSafeName(name))
    {
        PresetActions::tellBadName();
        return;
    }
    if (!SettingsPaths::isDirectory(folder))
    {
        refuseVanished(folder, database->currentLevel - 2);
        return;
    }
    if (!database->mayWriteInto(folder))
    {
        PresetActions::tellReadOnly();
        return;
    }
    global->presetPath = PresetFile::savePathFor(folder, name);
    global->savePresetRequest = true;
}

void PresetMain::timerCallback()
{
    hideDeeperTables();
    servePick();
    serveSaved();
    serveReopen();
}

void PresetMain::hideDeeperTables()
{
    if (!database->tableChanged)
        return;
    database->tableChanged = false;
    openDepth = std::min(openDepth, std::max(0, (int)database->lastTableLevel));
    keepInView(openDepth);
    placeTables();
}

void PresetMain::servePick()
{
    if (!database->pendingSelection)
        return;
    database->pendingSelection = false;
    const auto picked = database->pendingPath;
    if (!database->pendingIsFolder)
    {
        pickFile(picked);
        return;
    }
    database->pendingIsFolder = false;
    if (database->skipFolderOpen)
    {
        database->skipFolderOpen = false;
        return;
    }
    openFolder(picked, database->pendingLevel);
}

void PresetMain::openFolder(const std::string& folder, int level)
{
    const int listed = level + 1;
    if (listed < 0 || listed >= levelCount)
        return;
    if (!SettingsPaths::isDirectory(folder) && folder != getRootPath())
    {
        refuseVanished(folder, level - 1);
        return;
    }
    getFoldersAndFiles(folder, level);
    buildTable(listed, folder);
    openDepth = listed;
    keepInView(listed);
    placeTables();
}

void PresetMain::pickFile(const std::string& file)
{
    if (!PresetFile::existsAsFile(file))
    {
        refuseVanished(file, database->currentLevel - 1);
        return;
    }
    global->loadPath = file;
    global->loadRequest = true;
    nameEditor.setText(text(PresetFileOps::nameOf(file)), juce::dontSendNotification);
}

void PresetMain::refuseVanished(const std::string& path, int parentLevel)
{
    PresetActions::tellRefused(PresetFileOps::Result::vanished, path);
    // Up to the nearest folder that is still there; the root is listed even when it is gone.
    auto folder = PresetFileOps::parentOf(path);
    int level = parentLevel;
    while (level >= 0 && !SettingsPaths::isDirectory(folder))
    {
        folder = PresetFileOps::parentOf(folder);
        --level;
    }
    if (level < 0)
    {
        folder = getRootPath();
        level = -1;
    }
    getFoldersAndFiles(folder, level);
    buildTable(level + 1, folder);
    openDepth = level + 1;
    keepInView(openDepth);
    placeTables();
}

void PresetMain::serveSaved()
{
    if (!global->presetSaved.exchange(false))
        return;
    PresetActions::relist(*database, database->currentFolder, database->currentLevel - 1);
}

void PresetMain::serveReopen()
{
    if (!database->reopenRequest)
        return;
    database->reopenRequest = false;
    const auto folder = database->reopenFolder.toStdString();
    const int listed = database->reopenLevel + 1;
    if (listed < 0 || listed >= levelCount)
        return;
    getFoldersAndFiles(folder, database->reopenLevel);
    auto* table = buildTable(listed, folder);
    placeTables();
    // The list sets reopenRow when it makes the row's cell; a row out of view is found by name.
    database->reopenRow = names[listed].indexOf(database->reopenRowName);
    if (database->reopenRow < 0)
        return;
    table->getTable().updateContent();
    table->getTable().selectRow(database->reopenRow, false, false);
    // A mark that an earlier table did not serve would open the wrong row.
    for (int row = 0; row < PresetDatabase::levelLimit; ++row)
        *database->editMark(listed, row) = 0;
    if (auto* mark = database->editMark(listed, database->reopenRow))
        *mark = 1;
    database->skipFolderOpen = true;
}

TableDemoComponent* PresetMain::buildTable(int level, const std::string& folder)
{
    if (level < 0 || level >= levelCount)
        return nullptr;
    tables[level] =
        std::make_unique<TableDemoComponent>(text(folder), names[level], paths[level], folderNames[level],
                                             PresetListing::flags[level], level, scale, database.get());
    addChildComponent(tables[level].get());
    return tables[level].get();
}
