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
