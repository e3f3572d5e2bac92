#include "Components/MyImageButton.h"

#include "GlobalData/GlobalData.h"

MyImageButton::MyImageButton(juce::Image firstImage, juce::Image secondImage, GlobalData* g, int buttonType)
    : first(std::move(firstImage)), second(std::move(secondImage)), type(buttonType), global(g)
{
}

void MyImageButton::mouseDown(const juce::MouseEvent&)
{
    for (juce::Component* c = this; c != nullptr; c = c->getParentComponent())
        if (!c->isEnabled())
            return;

    const int newState = imageButtonState.load() == 1 ? 0 : 1;
    imageButtonState = newState;
    global->lampValue = newState;
    global->lampChanged = true;
    repaint();
}

void MyImageButton::paint(juce::Graphics& g)
{
    const auto& image = imageButtonState.load() == 1 ? first : second;
    g.drawImage(image, 0, 0, getWidth(), getHeight(), 0, 0, 236, 236);
}

juce::Image makeLampImage(bool lit)
{
    juce::Image image(juce::Image::ARGB, 236, 236, true);
    juce::Graphics g(image);
    const auto area = juce::Rectangle<float>(18.0f, 18.0f, 200.0f, 200.0f);
    const auto centre = lit ? juce::Colour(0xffffc040) : juce::Colour(0xff3a2a10);
    g.setGradientFill(juce::ColourGradient(centre, 118.0f, 118.0f, centre.darker(0.8f), 118.0f, 18.0f, true));
    g.fillEllipse(area);
    g.setColour(juce::Colours::black.withAlpha(0.7f));
    g.drawEllipse(area, 6.0f);
    return image;
}
