#include "MouseMenue/MeterMenu.h"

#include "MouseMenue/MenuImageComponent.h"

namespace MeterMenu
{
namespace
{
Pictures& installed()
{
    static Pictures pictures;
    return pictures;
}
} // namespace

void setPictures(Pictures pictures)
{
    installed() = std::move(pictures);
}

juce::Image picture(int meter)
{
    if (!installed() || meter < 1 || meter > faceCount)
        return {};
    return installed()(meter);
}

juce::PopupMenu build()
{
    juce::PopupMenu menu;
    for (int meter = 1; meter <= faceCount; ++meter)
    {
        if (meter > 1)
            menu.addSeparator();
        menu.addCustomItem(meter, std::make_unique<MenuImageComponent>(picture(meter)), nullptr,
                           "Meter " + juce::String(meter));
    }
    return menu;
}
} // namespace MeterMenu
