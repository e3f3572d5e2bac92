#include "LookAndFeel/LookAndFeelSlider.h"

void LookAndFeelSlider::SetImage(juce::Image strip, int frameCount, bool)
{
    if (!strip.isValid())
    {
        frames = 0;
        return;
    }
    image = std::move(strip);
    frames = frameCount;
    frameHeight = frameCount > 0 ? image.getHeight() / frameCount : 0;
    frameWidth = image.getWidth();
}

int LookAndFeelSlider::frameFor(float value, float low, float high, int frameCount)
{
    const float position = (value - low) / (high - low);
    return (int)((float)(frameCount - 1) * position);
}

void LookAndFeelSlider::drawRotarySlider(juce::Graphics& g, int, int, int width, int height, float, float,
                                         float, juce::Slider& slider)
{
    if (!image.isValid() || frames <= 0)
        return;
    const int frame =
        frameFor((float)slider.getValue(), (float)slider.getMinimum(), (float)slider.getMaximum(), frames);
    const int sourceY = frameHeight * juce::jlimit(0, frames - 1, frame);
    g.drawImage(image, 0, 0, width, height, 0, sourceY, frameWidth, frameHeight);
}
