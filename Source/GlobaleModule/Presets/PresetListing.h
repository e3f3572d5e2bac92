#pragma once

#include "Presets/PresetDatabase.h"

#include <juce_core/juce_core.h>

#include <memory>
#include <set>
#include <string>
#include <vector>

struct Settings;

// The panel's data without its view: the store, the per-level lists of the browser's
// columns, and the listing of a folder into them. The preset panel derives from this, so
// that the listing can be used and tested without any component.
class PresetListing
{
public:
    static constexpr int levelCount = PresetDatabase::levelLimit;

    // Makes the user's preset root and lists it, merged with the machine-wide trees, into level 0.
    explicit PresetListing(const Settings* settings);
    // The same for trees given: the user's root, and read-only trees below it in rank.
    PresetListing(const std::string& userRoot, const std::vector<std::string>& sharedRoots);
    virtual ~PresetListing() = default;

    // Lists path as a child of listing level: the result lands in level + 1. The root is
    // listed with level -1. Folders come first, then every entry holding ".fxb", each group
    // in the order the directory gives. A level outside the lists is not listed.
    // Below the user's root the same folder of every machine-wide tree is listed too: its
    // folders and files follow, unless the user's tree (or a tree of higher rank) holds one
    // of that name. Folder rows keep the user's path, and a folder opened there is made in the
    // user's tree, so that a save lands in the user's tree.
    void getFoldersAndFiles(const std::string& path, int level);

    const std::string& getRootPath() const { return rootPath; }

    std::unique_ptr<PresetDatabase> database = std::make_unique<PresetDatabase>();
    juce::StringArray names[levelCount];
    juce::StringArray paths[levelCount];
    juce::StringArray flags[levelCount];
    juce::String folderNames[levelCount];

private:
    void clearLevel(int level, const std::string& path);
    void addEntry(int level, bool isFolder, const std::string& name, const std::string& path);
    // Whether the listing holds an entry of that kind and name (from a tree of higher rank).
    bool isListed(bool isFolder, const std::string& name) const;
    // The two passes over one folder; folderRowsAt names the folder rows' parent. Each
    // returns how many entries it took, -1 when the folder won't open.
    int listFolders(const std::string& path, const std::string& folderRowsAt, int level);
    int listPresetFiles(const std::string& path, int level);
    // The same folder in each machine-wide tree, when path lies in the user's tree.
    std::vector<std::string> sharedCounterparts(const std::string& path) const;
    static void makeUserFolderFor(const std::string& path, const std::vector<std::string>& shared);

    std::string rootPath;
    std::vector<std::string> sharedRoots;
    std::set<std::string> listedFolders, listedFiles;
};
