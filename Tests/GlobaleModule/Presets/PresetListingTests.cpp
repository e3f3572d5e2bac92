// The preset root, the folder listing and the store's bounds, on temporary folders.
#include "PresetListing.h"
#include "PresetRoot.h"
#include "PresetTestSupport.h"
#include "Settings.h"
#include "TestEnvironment.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <sys/stat.h>
#include <unistd.h>

using PresetTest::freshFolder;
using PresetTest::makeFile;
using PresetTest::makeFolder;

namespace
{
std::vector<std::string> listed(const juce::StringArray& array)
{
    std::vector<std::string> out;
    for (const auto& s : array)
        out.push_back(s.toStdString());
    return out;
}

bool contains(const std::vector<std::string>& list, const std::string& name)
{
    return std::find(list.begin(), list.end(), name) != list.end();
}

// A listing of the run's preset root, listed again at folder.
struct Listing
{
    Settings settings;
    PresetListing listing{&settings};

    void list(const std::string& folder, int level) { listing.getFoldersAndFiles(folder, level); }
    std::vector<std::string> names(int level) const { return listed(listing.names[level]); }
    std::vector<std::string> flags(int level) const { return listed(listing.flags[level]); }
};
} // namespace

TEST(PresetRoot, TheVariableNamesTheRootAndItsFoldersAreMade)
{
    const auto root = freshFolder() + "/deep/er/root";
    const char* before = std::getenv("MORVANE_PRESET_ROOT");
    const std::string saved = before != nullptr ? before : "";
    ::setenv("MORVANE_PRESET_ROOT", root.c_str(), 1);
    EXPECT_EQ(PresetRoot::make("Morvane"), root);
    struct stat info
    {
    };
    EXPECT_EQ(::stat(root.c_str(), &info), 0);
    EXPECT_TRUE(S_ISDIR(info.st_mode));
    ::setenv("MORVANE_PRESET_ROOT", saved.c_str(), 1);
}

TEST(PresetRoot, FirstUsableBaseWinsAndMissingOrBlockedBasesAreSkipped)
{
    const auto folder = freshFolder();
    const auto tail = PresetRoot::tail("Morvane");
    EXPECT_EQ(tail, "/Velmora Audio Works/Presets/Morvane");

    // A base that does not exist is never made.
    const auto missing = folder + "/no-such-base";
    // A base where the tail's first folder is a plain file: the chain cannot be made.
    const auto blocked = folder + "/blocked";
    makeFolder(blocked);
    makeFile(blocked + "/Velmora Audio Works");
    const auto good = folder + "/good";
    makeFolder(good);

    EXPECT_EQ(PresetRoot::firstWritable({missing, blocked, good}, tail), good + tail);
    struct stat info
    {
    };
    EXPECT_NE(::stat(missing.c_str(), &info), 0);
    EXPECT_EQ(::stat((good + tail).c_str(), &info), 0);
}

TEST(PresetListing, TheRootIsListedIntoLevelZeroAtConstruction)
{
    const auto root = std::string(std::getenv("MORVANE_PRESET_ROOT"));
    PresetTest::makeFolder(root);
    makeFile(root + "/Start.fxb");
    Listing l;
    EXPECT_EQ(l.listing.getRootPath(), root);
    EXPECT_EQ(l.listing.folderNames[0], "presets");
    EXPECT_TRUE(contains(l.names(0), "Start.fxb"));
    EXPECT_EQ(l.listing.database->currentFolder, root);
    ::unlink((root + "/Start.fxb").c_str());
}

TEST(PresetListing, AnEmptyOrUnopenableFolderGivesOnePlaceholderRowWithItsLevel)
{
    const auto folder = freshFolder() + "/Empty Folder";
    makeFolder(folder);
    for (const auto& path : {folder, folder + "/gone"})
    {
        SCOPED_TRACE(path);
        Listing l;
        l.list(path, 1);
        auto& db = *l.listing.database;
        EXPECT_TRUE(l.names(2).empty());
        EXPECT_TRUE(l.listing.paths[2].isEmpty());
        EXPECT_TRUE(l.flags(2).empty());
        EXPECT_EQ(db.rowCount, 1);
        EXPECT_EQ(db.rows[0].level, 2);
        EXPECT_TRUE(db.rows[0].name.empty());
        EXPECT_FALSE(db.rows[0].isFolder);
        EXPECT_EQ(db.currentFolder, path);
    }
    Listing l;
    l.list(folder, 1);
    EXPECT_EQ(l.listing.folderNames[2], "Empty Folder");
}

