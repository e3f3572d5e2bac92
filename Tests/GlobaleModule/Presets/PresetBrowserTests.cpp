// The preset panel and its columns on a temporary tree, without a display: clicks go to the
// name cells as mouse events, menus and questions to the test instead of a window.
#include "GlobalData/GlobalData.h"
#include "GlobalData/Settings.h"
#include "PluginProcessor.h"
#include "Presets/PresetActions.h"
#include "Presets/PresetMain.h"
#include "Presets/ReplaceQuestion.h"

#include "PresetPanelSupport.h"
#include "PresetTestSupport.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <sys/stat.h>
#include <unistd.h>

using Cell = TableDemoComponent::EditableTextCustomComponent;
using TestEnvironment::readFile;
using TestEnvironment::writeFile;

namespace
{
struct MenuItem
{
    int id;
    std::string text;
    bool enabled;
    bool operator==(const MenuItem& other) const
    {
        return id == other.id && text == other.text && enabled == other.enabled;
    }
};

std::ostream& operator<<(std::ostream& out, const MenuItem& item)
{
    return out << item.id << " " << item.text << (item.enabled ? "" : " (grey)");
}

std::vector<MenuItem> itemsOf(const juce::PopupMenu& menu)
{
    std::vector<MenuItem> items;
    for (juce::PopupMenu::MenuItemIterator it(menu); it.next();)
        items.push_back({it.getItem().itemID, it.getItem().text.toStdString(), it.getItem().isEnabled});
    return items;
}

bool exists(const std::string& path)
{
    struct stat info
    {
    };
    return ::lstat(path.c_str(), &info) == 0;
}

void makeFolder(const std::string& path)
{
    ::mkdir(path.c_str(), 0755);
}

class PresetBrowser : public testing::Test
{
protected:
    void SetUp() override
    {
        root = TestEnvironment::newHome() + "/presets";
        makeFolder(root);
        ReplaceQuestion::setAsker(
            [this](const juce::String& title, const juce::String& message, ReplaceQuestion::Answer answer)
            {
                questions.push_back((title + ": " + message).toStdString());
                pendingAnswer = std::move(answer);
            });
        ReplaceQuestion::setTeller([this](const juce::String& title, const juce::String&)
                                   { notices.push_back(title.toStdString()); });
        TableDemoComponent::setMenuShower(
            [this](const juce::PopupMenu& menu, std::function<void(int)> chosen)
            {
                menuItems = itemsOf(menu);
                menuChoice = std::move(chosen);
            });
    }

    void TearDown() override
    {
        panel.reset();
        ReplaceQuestion::setAsker({});
        ReplaceQuestion::setTeller({});
        TableDemoComponent::setMenuShower({});
    }

    void open(GlobalData* g = nullptr, Settings* s = nullptr)
    {
        globalData = g != nullptr ? g : &ownGlobal;
        globalData->guiSize = 0.0f;
        panel = std::make_unique<PresetMain>(s != nullptr ? s : &settings, globalData);
        panel->setBounds(0, 0, 800, 219);
    }

    PresetDatabase& store() { return *panel->database; }
    void tick() { panel->timerCallback(); }

    TableDemoComponent& table(int level)
    {
        auto* t = panel->getTable(level);
        EXPECT_NE(t, nullptr) << level;
        return *t;
    }

    std::vector<std::string> rows(int level)
    {
        std::vector<std::string> names;
        for (const auto& name : table(level).getNames())
            names.push_back(name.toStdString());
        return names;
    }

    Cell* cell(int level, const std::string& name)
    {
        auto* c = PresetPanelTest::cell(*panel, level, name);
        EXPECT_NE(c, nullptr) << level << " " << name;
        return c;
    }
    static juce::MouseEvent event(juce::Component* on, bool right)
    {
        return PresetPanelTest::mouseEvent(on, right);
    }

    // A left click on a row, served by the panel's next tick.
    void click(int level, const std::string& name)
    {
        auto* c = cell(level, name);
        ASSERT_NE(c, nullptr);
        c->mouseDown(event(c, false));
        tick();
    }

