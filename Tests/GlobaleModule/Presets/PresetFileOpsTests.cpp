// The browser's file operations on plain files: nothing is lost, nothing unlisted removed.
#include "Presets/PresetFileOps.h"

#include "PresetTestSupport.h"

#include <gtest/gtest.h>

#include <sys/stat.h>
#include <unistd.h>

using namespace PresetFileOps;
using PresetTest::directoryOrder;
using PresetTest::freshFolder;
using TestEnvironment::readFile;
using TestEnvironment::writeFile;

namespace
{
bool isFolder(const std::string& path)
{
    struct stat info
    {
    };
    return ::stat(path.c_str(), &info) == 0 && S_ISDIR(info.st_mode);
}
} // namespace

TEST(PresetFileOps, NamesThatCouldLeaveTheFolderOrHideAreRefused)
{
    for (const char* good : {"Vocals", "Bass 2.fxb", "a.b", "Ümlaut", "x"})
        EXPECT_TRUE(isSafeName(good)) << good;
    const std::vector<std::string> bad = {"",         ".hidden", "..",        "a/b",
                                          "/abs",     "up..",    "tab\there", std::string("nul\0x", 5),
                                          "bell\x07", "del\x7f", "line\nend", std::string(256, 'a')};
    for (const auto& name : bad)
        EXPECT_FALSE(isSafeName(name)) << name;
}

TEST(PresetFileOps, PathPiecesIgnoreDoubledSlashes)
{
    EXPECT_EQ(parentOf("/a/b//c.fxb"), "/a/b");
    EXPECT_EQ(nameOf("/a/b//c.fxb"), "c.fxb");
    EXPECT_EQ(parentOf("/a"), "/");
    EXPECT_EQ(tidy("/a//b/"), "/a/b");
    EXPECT_TRUE(isWithin("/usr/share/x//y", "/usr/share/x"));
    EXPECT_TRUE(isWithin("/usr/share/x", "/usr/share/x/"));
    EXPECT_FALSE(isWithin("/usr/share/xy", "/usr/share/x"));
    EXPECT_FALSE(isWithin("/usr/share/x", ""));
}

TEST(PresetFileOps, ACopyReplacesOnlyWhenAskedAndLeavesNoTemporaryFile)
{
    const auto folder = freshFolder();
    writeFile(folder + "/a.fxb", "new");
    writeFile(folder + "/b.fxb", "old");
    ::mkdir((folder + "/sub").c_str(), 0755);

    EXPECT_EQ(copyFile(folder + "/a.fxb", folder + "/b.fxb", false), Result::exists);
    EXPECT_EQ(readFile(folder + "/b.fxb"), "old");
    EXPECT_EQ(copyFile(folder + "/a.fxb", folder + "/b.fxb", true), Result::done);
    EXPECT_EQ(readFile(folder + "/b.fxb"), "new");
    EXPECT_EQ(copyFile(folder + "/a.fxb", folder + "/sub/a.fxb", false), Result::done);
    EXPECT_EQ(readFile(folder + "/sub/a.fxb"), "new");
    // Onto itself, and through a doubled slash: the file stays whole.
    EXPECT_EQ(copyFile(folder + "/a.fxb", folder + "//a.fxb", true), Result::done);
    EXPECT_EQ(readFile(folder + "/a.fxb"), "new");

    EXPECT_EQ(copyFile(folder + "/gone.fxb", folder + "/c.fxb", false), Result::vanished);
    EXPECT_EQ(copyFile(folder + "/a.fxb", folder + "/nowhere/a.fxb", false), Result::vanished);
    EXPECT_EQ(copyFile(folder + "/a.fxb", folder + "/sub", true), Result::refused);
    EXPECT_EQ(directoryOrder(folder).size(), 3u) << "no temporary file is left behind";
    EXPECT_EQ(directoryOrder(folder + "/sub").size(), 1u);
}

