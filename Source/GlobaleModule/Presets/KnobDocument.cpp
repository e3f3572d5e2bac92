#include "Presets/KnobDocument.h"

#include "Ground/TextHelpers.h"

#include <pugixml.hpp>

#include <algorithm>
#include <cstring>

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

namespace
{
// The parser passes bytes through as they stand; a file that claims UTF-8 may still carry
// Latin-1 (an old editor's comment or value), which is taken byte for byte then.
juce::String textOf(const char* text)
{
    const auto length = std::strlen(text);
    if (juce::CharPointer_UTF8::isValidString(text, (int)length))
        return juce::String::fromUTF8(text, (int)length);
    juce::String latin1;
    latin1.preallocateBytes(length * 2);
    for (std::size_t i = 0; i < length; ++i)
        latin1 += (juce::juce_wchar)(unsigned char)text[i];
    return latin1;
}

// Depth of the deepest element below node, counted without recursion; stops above maxDepth.
int depthOf(const pugi::xml_node& top)
{
    int depth = 0, deepest = 0;
    pugi::xml_node node = top.first_child();
    while (node && deepest <= maxDepth)
    {
        if (node.type() == pugi::node_element)
            deepest = std::max(deepest, depth + 1);
        if (node.first_child())
        {
            node = node.first_child();
            ++depth;
            continue;
        }
        while (node && !node.next_sibling() && node != top)
        {
            node = node.parent();
            --depth;
        }
        if (!node || node == top)
            break;
        node = node.next_sibling();
    }
    return deepest;
}

// The element with its attributes, text, CDATA and child elements; the depth is bounded.
std::unique_ptr<juce::XmlElement> convert(const pugi::xml_node& node)
{
    auto element = std::make_unique<juce::XmlElement>(textOf(node.name()));
    for (const auto& attribute : node.attributes())
        element->setAttribute(textOf(attribute.name()), textOf(attribute.value()));
    for (const auto& child : node.children())
    {
        if (child.type() == pugi::node_element)
            element->addChildElement(convert(child).release());
        else if (child.type() == pugi::node_pcdata || child.type() == pugi::node_cdata)
            element->addTextElement(textOf(child.value()));
    }
    return element;
}

std::unique_ptr<juce::XmlElement> refuse(std::string* why, const std::string& reason)
{
    if (why != nullptr)
        *why = reason;
    return nullptr;
}
} // namespace

std::unique_ptr<juce::XmlElement> parse(const char* text, std::size_t size, std::string* why)
{
    if (text == nullptr)
        return refuse(why, "no text");
    const std::size_t length = strnlen(text, size);
    if (length > maxBytes)
        return refuse(why, "larger than " + IntInString((int)maxBytes) + " bytes");
    pugi::xml_document document;
    // Declarations are parsed so that one inside the document is refused, as the standard says.
    const auto result = document.load_buffer(text, length, pugi::parse_default | pugi::parse_declaration,
                                             pugi::encoding_utf8);
    if (!result)
        return refuse(why, std::string(result.description()) + " at byte " + IntInString((int)result.offset));
    const auto root = document.document_element();
    if (!root)
        return refuse(why, "no element");
    if (depthOf(document) > maxDepth)
        return refuse(why, "nested deeper than " + IntInString(maxDepth));
    return convert(root);
}

std::unique_ptr<juce::XmlElement> parseBinary(const void* data, int sizeInBytes, std::string* why)
{
    constexpr int frameBytes = 8;
    if (data == nullptr || sizeInBytes <= frameBytes)
        return refuse(why, "shorter than its frame");
    const auto* bytes = static_cast<const uint8_t*>(data);
    if (juce::ByteOrder::littleEndianInt(bytes) != 0x21324356)
        return refuse(why, "no state block");
    const int length = (int)juce::ByteOrder::littleEndianInt(bytes + 4);
    if (length <= 0)
        return refuse(why, "empty state block");
    const auto text = reinterpret_cast<const char*>(bytes + frameBytes);
    return parse(text, (std::size_t)std::min(sizeInBytes - frameBytes, length), why);
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
