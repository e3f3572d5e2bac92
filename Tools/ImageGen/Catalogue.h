// The list of built-in pictures: number, format and painter of each.
#pragma once

#include "PngWriter.h"

#include <functional>
#include <vector>

struct Picture
{
    int number;
    PictureFormat format;
    juce::Image image;
    juce::String caption;
};

// Paints every picture, in the order of their numbers.
std::vector<Picture> paintCatalogue();

// The encoded file of a picture and its name in the output folder.
juce::MemoryBlock encoded(const Picture& picture);
juce::String fileNameOf(const Picture& picture);

// One sheet with every picture small and its number under it.
juce::Image contactSheet(const std::vector<Picture>& pictures);

// The front panel as the editor stacks its pictures, at twice the window's size.
juce::Image panelPreview(const std::vector<Picture>& pictures);
