#pragma once

#include "Presets/PresetFileOps.h"

#include <juce_core/juce_core.h>

#include <string>

class PresetDatabase;

// What the browser's menus do, apart from any component: each action works on plain files,
// tells the user when it is refused, and asks the panel for the listing that shows the
// result. A listing of folder at level lands in level + 1, as PresetListing does it.
namespace PresetActions
{
// The listing the panel makes at its next tick.
void relist(PresetDatabase& database, const std::string& folder, int level);

// Notes path for a later Paste.
void copy(PresetDatabase& database, const std::string& path);
// The clipboard's file into currentFolder; a file of that name is replaced only after the
// question (message and ok text differ between the row's and the background's menu).
struct PasteTexts
{
    juce::String message;
    juce::String okText;
};
void paste(PresetDatabase& database, int relistLevel, const PasteTexts& texts);
void deleteFile(PresetDatabase& database, const std::string& path, int relistLevel);
// Lists what the folder holds, asks, and removes only that.
void deleteFolder(PresetDatabase& database, const std::string& path, int relistLevel);
// Makes the next "untitled folder" in folder and asks the panel to open its name for editing.
void newFolder(PresetDatabase& database, const std::string& folder, int level);
// Renames the entry at path to name in the same folder; true when it was renamed.
bool rename(PresetDatabase& database, const std::string& path, const std::string& name);
// Shows the entry in the desktop's file manager.
void reveal(const std::string& path);

// The notices of refused operations; what names the entry concerned.
void tellRefused(PresetFileOps::Result result, const std::string& what);
void tellBadName();
void tellReadOnly();
// Why the entry at path can't be changed: it is gone, or it is shared.
void tellUnchangeable(const std::string& path);
} // namespace PresetActions
