#pragma once

#include <juce_gui_basics/juce_gui_basics.h>

class GlobalData;

// A picture drawn whole into a fixed rectangle at the origin, scaled by the size rule.
class ImageHolder : public juce::Component
{
public:
    ImageHolder(int widthAtOne, int heightAtOne);

    // Replaces the picture; repainting is the caller's.
    void SetImage(juce::Image newImage) { image = std::move(newImage); }
    void paint(juce::Graphics& g) override;

    juce::Image image;
    float scale = 0.0f;

private:
    const int baseWidth, baseHeight;
};

// A display picture: a meter face, the network page, the sad face.
class MeterImages : public ImageHolder
{
public:
    MeterImages() : ImageHolder(154, 89) {}
};

// The strip with the name of a compressor mode, over the face's lowest rows.
class Modi : public ImageHolder
{
public:
    Modi() : ImageHolder(154, 15) {}
};

// One of the four clip lamps of a display.
class ImageClippingLed : public ImageHolder
{
public:
    explicit ImageClippingLed(juce::Image lamp) : ImageHolder(16, 10) { SetImage(std::move(lamp)); }
};

// The panel picture and the display bezels: the whole picture into the whole component.
class Rahmen : public juce::Component
{
public:
    explicit Rahmen(GlobalData* globalData) : global(globalData) {}
    void paint(juce::Graphics& g) override;

    juce::Image image;
    GlobalData* global;
};
