#pragma once

#include <juce_graphics/juce_graphics.h>

#include <functional>

// The pictures of the preset panel and its browser. The product owns the built-in pictures
// and hands over how to decode one by its number; each is decoded at its first use, brought
// to the size it is drawn at, and kept in the framework's image cache while it is used.
namespace PresetPictures
{
constexpr int backgroundNumber = 26;
constexpr int folderNumber = 27;

using Decoder = std::function<juce::Image(int number)>;
// Message thread only, before the panel is shown.
void setDecoder(Decoder decoder);

// The panel's background at 1280 x 800; an invalid image when there is none.
juce::Image background();
// The folder picture of the browser's first column, 64 x 64; an invalid image when there is none.
juce::Image folder();
} // namespace PresetPictures
