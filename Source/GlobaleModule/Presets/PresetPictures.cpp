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
    return cached(folderKey, [] { return decoded(folderNumber, folderSize, folderSize); });
}
} // namespace PresetPictures
