#pragma once

#include "Presets/KnobDocument.h"

#include <juce_core/juce_core.h>

#include <cstddef>
#include <memory>
#include <string>

// A preset is a small XML text file: the declaration, a blank line, then "Root" with one
// "Knob<i>" per stored knob, two-space indent, CR LF line ends (see KnobDocument).
namespace PresetFile
{
// Larger files are no preset; they are dropped before anything is parsed.
constexpr std::size_t maxBytes = KnobDocument::maxBytes;

// The path Save writes to: folder + "//" + name, with ".fxb" added unless the name holds it.
std::string savePathFor(const std::string& folder, const std::string& name);
// Writes through a temporary file beside the target that replaces it only when complete
// (AtomicFile), so a failed write leaves an older preset as it was. False when nothing was written; a
// path that names a folder is not attempted.
bool write(const juce::XmlElement& document, const std::string& path);
// The exact bytes that write() puts in a file.
std::string toText(const juce::XmlElement& document);
// True when path names an existing regular file (not a folder).
bool existsAsFile(const std::string& path);

// The file's bytes up to the first zero byte; empty when missing, unreadable or too large.
std::string readText(const std::string& path);
// The text from the first "<Root>" at or after the second byte, or empty: the declaration
// and anything else in front of it is never parsed.
std::string fromRootTag(const std::string& text);
// The document of a preset file, or null when the file holds none. A file that has bytes
// but no document is named in one log line in the log folder (the product folder).
std::unique_ptr<juce::XmlElement> read(const std::string& path, const std::string& logFolder);
} // namespace PresetFile
