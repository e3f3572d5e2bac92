#pragma once

#include <string>

// Where the instance's small files and the log live. <home> is the environment variable
// "Home" exactly, else the password database. On Linux the tree hangs below
// <home>/.config instead of <home>/Library/Application Support.
namespace SettingsPaths
{
// Empty when neither source gives a home folder.
std::string home();
// The levels from <home> down to the maker's folder, each one to be made in turn.
// Empty when there is no home.
std::string applicationFolder();
// Makes every missing level of applicationFolder() + "/" + sub (sub may hold several
// levels, or be empty). Returns the full path, or empty when there is no home.
std::string makeFolders(const std::string& sub);
// True when the path exists and is a directory.
bool isDirectory(const std::string& path);
// True when the path exists and is a regular file.
bool isFile(const std::string& path);
// The size of the file in bytes, -1 when it does not exist.
long long fileSize(const std::string& path);
} // namespace SettingsPaths
