#include "Components/ImageHolders.h"

#include "Components/Scale.h"

ImageHolder::ImageHolder(int widthAtOne, int heightAtOne) : baseWidth(widthAtOne), baseHeight(heightAtOne)
{
    setInterceptsMouseClicks(false, false);
}

void ImageHolder::paint(juce::Graphics& g)
{
    if (!image.isValid())
        return;
    g.drawImage(image, 0, 0, scaledLength(baseWidth, scale), scaledLength(baseHeight, scale), 0, 0,
                image.getWidth(), image.getHeight());
}

void Rahmen::paint(juce::Graphics& g)
{
    if (image.isValid())
        g.drawImage(image, 0, 0, getWidth(), getHeight(), 0, 0, image.getWidth(), image.getHeight());
}
