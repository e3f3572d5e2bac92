#include "Presets/PresetDatabase.h"

#include "Presets/PresetFileOps.h"

#include <unistd.h>

bool PresetDatabase::setFile(bool isFolder, const std::string& name, const std::string& path, int32_t level)
{
    if (rowCount < 0 || rowCount >= rowLimit)
        return false;
    auto& row = rows[rowCount];
    row.isFolder = isFolder;
    row.name = name;
    row.path = path;
    row.level = level;
    row.id = rowCount;
    ++rowCount;
    return true;
}

void PresetDatabase::clearRows()
{
    for (auto& row : rows)
    {
        row.isFolder = false;
        row.name.clear();
        row.path.clear();
    }
    rowCount = 0;
}

uint8_t* PresetDatabase::editMark(int level, int row)
{
    if (level < 0 || level >= levelLimit || row < 0 || row >= levelLimit)
        return nullptr;
    return &editMarks[level * levelLimit + row];
}

bool PresetDatabase::isShared(const std::string& path) const
{
    for (const auto& root : sharedRoots)
        if (PresetFileOps::isWithin(path, root))
            return true;
    return false;
}

bool PresetDatabase::mayWriteInto(const std::string& folder) const
{
    return !folder.empty() && !isShared(folder) && ::access(folder.c_str(), W_OK | X_OK) == 0;
}

bool PresetDatabase::mayChange(const std::string& path) const
{
    // A folder row of the user's tree may stand only for folders of the shared trees.
    return !path.empty() && ::access(path.c_str(), F_OK) == 0 && !isShared(path) &&
           mayWriteInto(PresetFileOps::parentOf(path));
}
