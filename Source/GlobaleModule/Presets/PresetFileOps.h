#pragma once

#include <string>
#include <vector>

// The browser's changes to the preset tree, on plain files. None of them loses a file: a
// copy lands under a hidden temporary name and is renamed over its target only when whole,
// a rename never replaces an existing entry, and a folder is removed only as far as it was
// listed before the user agreed. Every call first looks whether its source is still there.
namespace PresetFileOps
{
enum class Result
{
    done,
    vanished, // the source (or the folder to work in) is no longer there
    exists,   // the target is taken and replacing it was not asked for
    refused,  // the name is not allowed, or the operation makes no sense on this entry
    failed    // the system refused (permissions, full disk)
};

// A name of one entry that the user typed: not empty, no "/", no "..", no control
// characters, not starting with a dot, at most 255 bytes.
bool isSafeName(const std::string& name);

// The folder part of a path (up to its last "/", runs of "/" at its end dropped), and the
// name after it.
std::string parentOf(const std::string& path);
std::string nameOf(const std::string& path);
// The path with every run of "/" made one, and no "/" at its end (except the root itself).
std::string tidy(const std::string& path);
// Whether path names the same entry as root or lies below it.
bool isWithin(const std::string& path, const std::string& root);

// Copies the file source to target through a temporary file beside target. A target that
// exists is replaced only with replace set. Copying a file onto itself leaves it as it was.
Result copyFile(const std::string& source, const std::string& target, bool replace);
// Removes one file (never a folder).
Result removeFile(const std::string& path);
// Renames an entry; an existing target is never replaced.
Result rename(const std::string& from, const std::string& to);
// Makes one folder inside an existing one.
Result makeFolder(const std::string& path);

// The name "New folder" takes in folder: "untitled folder", else "untitled folder 1", 2, ...
// for the first that is not an existing folder.
std::string newFolderName(const std::string& folder);

// What a folder holds, taken before its removal is asked: files and links (never followed)
// in listing order, folders deepest first, the folder itself last.
struct FolderContents
{
    // An entry as it was seen: a file saved anew under the same name since is another one.
    struct Entry
    {
        std::string path;
        unsigned long long device = 0, inode = 0;
    };
    std::vector<Entry> files;
    std::vector<Entry> folders;
    bool complete = false; // false when the folder could not be read whole or is too large
};
constexpr int contentsLimit = 10000;
FolderContents listFolder(const std::string& folder);
// Removes what contents lists and nothing else: a file that appeared since keeps its folder.
// done when the folder itself is gone.
Result removeListed(const FolderContents& contents);
} // namespace PresetFileOps
