#include "Presets/PresetPictures.h"

namespace PresetPictures
{
namespace
{
// Keys of the cache: "MrvnBack", "MrvnFold".
constexpr juce::int64 backgroundKey = 0x4d72766e4261636b;
constexpr juce::int64 folderKey = 0x4d72766e466f6c64;
constexpr int folderSize = 64;

Decoder& decoder()
{
    static Decoder installed;
    return installed;
}

juce::Image decoded(int number, int width, int height)
{
    if (!decoder())
        return {};
    const auto image = decoder()(number);
    if (!image.isValid())
        return {};
    return image.rescaled(width, height, juce::Graphics::highResamplingQuality);
}

// A plain folder: a tab on the back, the front a shade lighter.
juce::Image paintFolder()
{
    juce::Image image(juce::Image::ARGB, folderSize, folderSize, true);
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

juce::Image cached(juce::int64 key, const std::function<juce::Image()>& make)
{
    auto image = juce::ImageCache::getFromHashCode(key);
    if (image.isValid())
        return image;
    image = make();
    if (image.isValid())
        juce::ImageCache::addImageToCache(image, key);
    return image;
}
} // namespace

void setDecoder(Decoder newDecoder)
{
    decoder() = std::move(newDecoder);
}

juce::Image background()
{
    return cached(backgroundKey, [] { return decoded(backgroundNumber, 1280, 800); });
}

juce::Image folder()
{
    return cached(folderKey,
                  []
                  {
                      const auto image = decoded(folderNumber, folderSize, folderSize);
                      return image.isValid() ? image : paintFolder();
                  });
}
} // namespace PresetPictures