    // A right click on a row: the menu it shows.
    std::vector<MenuItem> menuOf(int level, const std::string& name)
    {
        menuItems.clear();
        auto* c = cell(level, name);
        if (c == nullptr)
            return {};
        c->mouseDown(event(c, true));
        served = [safe = juce::Component::SafePointer<Cell>(c)]
        {
            return safe == nullptr || !safe->isChoicePending();
        };
        return menuItems;
    }
    std::vector<MenuItem> backgroundMenuOf(int level)
    {
        menuItems.clear();
        table(level).backgroundClicked(event(&table(level), true));
        served = [safe = juce::Component::SafePointer<TableDemoComponent>(&table(level))]
        {
            return safe == nullptr || !safe->isChoicePending();
        };
        return menuItems;
    }

    // Picks a menu item; the cell or table runs it at its own tick, the panel at its next.
    void choose(int id)
    {
        ASSERT_TRUE(menuChoice);
        auto chosen = std::move(menuChoice);
        chosen(id);
        ASSERT_TRUE(TestEnvironment::pumpUntil(served, 5000));
        tick();
    }

    void answer(int result)
    {
        ASSERT_TRUE(pendingAnswer);
        auto respond = std::move(pendingAnswer);
        respond(result);
        tick();
    }

    // Types a name into the row's editor and commits it as the return key does.
    void rename(int level, const std::string& from, const std::string& to)
    {
        auto* c = cell(level, from);
        ASSERT_NE(c, nullptr);
        c->showEditor();
        ASSERT_NE(c->getCurrentTextEditor(), nullptr);
        c->getCurrentTextEditor()->setText(juce::String::fromUTF8(to.c_str()));
        c->hideEditor(false);
        tick();
    }

    Settings settings;
    GlobalData ownGlobal{&settings};
    GlobalData* globalData = nullptr;
    std::unique_ptr<PresetMain> panel;
    std::string root;
    std::vector<std::string> questions, notices;
    ReplaceQuestion::Answer pendingAnswer;
    std::vector<MenuItem> menuItems;
    std::function<void(int)> menuChoice;
    // Whether the component that showed the last menu has run the choice.
    std::function<bool()> served;
};

// Folders A/B/C below the root, a preset at every level, and a file that is no preset.
class ThreeLevels : public PresetBrowser
{
protected:
    void SetUp() override
    {
        PresetBrowser::SetUp();
        makeFolder(root + "/A");
        makeFolder(root + "/A/B");
        makeFolder(root + "/A/B/C");
        writeFile(root + "/top.fxb", "top");
        writeFile(root + "/notes.txt", "");
        writeFile(root + "/A/a.fxb", "a");
        writeFile(root + "/A/B/b.fxb", "b");
        writeFile(root + "/A/B/C/deep.fxb", "deep");
        open();
    }
};

bool hasColour(const juce::Image& image, juce::Rectangle<int> area, juce::Colour colour)
{
    for (int y = area.getY(); y < area.getBottom(); ++y)
        for (int x = area.getX(); x < area.getRight(); ++x)
            if (image.getPixelAt(x, y) == colour)
                return true;
    return false;
}
} // namespace

TEST_F(ThreeLevels, EachFolderLevelGetsAColumnAndDeeperOnesScrollTheView)
{
    EXPECT_EQ(table(0).getFolderName(), "presets");
    EXPECT_EQ(rows(0), (std::vector<std::string>{"A", "top.fxb"}));
    click(0, "A");
    click(1, "B");
    ASSERT_TRUE(panel->isShown(2));
    EXPECT_EQ(table(1).getFolderName(), "A");
    EXPECT_EQ(rows(1), (std::vector<std::string>{"B", "a.fxb"}));
    EXPECT_EQ(table(2).getFolderName(), "B");
    EXPECT_EQ(rows(2), (std::vector<std::string>{"C", "b.fxb"}));
    EXPECT_EQ(table(2).getX(), 340);

    // A fourth level moves the view one column on; the arrow brings the first back.
    click(2, "C");
    EXPECT_EQ(rows(3), (std::vector<std::string>{"deep.fxb"}));
    EXPECT_EQ(panel->getFirstShownLevel(), 1);
    EXPECT_FALSE(panel->isShown(0));
    EXPECT_EQ(table(3).getX(), 340);
    panel->scrollColumns(-1);
    EXPECT_TRUE(panel->isShown(0));
    EXPECT_FALSE(panel->isShown(3));

    // A folder in the first column rebuilds the second and closes the third.
    click(0, "A");
    EXPECT_TRUE(panel->isShown(1));
    EXPECT_FALSE(panel->isShown(2));
    EXPECT_FALSE(panel->isShown(3));
    click(1, "B");
    // A preset in the first column closes everything to its right, and the picture shows
    // its row selected in the first column only.
    click(0, "top.fxb");
    EXPECT_FALSE(panel->isShown(1));
    const auto snapshot = panel->createComponentSnapshot(panel->getLocalBounds());
    EXPECT_TRUE(hasColour(snapshot, {7, 5, 150, 200}, juce::Colours::lightblue));
    EXPECT_FALSE(hasColour(snapshot, {170, 5, 320, 200}, juce::Colours::lightblue));
}

