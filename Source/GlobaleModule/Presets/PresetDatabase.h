#pragma once

#include <juce_core/juce_core.h>

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

// One row of a folder listing.
struct Object
{
    bool isFolder = false;
    std::string name;
    std::string path;
    int32_t id = 0;
    int32_t level = 0;
};

// The preset store of one panel: the rows of the last listing, and the mailbox between the
// browser's tables and the panel's timer. Everything here lives on the message thread.
class PresetDatabase
{
public:
    static constexpr int rowLimit = 100;
    static constexpr int levelLimit = 99;

    // Appends a row at rowCount. Beyond rowLimit the row is not kept (the name lists of a
    // listing carry every entry; the rows only tell the level): false then.
    bool setFile(bool isFolder, const std::string& name, const std::string& path, int32_t level);
    // Empties every row and sets rowCount to 0. Levels stay: a failed listing leaves them.
    void clearRows();
    // The editMarks byte of (level, row); null outside the table.
    uint8_t* editMark(int level, int row);
    // Whether the user may rename or remove the entry at path (it exists), and whether they
    // may put new entries into folder: not below one of sharedRoots, the folder concerned
    // writable.
    bool mayChange(const std::string& path) const;
    bool mayWriteInto(const std::string& folder) const;
    // Answers that arrive after the panel has gone look here first.
    std::weak_ptr<bool> lifetime() const { return alive; }

    // Trees that are shown and loaded but never changed (the machine-wide presets).
    std::vector<std::string> sharedRoots;

    std::string currentFolder;
    Object rows[rowLimit];
    uint8_t editMarks[levelLimit * levelLimit] = {};
    std::string pendingPath;
    bool pendingSelection = false;
    bool pendingIsFolder = false;
    int32_t pendingLevel = 0;
    bool clipboardFilled = false;
    int32_t rowCount = 0;
    int32_t currentLevel = 0;
    std::string clipboardPath;
    int32_t lastTableLevel = 0;
    bool tableChanged = false;
    bool reopenRequest = false;
    bool skipFolderOpen = false;
    int32_t reopenLevel = 0;
    int32_t reopenRow = 0;
    juce::String reopenFolder;
    juce::String reopenRowName;

private:
    bool isShared(const std::string& path) const;

    std::shared_ptr<bool> alive = std::make_shared<bool>(true);
};
