#include "Presets/PresetActions.h"

#include "Ground/SettingsPaths.h"
#include "Presets/PresetDatabase.h"
#include "Presets/ReplaceQuestion.h"

#include <memory>

namespace PresetActions
{
namespace
{
using PresetFileOps::Result;

juce::String quoted(const std::string& path)
{
    return "\"" + juce::String::fromUTF8(PresetFileOps::nameOf(path).c_str()) + "\"";
}

// Runs the listing only while the panel that asked for it is still there.
void relistIfAlive(const std::weak_ptr<bool>& lifetime, PresetDatabase* database, const std::string& folder,
                   int level)
{
    if (!lifetime.expired())
        relist(*database, folder, level);
}

void pasteInto(PresetDatabase& database, const std::string& source, const std::string& target,
               int relistLevel, bool replace)
{
    const auto result = PresetFileOps::copyFile(source, target, replace);
    if (result != Result::done)
        tellRefused(result,
                    result == Result::vanished && SettingsPaths::isDirectory(PresetFileOps::parentOf(target))
                        ? source
                        : target);
    relist(database, database.currentFolder, relistLevel);
}
} // namespace

void relist(PresetDatabase& database, const std::string& folder, int level)
{
    database.pendingPath = folder;
    database.pendingLevel = level;
    database.pendingIsFolder = true;
    database.pendingSelection = true;
}

void copy(PresetDatabase& database, const std::string& path)
{
    if (!SettingsPaths::isFile(path))
    {
        tellRefused(Result::vanished, path);
        return;
    }
    database.clipboardFilled = true;
    database.clipboardPath = path;
}

void paste(PresetDatabase& database, int relistLevel, const PasteTexts& texts)
{
    const auto source = database.clipboardPath;
    const auto folder = database.currentFolder;
    if (!database.mayWriteInto(folder) && SettingsPaths::isDirectory(folder))
    {
        tellReadOnly();
        return;
    }
    const auto target = folder + "/" + PresetFileOps::nameOf(source);
    if (!SettingsPaths::isFile(source) || !SettingsPaths::isFile(target))
    {
        pasteInto(database, source, target, relistLevel, false);
        return;
    }
    auto lifetime = database.lifetime();
    auto* store = &database;
    ReplaceQuestion::ask("Preset already exists", texts.message, texts.okText, "Cancel",
                         [=](int result)
                         {
                             if (result != 1)
                                 return;
                             if (lifetime.expired())
                                 PresetFileOps::copyFile(source, target, true);
                             else
                                 pasteInto(*store, source, target, relistLevel, true);
                         });
}

void deleteFile(PresetDatabase& database, const std::string& path, int relistLevel)
{
    const auto result = PresetFileOps::removeFile(path);
    if (result != Result::done)
        tellRefused(result, path);
    relist(database, PresetFileOps::parentOf(path), relistLevel);
}

void deleteFolder(PresetDatabase& database, const std::string& path, int relistLevel)
{
    const auto contents = PresetFileOps::listFolder(path);
    if (contents.folders.empty())
    {
        tellRefused(Result::vanished, path);
        relist(database, PresetFileOps::parentOf(path), relistLevel);
        return;
    }
    if (!contents.complete)
    {
        ReplaceQuestion::tell("Folder not deleted", "The folder " + quoted(path) +
                                                        " could not be read whole, so nothing was deleted.");
        return;
    }
    const auto message = "Delete the folder " + quoted(path) + " and everything in it (" +
                         juce::String((int)contents.files.size()) + " files, " +
                         juce::String((int)contents.folders.size() - 1) + " folders)?";
    auto lifetime = database.lifetime();
    auto* store = &database;
    ReplaceQuestion::ask("Delete folder", message, "Delete", "Cancel",
                         [=](int result)
                         {
                             if (result != 1)
                                 return;
                             if (PresetFileOps::removeListed(contents) != Result::done)
                                 ReplaceQuestion::tell("Folder kept",
                                                       "The folder " + quoted(path) +
                                                           " now holds entries that were not there "
                                                           "when you agreed, or that could not be "
                                                           "removed. They were kept.");
                             relistIfAlive(lifetime, store, PresetFileOps::parentOf(path), relistLevel);
                         });
}

void newFolder(PresetDatabase& database, const std::string& folder, int level)
{
    if (!database.mayWriteInto(folder) && SettingsPaths::isDirectory(folder))
    {
        tellReadOnly();
        return;
    }
    const auto name = PresetFileOps::newFolderName(folder);
    const auto result = PresetFileOps::makeFolder(folder + "/" + name);
    if (result != Result::done)
    {
        tellRefused(result, result == Result::vanished ? folder : folder + "/" + name);
        relist(database, PresetFileOps::parentOf(folder), level - 1);
        return;
    }
    database.reopenFolder = juce::String::fromUTF8(folder.c_str());
    database.reopenLevel = level - 1;
    database.reopenRowName = juce::String::fromUTF8(name.c_str());
    database.reopenRequest = true;
}

bool rename(PresetDatabase& database, const std::string& path, const std::string& name)
{
    if (!PresetFileOps::isSafeName(name))
    {
        tellBadName();
        return false;
    }
    if (!database.mayChange(path) && SettingsPaths::isDirectory(PresetFileOps::parentOf(path)))
    {
        tellReadOnly();
        return false;
    }
    const auto result = PresetFileOps::rename(path, PresetFileOps::parentOf(path) + "//" + name);
    if (result != Result::done)
        tellRefused(result, result == Result::exists ? name : path);
    return result == Result::done;
}

void reveal(const std::string& path)
{
    const juce::File file(juce::String::fromUTF8(path.c_str()));
    if (!file.exists())
    {
        tellRefused(Result::vanished, path);
        return;
    }
    file.revealToUser();
}

void tellRefused(Result result, const std::string& what)
{
    switch (result)
    {
    case Result::done:
        return;
    case Result::vanished:
        ReplaceQuestion::tell("Not found",
                              quoted(what) + " is no longer there. It may have been moved or deleted outside "
                                             "the plug-in.");
        return;
    case Result::exists:
        ReplaceQuestion::tell("Name already taken",
                              "There is already an entry called " + quoted(what) + " in this folder.");
        return;
    case Result::refused:
        ReplaceQuestion::tell("Not possible", quoted(what) + " is a folder.");
        return;
    case Result::failed:
        ReplaceQuestion::tell("Not possible", "The system refused to change " + quoted(what) +
                                                  " (no permission, or the disk is full).");
        return;
    }
}

void tellBadName()
{
    ReplaceQuestion::tell("Name not allowed", "A name must not be empty, begin with a dot, or hold \"/\", "
                                              "\"..\" or control characters.");
}

void tellReadOnly()
{
    ReplaceQuestion::tell("Read-only presets", "These presets are shared by all users of this computer and "
                                               "cannot be changed here. Copy a preset and paste it into your "
                                               "own folders to change it.");
}

void tellUnchangeable(const std::string& path)
{
    if (juce::File(juce::String::fromUTF8(path.c_str())).exists())
        tellReadOnly();
    else
        tellRefused(Result::vanished, path);
}
} // namespace PresetActions
