#pragma once

#include <juce_core/juce_core.h>

#include <cstddef>
#include <memory>
#include <string>
#include <vector>

// The document that the session state and the preset files share: an element "Root" with
// one child "Knob<i>" per stored knob. Reading compares tags ignoring case.
namespace KnobDocument
{
// Larger texts are no document of ours; they are refused before anything is parsed.
constexpr std::size_t maxBytes = 1 << 20;
// Deeper nesting is refused: our documents are two levels deep.
constexpr int maxDepth = 32;

// The knob that a tag names ("Knob<i>" in any case, i below knobCount), or -1.
int knobOfTag(const juce::String& tag, int knobCount);
// The whole text of an element as a float; false for an empty text or one that is no number.
bool knobText(const juce::XmlElement& element, float& value);
// Knob elements whose value is not above 0: a document with nearly all of them at zero is
// what some hosts hand over instead of a real state.
int countEmptyKnobs(const juce::XmlElement& root, int knobCount);

// The one way in for text from outside (a session block, a preset file), read up to its
// first zero byte by pugixml within the limits above. Elements, attributes, text and CDATA
// are kept; comments, processing instructions and the doctype are dropped. Text that is not
// valid UTF-8 is taken as Latin-1. nullptr when refused; then `why`, when given, says why.
std::unique_ptr<juce::XmlElement> parse(const char* text, std::size_t size, std::string* why = nullptr);
// The same for the framework's binary state block ("VC2!", length, text).
std::unique_ptr<juce::XmlElement> parseBinary(const void* data, int sizeInBytes, std::string* why = nullptr);

// "Root" with "Knob0" ... "Knob<n-1>", each value printed with FloatInString.
std::unique_ptr<juce::XmlElement> make(const std::vector<float>& values);
} // namespace KnobDocument
