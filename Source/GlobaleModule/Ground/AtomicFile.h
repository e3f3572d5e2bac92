#pragma once

#include <string>

// Every file the plug-in keeps is replaced whole or not at all: the bytes go to a hidden
// temporary file in the same folder, are flushed to the disk, and the temporary file is
// renamed over the old one. A crash or a full disk at any moment leaves either the old file
// or the new one, never a short one.
namespace AtomicFile
{
// Replaces path with bytes. False when the old file (if any) stays as it was.
bool write(const std::string& path, const std::string& bytes);

// The two halves of write, apart so that a test can stop between them as a crash would.
// writeTemporary returns the temporary file's path (empty on failure); it starts with "."
// so that no listing takes it for a preset.
std::string writeTemporary(const std::string& path, const std::string& bytes);
// Renames the temporary file over path and flushes the folder; removes it on failure.
bool replace(const std::string& temporary, const std::string& path);
} // namespace AtomicFile