TEST_F(ThreeLevels, AnEmptyFolderGetsAnEmptyColumnWithItsTitle)
{
    makeFolder(root + "/A/Empty");
    click(0, "A");
    click(1, "Empty");
    ASSERT_TRUE(panel->isShown(2));
    EXPECT_EQ(table(2).getFolderName(), "Empty");
    EXPECT_TRUE(rows(2).empty());
}

TEST_F(ThreeLevels, APresetClickIsOneLoadRequestAndNamesTheField)
{
    click(0, "A");
    click(1, "a.fxb");
    EXPECT_TRUE(globalData->loadRequest.exchange(false));
    EXPECT_EQ(globalData->loadPath.get(), root + "/A/a.fxb");
    EXPECT_EQ(panel->getNameEditor().getText(), "a.fxb");
    tick();
    EXPECT_FALSE(globalData->loadRequest.load()) << "one click, one request";

    // A click on the selected preset loads it again; of two picks in one tick the later wins.
    click(1, "a.fxb");
    EXPECT_TRUE(globalData->loadRequest.exchange(false));
    cell(0, "top.fxb")->mouseDown(event(cell(0, "top.fxb"), false));
    cell(1, "a.fxb")->mouseDown(event(cell(1, "a.fxb"), false));
    tick();
    EXPECT_EQ(globalData->loadPath.get(), root + "/A/a.fxb");
}

TEST_F(ThreeLevels, TheMenusOfFilesFoldersAndTheBackground)
{
    const std::vector<MenuItem> fileMenu = {
        {1, "Rename", true}, {2, "Open in file system", true}, {3, "Copy", true}, {4, "Delete", true}};
    EXPECT_EQ(menuOf(0, "top.fxb"), fileMenu);
    // The right click picked the row too.
    tick();
    EXPECT_TRUE(globalData->loadRequest.exchange(false));
    EXPECT_EQ(menuOf(0, "A"), (std::vector<MenuItem>{{1, "Rename", true},
                                                     {2, "Open in file system", true},
                                                     {4, "Paste", false},
                                                     {6, "Delete", true}}));
    EXPECT_EQ(backgroundMenuOf(0), (std::vector<MenuItem>{{1, "Rename", false},
                                                          {2, "Open in file system", true},
                                                          {4, "Paste", false},
                                                          {5, "New folder", true}}));
    // A dismissed menu does nothing.
    menuOf(0, "top.fxb");
    choose(0);
    EXPECT_TRUE(notices.empty());
    EXPECT_FALSE(store().clipboardFilled);

    // After a copy Paste is offered everywhere, and stays so after a paste.
    menuOf(0, "top.fxb");
    choose(3);
    EXPECT_EQ(store().clipboardPath, root + "/top.fxb");
    EXPECT_EQ(menuOf(0, "A")[2], (MenuItem{4, "Paste", true}));
    choose(4);
    EXPECT_EQ(readFile(root + "/A/top.fxb"), "top");
    EXPECT_EQ(backgroundMenuOf(0)[2], (MenuItem{4, "Paste", true}));
}