TEST(PresetFileOps, RenameNeverReplacesAndRemoveNeverTakesAFolder)
{
    const auto folder = freshFolder();
    writeFile(folder + "/a.fxb", "a");
    writeFile(folder + "/b.fxb", "b");
    ::mkdir((folder + "/sub").c_str(), 0755);

    EXPECT_EQ(PresetFileOps::rename(folder + "/a.fxb", folder + "//b.fxb"), Result::exists);
    EXPECT_EQ(readFile(folder + "/b.fxb"), "b");
    EXPECT_EQ(PresetFileOps::rename(folder + "/a.fxb", folder + "/sub"), Result::exists);
    EXPECT_EQ(PresetFileOps::rename(folder + "/a.fxb", folder + "//c.fxb"), Result::done);
    EXPECT_EQ(readFile(folder + "/c.fxb"), "a");
    EXPECT_EQ(PresetFileOps::rename(folder + "/a.fxb", folder + "/d.fxb"), Result::vanished);
    EXPECT_EQ(PresetFileOps::rename(folder + "/sub", folder + "/renamed"), Result::done);
    EXPECT_TRUE(isFolder(folder + "/renamed"));

    EXPECT_EQ(removeFile(folder + "/renamed"), Result::refused);
    EXPECT_EQ(removeFile(folder + "/c.fxb"), Result::done);
    EXPECT_EQ(removeFile(folder + "/c.fxb"), Result::vanished);
}

TEST(PresetFileOps, NewFoldersAreNumberedPastTheFoldersThatExist)
{
    const auto folder = freshFolder();
    EXPECT_EQ(newFolderName(folder), "untitled folder");
    ASSERT_EQ(makeFolder(folder + "/" + newFolderName(folder)), Result::done);
    ASSERT_EQ(makeFolder(folder + "/" + newFolderName(folder)), Result::done);
    EXPECT_EQ(newFolderName(folder), "untitled folder 2");
    // A plain file of the name is no folder: it is not skipped, and the folder can't be made.
    writeFile(folder + "/untitled folder 2", "");
    EXPECT_EQ(newFolderName(folder), "untitled folder 2");
    EXPECT_EQ(makeFolder(folder + "/untitled folder 2"), Result::exists);
    EXPECT_EQ(makeFolder(folder + "/gone/untitled folder"), Result::vanished);
}

TEST(PresetFileOps, AFolderIsRemovedOnlyAsFarAsItWasListed)
{
    const auto folder = freshFolder() + "/Mixes";
    ::mkdir(folder.c_str(), 0755);
    ::mkdir((folder + "/Drums").c_str(), 0755);
    writeFile(folder + "/a.fxb", "a");
    writeFile(folder + "/notes.txt", "n");
    writeFile(folder + "/Drums/kick.fxb", "k");
    ASSERT_EQ(::symlink("/etc", (folder + "/link").c_str()), 0);

    auto contents = listFolder(folder);
    ASSERT_TRUE(contents.complete);
    EXPECT_EQ(contents.files.size(), 4u);
    ASSERT_EQ(contents.folders.size(), 2u);
    EXPECT_EQ(contents.folders.back().path, folder);

    // Saved meanwhile: a new file, and one saved anew under a listed name. Both stay.
    writeFile(folder + "/Drums/snare.fxb", "s");
    writeFile(folder + "/a.tmp", "saved again");
    ASSERT_EQ(::rename((folder + "/a.tmp").c_str(), (folder + "/a.fxb").c_str()), 0);
    EXPECT_EQ(removeListed(contents), Result::failed);
    EXPECT_EQ(readFile(folder + "/Drums/snare.fxb"), "s");
    EXPECT_EQ(readFile(folder + "/a.fxb"), "saved again");
    EXPECT_EQ(readFile(folder + "/notes.txt"), "");
    EXPECT_TRUE(isFolder("/etc")) << "a link is removed, never followed";

    EXPECT_EQ(removeListed(listFolder(folder)), Result::done);
    EXPECT_FALSE(isFolder(folder));
    EXPECT_EQ(removeListed(listFolder(folder)), Result::vanished);
}
