#pragma once

#include "Presets/PresetDatabase.h"

#include <juce_core/juce_core.h>

#include <memory>
#include <string>

struct Settings;

// The panel's data without its view: the store, the per-level lists of the browser's
// columns, and the listing of a folder into them. The preset panel derives from this, so
// that the listing can be used and tested without any component.
class PresetListing
{
public:
    static constexpr int levelCount = PresetDatabase::levelLimit;

    // Makes the preset root and lists it into level 0.
    explicit PresetListing(const Settings* settings);
    virtual ~PresetListing() = default;

    // Lists path as a child of listing level: the result lands in level + 1. The root is
    // listed with level -1. Folders come first, then every entry holding ".fxb", each group
    // in the order the directory gives. A level outside the lists is not listed.
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
    // The two passes; each returns how many entries it took, -1 when the folder won't open.
    int listFolders(const std::string& path, int level);
    int listPresetFiles(const std::string& path, int level);

    std::string rootPath;
};