TEST(PresetListing, NamesAreMatchedAsTheDirectoryGivesThem)
{
    const auto folder = freshFolder();
    makeFolder(folder + "/old.fxb");
    makeFolder(folder + "/.dotfolder");
    makeFile(folder + "/mix.fxb.bak");
    makeFile(folder + "/MIX.FXB");
    makeFile(folder + "/.hidden.fxb");
    makeFile(folder + "/notes.txt");
    Listing l;
    l.list(folder, -1);

    const auto names = l.names(0);
    EXPECT_EQ(std::count(names.begin(), names.end(), "old.fxb"), 2);
    EXPECT_TRUE(contains(names, "mix.fxb.bak"));
    EXPECT_FALSE(contains(names, "MIX.FXB"));
    EXPECT_TRUE(contains(names, ".dotfolder"));
    EXPECT_FALSE(contains(names, ".hidden.fxb"));
    EXPECT_FALSE(contains(names, "notes.txt"));
    EXPECT_EQ(names.size(), 4u);

    // old.fxb once as a folder row, once as a file row; paths join folder and name.
    const auto flags = l.flags(0);
    int folderRows = 0, fileRows = 0;
    for (size_t i = 0; i < names.size(); ++i)
        if (names[i] == "old.fxb")
            (flags[i] == "true" ? folderRows : fileRows)++;
    EXPECT_EQ(folderRows, 1);
    EXPECT_EQ(fileRows, 1);
    EXPECT_TRUE(l.listing.paths[0].contains(juce::String(folder + "/mix.fxb.bak")));
}

TEST(PresetListing, FoldersComeFirstEachGroupInDirectoryOrder)
{
    const auto folder = freshFolder();
    for (const char* name : {"b-folder", "z-folder", "a-folder", "m-folder"})
        makeFolder(folder + "/" + name);
    for (const char* name : {"c.fxb", "a.fxb", "q.fxb", "b.fxb"})
        makeFile(folder + "/" + name);
    // A symbolic link to a folder is no folder row.
    ASSERT_EQ(::symlink((folder + "/a-folder").c_str(), (folder + "/link-folder").c_str()), 0);

    std::vector<std::string> folders, files;
    for (const auto& name : PresetTest::directoryOrder(folder))
        (name.find("folder") != std::string::npos ? folders : files).push_back(name);
    folders.erase(std::find(folders.begin(), folders.end(), "link-folder"));
    std::vector<std::string> expected = folders;
    expected.insert(expected.end(), files.begin(), files.end());

    Listing l;
    l.list(folder, 0);
    EXPECT_EQ(l.names(1), expected);
    std::vector<std::string> expectedFlags(folders.size(), "true");
    expectedFlags.insert(expectedFlags.end(), files.size(), "false");
    EXPECT_EQ(l.flags(1), expectedFlags);

    const auto& db = *l.listing.database;
    ASSERT_EQ(db.rowCount, 8);
    for (int i = 0; i < db.rowCount; ++i)
    {
        EXPECT_EQ(db.rows[i].id, i);
        EXPECT_EQ(db.rows[i].level, 1);
        EXPECT_EQ(db.rows[i].name, expected[(size_t)i]);
        EXPECT_EQ(db.rows[i].path, folder + "/" + expected[(size_t)i]);
        EXPECT_EQ(db.rows[i].isFolder, i < 4);
    }
}

TEST(PresetListing, ALargeFolderListsEveryEntryAndKeepsTheRowsInBounds)
{
    const auto folder = freshFolder();
    for (int i = 0; i < 150; ++i)
        makeFile(folder + "/p" + std::to_string(i) + ".fxb");
    Listing l;
    l.list(folder, 0);
    EXPECT_EQ(l.listing.names[1].size(), 150);
    EXPECT_EQ(l.listing.paths[1].size(), 150);
    const auto& db = *l.listing.database;
    EXPECT_EQ(db.rowCount, PresetDatabase::rowLimit);
    EXPECT_EQ(db.rows[PresetDatabase::rowLimit - 1].level, 1);

    // A smaller listing afterwards starts from clean rows.
    const auto small = freshFolder();
    makeFile(small + "/one.fxb");
    l.list(small, 0);
    EXPECT_EQ(db.rowCount, 1);
    EXPECT_TRUE(db.rows[1].name.empty());
}

TEST(PresetListing, ALevelOutsideTheListsChangesNothing)
{
    const auto folder = freshFolder();
    makeFile(folder + "/a.fxb");
    Listing l;
    l.list(folder, 3);
    const auto rowsBefore = l.listing.database->rowCount;
    const auto currentBefore = l.listing.database->currentFolder;
    l.list(folder, PresetListing::levelCount - 1);
    l.list(folder, -2);
    EXPECT_EQ(l.listing.database->rowCount, rowsBefore);
    EXPECT_EQ(l.listing.database->currentFolder, currentBefore);
    EXPECT_EQ(l.names(4), std::vector<std::string>{"a.fxb"});
}

TEST(PresetDatabase, EditMarksStayInsideTheirTable)
{
    PresetDatabase db;
    ASSERT_NE(db.editMark(98, 98), nullptr);
    *db.editMark(98, 98) = 1;
    EXPECT_EQ(db.editMarks[98 * 99 + 98], 1);
    EXPECT_EQ(db.editMark(99, 0), nullptr);
    EXPECT_EQ(db.editMark(0, -1), nullptr);
    EXPECT_EQ(db.editMark(-1, 5), nullptr);
}
