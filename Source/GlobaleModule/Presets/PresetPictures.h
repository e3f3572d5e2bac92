#pragma once

#include <juce_graphics/juce_graphics.h>

// The pictures of the preset panel and its browser, decoded once and kept in the
// framework's image cache while they are used.
namespace PresetPictures
{
// The panel's background; an invalid image when the plug-in carries none.
juce::Image background();
// The folder picture of the browser's first column.
juce::Image folder();
} // namespace PresetPictures
