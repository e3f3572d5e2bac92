#include "MouseMenue/MenuImageComponent.h"

MenuImageComponent::MenuImageComponent(juce::Image picture) : image(std::move(picture)) {}

void MenuImageComponent::getIdealSize(int& idealWidth, int& idealHeight)
{
    idealWidth = 220;
    idealHeight = 140;
}

void MenuImageComponent::paint(juce::Graphics& g)
{
    if (hovered)
        g.fillAll(juce::Colour(0x96133ba4));
    if (image.isValid())
        g.drawImage(image, {10.0f, 10.0f, 200.0f, 120.0f});
}

void MenuImageComponent::mouseEnter(const juce::MouseEvent&)
{
    hovered = true;
    repaint();
}

void MenuImageComponent::mouseExit(const juce::MouseEvent&)
{
    hovered = false;
    repaint();
}
