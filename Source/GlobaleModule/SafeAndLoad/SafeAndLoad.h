#pragma once

#include <array>
#include <sstream>
#include <string>

struct Settings;
class GlobalData;

// Reader and writer of the instance's small text files, "IP.txt" and "GuiSettings.txt",
// in its numbered folder below the product folder.
class SafeAndLoad
{
public:
    SafeAndLoad(Settings* settings, GlobalData* global);

    // Replaces <instance folder>/<name>.txt with the whole of content. Silent on failure.
    void SafeFiles(const std::string& name, std::stringstream& content);
    // Makes the folders, records the instance folder and reads "IP.txt". True when the file
    // was read and not empty (and when there is no home at all, as the finder expects).
    bool LoadFiles();
    // Makes the folders and returns the instance folder (empty without a home).
    std::string makeInstanceFolder();
    // Reads "GuiSettings.txt" by position, applies it in its fixed order and writes it back
    // once. A missing, empty or folder file changes nothing.
    void ReadGuiSettings();
    // The first five values of the positional reading: each starts two bytes behind the
    // next "=" and ends before the next ";".
    static std::array<std::string, 5> positionalValues(const std::string& text);

    // "1" for the master, the slave's number otherwise.
    std::string instanceFolderName() const;

private:
    GlobalData* global;
    std::string productFolder;
};
