#pragma once

#include <juce_core/juce_core.h>

#include <memory>
#include <vector>

// The document that the session state and the preset files share: an element "Root" with
// one child "Knob<i>" per stored knob. Reading compares tags ignoring case.
namespace KnobDocument
{
// The knob that a tag names ("Knob<i>" in any case, i below knobCount), or -1.
int knobOfTag(const juce::String& tag, int knobCount);
// The whole text of an element as a float; false for an empty text or one that is no number.
bool knobText(const juce::XmlElement& element, float& value);
// Knob elements whose value is not above 0: a document with nearly all of them at zero is
// what some hosts hand over instead of a real state.
int countEmptyKnobs(const juce::XmlElement& root, int knobCount);
// The one way in for text from outside (a session block, a preset file): only the plain
// markup that the plug-in itself writes reaches the framework's XML reader: an optional
// declaration, elements without attributes at most 32 deep, text, the five named and the
// numeric character references, valid UTF-8. The reader loops for ever or runs out of
// stack on some other forms, and a host must never hang on a file. nullptr when refused.
std::unique_ptr<juce::XmlElement> parse(const char* text, std::size_t size);
// The same for the framework's binary state block ("VC2!", length, text).
std::unique_ptr<juce::XmlElement> parseBinary(const void* data, int sizeInBytes);
// Whether text is such plain markup.
bool isPlainMarkup(const char* text, std::size_t size);

// "Root" with "Knob0" ... "Knob<n-1>", each value printed with FloatInString.
std::unique_ptr<juce::XmlElement> make(const std::vector<float>& values);
} // namespace KnobDocument
