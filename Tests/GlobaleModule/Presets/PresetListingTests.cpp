// The preset root, the folder listing and the store's bounds, on temporary folders.
#include "GlobalData/Settings.h"
#include "PresetTestSupport.h"
#include "Presets/KnobDocument.h"
#include "Presets/PresetFile.h"
#include "Presets/PresetListing.h"
#include "Presets/PresetRoot.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <set>
#include <sys/stat.h>
#include <tuple>
#include <unistd.h>
#include <vector>

using PresetTest::freshFolder;
using TestEnvironment::writeFile;

namespace
{
// A listing of the run's preset root, listed again at folder.
struct Listing
{
    Settings settings;
    PresetListing listing{&settings};
    PresetDatabase& db = *listing.database;
    void list(const std::string& folder, int level) { listing.getFoldersAndFiles(folder, level); }
    // Row i of the store and what the lists of `level` hold there: "id level name path isFolder | flag path".
    std::string row(int i, int level) const
    {
        const auto& r = db.rows[i];
        const auto& lists = listing.flags[level].size() > i
                                ? listing.flags[level][i] + " " + listing.paths[level][i]
                                : juce::String("-");
        return std::to_string(r.id) + " " + std::to_string(r.level) + " " + r.name + " " + r.path + " " +
               (r.isFolder ? "1 | " : "0 | ") + lists.toStdString();
    }
};
} // namespace

TEST(PresetRoot, TheVariableOrElseTheUsersTreeIsTheRootAndExistingMachineTreesAreRead)
{
    const auto folder = freshFolder();
    const std::string saved = std::getenv("MORVANE_PRESET_ROOT");
    ::setenv("MORVANE_PRESET_ROOT", (folder + "/deep/er/root").c_str(), 1);
    EXPECT_EQ(PresetRoot::make("Morvane"), folder + "/deep/er/root");
    EXPECT_TRUE(juce::File(folder + "/deep/er/root").isDirectory());
    EXPECT_TRUE(PresetRoot::sharedTrees("Morvane").empty()) << "the variable overrides every tree";
    ::setenv("MORVANE_PRESET_ROOT", "", 1);
    EXPECT_EQ(PresetRoot::make("Morvane"),
              TestEnvironment::home() + "/.local/share" + PresetRoot::tail("Morvane"));
    ::setenv("MORVANE_PRESET_ROOT", saved.c_str(), 1);

    // A machine tree counts when it exists, whoever may write it; a missing one is never made.
    const auto tail = PresetRoot::tail("Morvane");
    EXPECT_EQ(tail, "/Velmora Audio Works/Presets/Morvane");
    PresetRoot::makeChain(folder + "/root-owned" + tail);
    ::chmod((folder + "/root-owned" + tail).c_str(), 0555);
    EXPECT_EQ(PresetRoot::existingTrees({folder + "/missing", folder + "/root-owned"}, tail),
              std::vector<std::string>{folder + "/root-owned" + tail});
    EXPECT_FALSE(juce::File(folder + "/missing").isDirectory());
    ::chmod((folder + "/root-owned" + tail).c_str(), 0755);
}

// The user's tree and two machine trees as one: the user's entries first, then what the
// machine trees add; on a name clash the higher rank wins, and folder rows keep the user's path.
TEST(PresetListing, MachineTreesAreMergedBelowTheUsersTreeWhichWinsOnANameClash)
{
    const auto folder = freshFolder();
    const auto user = folder + "/user", local = folder + "/local", system = folder + "/system";
    for (const auto& path : {user + "/Mine", local + "/Drums", system + "/Drums/Kick", system + "/Mine"})
        PresetRoot::makeChain(path);
    writeFile(user + "/Vocal.fxb", "user");
    writeFile(local + "/Vocal.fxb", "local");
    writeFile(local + "/Bass.fxb", "local");
    writeFile(system + "/Bass.fxb", "system");
    writeFile(system + "/Drums/Snare.fxb", "system");
    writeFile(local + "/Drums/Snare.fxb", "local");
    PresetListing listing(user, {local, system});
    const auto rows = [&](int level)
    {
        std::vector<std::string> seen;
        for (int i = 0; i < listing.names[level].size(); ++i)
            seen.push_back((listing.flags[level][i] + " " + listing.paths[level][i]).toStdString());
        return seen;
    };
    EXPECT_EQ(rows(0),
              (std::vector<std::string>{"true " + user + "/Mine", "true " + user + "/Drums",
                                        "false " + user + "/Vocal.fxb", "false " + local + "/Bass.fxb"}));
    listing.getFoldersAndFiles(user + "/Drums", 0);
    EXPECT_EQ(rows(1), (std::vector<std::string>{"true " + user + "/Drums/Kick",
                                                 "false " + local + "/Drums/Snare.fxb"}));
    EXPECT_EQ(listing.database->currentFolder, user + "/Drums");
    // Opening a folder of a machine tree makes it in the user's tree, where a save lands.
    listing.getFoldersAndFiles(user + "/Drums/Kick", 1);
    ASSERT_TRUE(PresetFile::write(*KnobDocument::make({0.5f}), user + "/Drums/Kick/Mine.fxb"));
    listing.getFoldersAndFiles(user + "/Drums/Kick", 1);
    EXPECT_EQ(rows(2), std::vector<std::string>{"false " + user + "/Drums/Kick/Mine.fxb"});
}

