#pragma once

#include <juce_gui_basics/juce_gui_basics.h>

#include <functional>

// The menu of the unit's meter faces. The product owns the built-in pictures and hands over
// how to decode the small picture of a face; the menu decodes all of them anew each time
// it is built, so nothing stays in memory between menus.
namespace MeterMenu
{
constexpr int faceCount = 21;

// The small picture (200 x 120) of meter 1 to faceCount; an invalid image when there is none.
using Pictures = std::function<juce::Image(int meter)>;
// Message thread only, before a menu is built.
void setPictures(Pictures pictures);
juce::Image picture(int meter);

// "Meter 1" to "Meter 21", ids 1 to 21, each a picture cell, a separator between each two.
juce::PopupMenu build();
} // namespace MeterMenu
