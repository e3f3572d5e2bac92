#include "KnobDocument.h"

#include "TextHelpers.h"

namespace KnobDocument
{
int knobOfTag(const juce::String& tag, int knobCount)
{
    for (int i = 0; i < knobCount; ++i)
        if (tag.equalsIgnoreCase("Knob" + juce::String(IntInString(i))))
            return i;
    return -1;
}

bool knobText(const juce::XmlElement& element, float& value)
{
    const auto text = element.getAllSubText().trim();
    if (text.isEmpty())
        return false;
    float parsed = 0.0f;
    if (!TextCut::readFloat(text.toStdString(), parsed))
        return false;
    value = parsed;
    return true;
}

int countEmptyKnobs(const juce::XmlElement& root, int knobCount)
{
    int zeros = 0;
    for (auto* child : root.getChildIterator())
    {
        float value = 0.0f;
        if (knobOfTag(child->getTagName(), knobCount) >= 0 && knobText(*child, value) && !(value > 0.0f))
            ++zeros;
    }
    return zeros;
}

std::unique_ptr<juce::XmlElement> make(const std::vector<float>& values)
{
    auto root = std::make_unique<juce::XmlElement>("Root");
    for (size_t i = 0; i < values.size(); ++i)
        root->createNewChildElement("Knob" + juce::String(IntInString((int)i)))
            ->addTextElement(FloatInString(values[i]));
    return root;
}
} // namespace KnobDocument