TEST(PresetListing, TheRootIsListedFirstAndAnEmptyOrUnopenableFolderGivesOnePlaceholderRow)
{
    const std::string root = std::getenv("MORVANE_PRESET_ROOT");
    ::mkdir(root.c_str(), 0755);
    writeFile(root + "/Start.fxb", "x");
    Listing l;
    EXPECT_EQ(l.listing.getRootPath() + "|" + l.listing.folderNames[0].toStdString() + "|" +
                  l.db.currentFolder,
              root + "|presets|" + root);
    EXPECT_TRUE(l.listing.names[0].contains("Start.fxb"));
    const auto empty = freshFolder() + "/Empty Folder";
    ::mkdir(empty.c_str(), 0755);
    for (const auto& path : {empty, empty + "/gone"})
    {
        SCOPED_TRACE(path);
        l.list(root, 1);
        l.list(path, 1);
        EXPECT_EQ(l.listing.names[2].size() + l.listing.paths[2].size(), 0);
        EXPECT_EQ(l.db.rowCount, 1);
        EXPECT_EQ(l.row(0, 2), "0 2   0 | -");
        EXPECT_EQ(l.db.currentFolder, path);
    }
    l.list(empty, 1);
    EXPECT_EQ(l.listing.folderNames[2], "Empty Folder");
    ::unlink((root + "/Start.fxb").c_str());
}

// Folders first, then every entry whose name holds ".fxb" as the directory spells it, each
// group in directory order: a folder named old.fxb comes twice, dot-folders but no dot-files.
TEST(PresetListing, FoldersComeFirstThenNamesHoldingFxbEachInDirectoryOrder)
{
    const auto folder = freshFolder();
    const std::set<std::string> folders{"b-folder", "z-folder", "old.fxb", ".dotfolder"};
    const std::set<std::string> files{"c.fxb", "a.fxb", "mix.fxb.bak", "old.fxb"};
    for (const auto& name : folders)
        ::mkdir((folder + "/" + name).c_str(), 0755);
    for (const char* name : {"c.fxb", "a.fxb", "mix.fxb.bak", "MIX.FXB", ".hidden.fxb", "notes.txt"})
        writeFile(folder + "/" + name, "x");
    // A symbolic link to a folder is no folder row.
    ASSERT_EQ(::symlink((folder + "/b-folder").c_str(), (folder + "/link-folder").c_str()), 0);
    juce::StringArray expected;
    for (const auto* group : {&folders, &files})
        for (const auto& name : PresetTest::directoryOrder(folder))
            if (group->count(name) != 0)
                expected.add(name);
    Listing l;
    l.list(folder, 0);
    EXPECT_EQ(l.listing.names[1], expected);
    ASSERT_EQ(l.db.rowCount, 8);
    for (int i = 0; i < l.db.rowCount; ++i)
    {
        const auto name = expected[i].toStdString(), path = folder + "/" + name;
        EXPECT_EQ(l.row(i, 1), std::to_string(i) + " 1 " + name + " " + path +
                                   (i < 4 ? " 1 | true " : " 0 | false ") + path);
    }
}

TEST(PresetListing, ListsAreNotLimitedButRowsLevelsAndMarksStayInBounds)
{
    const auto folder = freshFolder();
    for (int i = 0; i < 150; ++i)
        writeFile(folder + "/p" + std::to_string(i) + ".fxb", "x");
    Listing l;
    l.list(folder, 0);
    EXPECT_EQ(l.listing.names[1].size(), 150);
    EXPECT_EQ(l.listing.paths[1].size(), 150);
    EXPECT_EQ(l.db.rowCount, PresetDatabase::rowLimit);
    EXPECT_EQ(l.db.rows[PresetDatabase::rowLimit - 1].level, 1);

    // A smaller listing afterwards starts from clean rows.
    const auto small = freshFolder();
    writeFile(small + "/a.fxb", "x");
    l.list(small, 3);
    EXPECT_EQ(l.db.rowCount, 1);
    EXPECT_TRUE(l.db.rows[1].name.empty());
    EXPECT_EQ(l.listing.names[4], juce::StringArray("a.fxb"));

    // A level outside the lists changes nothing.
    l.list(folder, PresetListing::levelCount - 1);
    l.list(folder, -2);
    EXPECT_EQ(std::to_string(l.db.rowCount) + " " + l.db.currentFolder, "1 " + small);
    ASSERT_NE(l.db.editMark(98, 98), nullptr);
    *l.db.editMark(98, 98) = 1;
    EXPECT_EQ(l.db.editMarks[98 * 99 + 98], 1);
    EXPECT_EQ(l.db.editMark(99, 0), nullptr);
    EXPECT_EQ(l.db.editMark(0, -1), nullptr);
    EXPECT_EQ(l.db.editMark(-1, 5), nullptr);
}