TEST_F(ThreeLevels, APasteLandsWholeAndAnExistingNameIsReplacedOnlyOnOk)
{
    menuOf(0, "top.fxb");
    choose(3);
    // Into folder A through its row: no question, and A's column shows the copy.
    menuOf(0, "A");
    choose(4);
    EXPECT_TRUE(questions.empty());
    EXPECT_EQ(readFile(root + "/A/top.fxb"), "top");
    ASSERT_TRUE(panel->isShown(1));
    EXPECT_EQ(rows(1), (std::vector<std::string>{"B", "a.fxb", "top.fxb"}));

    // Again onto the copy, now changed: Cancel keeps it, Ok replaces it.
    writeFile(root + "/A/top.fxb", "changed");
    menuOf(0, "A");
    choose(4);
    ASSERT_EQ(questions.size(), 1u);
    EXPECT_EQ(questions[0], "Preset already exists: This preset already exists. Do you want to replace it?");
    answer(0);
    EXPECT_EQ(readFile(root + "/A/top.fxb"), "changed");
    menuOf(0, "A");
    choose(4);
    answer(1);
    EXPECT_EQ(readFile(root + "/A/top.fxb"), "top");

    // Through the background of the preset's own folder: onto itself, which stays whole.
    backgroundMenuOf(0);
    choose(4);
    ASSERT_EQ(questions.size(), 3u);
    EXPECT_EQ(questions[2], "Preset already exists: This Preset already exists. Do you want to replace it?");
    answer(1);
    EXPECT_EQ(readFile(root + "/top.fxb"), "top");
    EXPECT_EQ(PresetTest::directoryOrder(root).size(), 3u) << "no temporary file is left";
    EXPECT_TRUE(notices.empty());
}

TEST_F(ThreeLevels, DeleteTakesAFileAtOnceAndAFolderAfterTheQuestion)
{
    menuOf(0, "top.fxb");
    choose(4);
    EXPECT_FALSE(exists(root + "/top.fxb"));
    EXPECT_TRUE(questions.empty());
    EXPECT_EQ(rows(0), (std::vector<std::string>{"A"}));

    click(0, "A");
    click(1, "B");
    menuOf(0, "A");
    choose(6);
    ASSERT_EQ(questions.size(), 1u);
    EXPECT_EQ(questions[0],
              "Delete folder: Delete the folder \"A\" and everything in it (3 files, 2 folders)?");
    answer(0);
    EXPECT_TRUE(exists(root + "/A/B/C/deep.fxb"));
    menuOf(0, "A");
    choose(6);
    answer(1);
    EXPECT_FALSE(exists(root + "/A"));
    EXPECT_TRUE(rows(0).empty());
    EXPECT_FALSE(panel->isShown(1));
}

TEST_F(ThreeLevels, ANewFolderIsNumberedSelectedAndOpenForItsName)
{
    click(0, "A");
    backgroundMenuOf(1);
    choose(5);
    backgroundMenuOf(1);
    choose(5);
    EXPECT_TRUE(exists(root + "/A/untitled folder"));
    EXPECT_TRUE(exists(root + "/A/untitled folder 1"));
    auto listed = rows(1);
    std::sort(listed.begin(), listed.end());
    EXPECT_EQ(listed, (std::vector<std::string>{"B", "a.fxb", "untitled folder", "untitled folder 1"}));
    EXPECT_EQ(rows(1).back(), "a.fxb") << "folders first";

    // The fresh row is selected without opening it, and its name opens for editing.
    auto* fresh = cell(1, "untitled folder 1");
    ASSERT_NE(fresh, nullptr);
    EXPECT_TRUE(table(1).getTable().isRowSelected(fresh->getRow()));
    ASSERT_TRUE(TestEnvironment::pumpUntil([&] { return fresh->isBeingEdited(); }, 5000));
    fresh->getCurrentTextEditor()->setText("Drums");
    fresh->hideEditor(false);
    tick();
    EXPECT_TRUE(exists(root + "/A/Drums"));
    EXPECT_FALSE(panel->isShown(2)) << "the selection did not open the folder";
}

