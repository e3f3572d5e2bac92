#include "Presets/PresetPictures.h"

namespace PresetPictures
{
namespace
{
constexpr juce::int64 folderKey = 0x4d72766e466f6c64; // "MrvnFold"

// A plain folder: a tab on the back, the front a shade lighter.
juce::Image paintFolder()
{
    constexpr int size = 64;
    juce::Image image(juce::Image::ARGB, size, size, true);
    juce::Graphics g(image);
    juce::Path back;
    back.startNewSubPath(4.0f, 14.0f);
    back.lineTo(24.0f, 14.0f);
    back.lineTo(29.0f, 19.0f);
    back.lineTo(60.0f, 19.0f);
    back.lineTo(60.0f, 54.0f);
    back.lineTo(4.0f, 54.0f);
    back.closeSubPath();
    g.setColour(juce::Colour(0xff3d7fb8));
    g.fillPath(back);
    g.setColour(juce::Colour(0xff6fb0e6));
    g.fillRoundedRectangle(4.0f, 25.0f, 56.0f, 29.0f, 3.0f);
    return image;
}
} // namespace

juce::Image background()
{
    return {};
}

juce::Image folder()
{
    auto image = juce::ImageCache::getFromHashCode(folderKey);
    if (image.isValid())
        return image;
    image = paintFolder();
    juce::ImageCache::addImageToCache(image, folderKey);
    return image;
}
} // namespace PresetPictures
