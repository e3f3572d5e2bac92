// PNG and JPEG encoding of painted pictures, byte for byte the same on every run.
#pragma once

#include <juce_graphics/juce_graphics.h>

enum class PictureFormat
{
    rgb,       // opaque, 8 bits a channel
    rgba,      // with alpha, 8 bits a channel
    greyAlpha, // a grey picture with alpha: half the bytes of rgba before compression
    indexed4,  // 16 entries of one colour at 16 levels of alpha, 4 bits a pixel
    jpeg
};

// Encodes the image. For indexed4 every pixel takes the entry of its alpha; the colour of the
// palette is `tint`.
juce::MemoryBlock encodePicture(const juce::Image& image, PictureFormat format,
                                juce::Colour tint = juce::Colours::black);