TEST_F(ThreeLevels, RenameKeepsEveryFileAndRefusesHostileNames)
{
    // The menu's Rename opens the name for editing, as a double click does.
    menuOf(0, "top.fxb");
    choose(1);
    ASSERT_TRUE(cell(0, "top.fxb")->isBeingEdited());
    cell(0, "top.fxb")->hideEditor(true);

    rename(0, "top.fxb", "Lead.fxb");
    EXPECT_EQ(readFile(root + "/Lead.fxb"), "top");
    EXPECT_EQ(rows(0), (std::vector<std::string>{"A", "Lead.fxb"}));
    rename(0, "A", "Mixes");
    EXPECT_EQ(readFile(root + "/Mixes/a.fxb"), "a");

    writeFile(root + "/Other.fxb", "other");
    PresetActions::relist(store(), root, -1);
    tick();
    rename(0, "Lead.fxb", "Other.fxb");
    EXPECT_EQ(notices, (std::vector<std::string>{"Name already taken"}));
    EXPECT_EQ(readFile(root + "/Other.fxb"), "other");
    for (const std::string hostile : {"../Lead.fxb", "sub/Lead.fxb", ".Lead.fxb",
                                      "Le\x01"
                                      "ad.fxb",
                                      ""})
    {
        notices.clear();
        rename(0, "Lead.fxb", hostile);
        EXPECT_EQ(notices, (std::vector<std::string>{"Name not allowed"})) << hostile;
        EXPECT_EQ(readFile(root + "/Lead.fxb"), "top");
    }
    EXPECT_FALSE(exists(root + "/../Lead.fxb"));
}

TEST_F(ThreeLevels, WhatVanishedBetweenThePickAndTheTickIsRefusedWithANotice)
{
    click(0, "A");
    auto* b = cell(1, "B");
    b->mouseDown(event(b, false));
    ASSERT_EQ(::rename((root + "/A/B").c_str(), (root + "/elsewhere").c_str()), 0);
    tick();
    EXPECT_EQ(notices, (std::vector<std::string>{"Not found"}));
    EXPECT_EQ(rows(1), (std::vector<std::string>{"a.fxb"})) << "its folder is listed anew";
    EXPECT_FALSE(panel->isShown(2));

    // A whole branch gone: the nearest folder that is left is listed.
    notices.clear();
    auto* a = cell(1, "a.fxb");
    a->mouseDown(event(a, false));
    ASSERT_EQ(::unlink((root + "/A/a.fxb").c_str()), 0);
    ASSERT_EQ(::rmdir((root + "/A").c_str()), 0);
    tick();
    EXPECT_FALSE(globalData->loadRequest.load());
    EXPECT_EQ(notices, (std::vector<std::string>{"Not found"}));
    EXPECT_EQ(rows(0), (std::vector<std::string>{"elsewhere", "top.fxb"}));

    // Menu choices on what went away while the menu was open.
    notices.clear();
    menuOf(0, "top.fxb");
    ASSERT_EQ(::rename((root + "/top.fxb").c_str(), (root + "/moved.fxb").c_str()), 0);
    choose(3);
    EXPECT_FALSE(store().clipboardFilled);
    PresetActions::relist(store(), root, -1);
    tick();
    menuOf(0, "moved.fxb");
    choose(3);
    ASSERT_EQ(::unlink((root + "/moved.fxb").c_str()), 0);
    menuOf(0, "elsewhere");
    choose(4);
    writeFile(root + "/doomed.fxb", "");
    PresetActions::relist(store(), root, -1);
    tick();
    click(0, "doomed.fxb");
    menuOf(0, "doomed.fxb");
    ASSERT_EQ(::unlink((root + "/doomed.fxb").c_str()), 0);
    choose(2);
    menuOf(0, "doomed.fxb");
    choose(4);
    EXPECT_EQ(notices, std::vector<std::string>(4, "Not found"));
    EXPECT_EQ(PresetTest::directoryOrder(root + "/elsewhere").size(), 2u);
}

TEST_F(ThreeLevels, TheSharedTreeLoadsButOffersNoChange)
{
    makeFolder(root + "/Factory");
    writeFile(root + "/Factory/Warm.fxb", "warm");
    store().sharedRoots = {root + "/Factory"};
    PresetActions::relist(store(), root, -1);
    tick();

    EXPECT_EQ(menuOf(0, "Factory"), (std::vector<MenuItem>{{1, "Rename", false},
                                                           {2, "Open in file system", true},
                                                           {4, "Paste", false},
                                                           {6, "Delete", false}}));
    click(0, "Factory");
    EXPECT_EQ(menuOf(1, "Warm.fxb"), (std::vector<MenuItem>{{1, "Rename", false},
                                                            {2, "Open in file system", true},
                                                            {3, "Copy", true},
                                                            {4, "Delete", false}}));
    EXPECT_EQ(backgroundMenuOf(1)[3], (MenuItem{5, "New folder", false}));
    click(1, "Warm.fxb");
    EXPECT_TRUE(globalData->loadRequest.exchange(false));
    EXPECT_EQ(globalData->loadPath.get(), root + "/Factory/Warm.fxb");

    // Neither a double click nor a stale choice changes it; a copy goes to the user's folders.
    auto* warm = cell(1, "Warm.fxb");
    warm->mouseDoubleClick(event(warm, false));
    EXPECT_FALSE(warm->isBeingEdited());
    warm->mouseDown_isFile_Run(4);
    EXPECT_EQ(notices, (std::vector<std::string>{"Read-only presets"}));
    EXPECT_EQ(readFile(root + "/Factory/Warm.fxb"), "warm");
    menuOf(1, "Warm.fxb");
    choose(3);
    menuOf(0, "A");
    choose(4);
    EXPECT_EQ(readFile(root + "/A/Warm.fxb"), "warm");
}

// Save through the processor's saving stage, with the replace question.
class PanelSave : public PresetBrowser
{
protected:
    void SetUp() override
    {
        PresetBrowser::SetUp();
        makeFolder(root + "/Vocals");
        open(processor.getGlobalData(), processor.getSettings());
    }

    void setKnob0(double value) { processor.getKnob(0)->setValue(value, juce::dontSendNotification); }
    void save(const std::string& name)
    {
        panel->getNameEditor().setText(juce::String::fromUTF8(name.c_str()));
        panel->buttonClicked(&panel->getSaveButton());
        processor.timerCallback();
        tick();
        tick();
    }

    MorvaneProcessor processor;
};

TEST_F(PanelSave, SaveWritesIntoThePickedFolderAndAsksBeforeReplacing)
{
    processor.CreateTheKnobs();
    click(0, "Vocals");
    setKnob0(0.25);
    save("Lead");
    EXPECT_NE(readFile(root + "/Vocals/Lead.fxb").find("<Knob0>0.25</Knob0>"), std::string::npos);
    ASSERT_TRUE(panel->isShown(1));
    EXPECT_EQ(rows(1), (std::vector<std::string>{"Lead.fxb"})) << "the column shows the new file";

    // A picked preset puts its name in the field; Save then asks before replacing it.
    click(1, "Lead.fxb");
    EXPECT_EQ(panel->getNameEditor().getText(), "Lead.fxb");
    setKnob0(0.5);
    save("Lead.fxb");
    ASSERT_EQ(questions.size(), 1u);
    EXPECT_EQ(questions[0], "Preset already exists: This Preset already exists. Do you want to replace it?");
    answer(0);
    EXPECT_NE(readFile(root + "/Vocals/Lead.fxb").find("<Knob0>0.25</Knob0>"), std::string::npos);
    save("Lead.fxb");
    answer(1);
    EXPECT_NE(readFile(root + "/Vocals/Lead.fxb").find("<Knob0>0.5</Knob0>"), std::string::npos);
}

TEST_F(PanelSave, HostileNamesAndVanishedFoldersAreRefused)
{
    processor.CreateTheKnobs();
    for (const std::string hostile : {"../Escape", "Vocals/Lead", "", ".fxb", "Tab\tName"})
    {
        notices.clear();
        save(hostile);
        EXPECT_EQ(notices, (std::vector<std::string>{"Name not allowed"})) << hostile;
        EXPECT_FALSE(processor.getGlobalData()->savePresetRequest.load());
    }
    EXPECT_EQ(PresetTest::directoryOrder(root), (std::vector<std::string>{"Vocals"}));
    EXPECT_FALSE(exists(TestEnvironment::home() + "/Escape.fxb"));

    notices.clear();
    click(0, "Vocals");
    ASSERT_EQ(::rmdir((root + "/Vocals").c_str()), 0);
    save("Lead");
    EXPECT_EQ(notices, (std::vector<std::string>{"Not found"}));
    EXPECT_TRUE(rows(0).empty());
}
