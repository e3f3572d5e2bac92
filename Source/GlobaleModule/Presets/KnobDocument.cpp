#include "Presets/KnobDocument.h"

#include "Ground/TextHelpers.h"

#include <algorithm>
#include <cctype>
#include <climits>
#include <cstring>
#include <string>

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
constexpr int maxDepth = 32;

bool isNameStart(char c)
{
    return (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || c == '_';
}

bool isNameChar(char c)
{
    return isNameStart(c) || (c >= '0' && c <= '9') || c == '-' || c == '.';
}

bool isBlank(char c)
{
    return c == ' ' || c == '\t' || c == '\r' || c == '\n';
}

// A declaration "<?xml ...?>" of printable characters; at points at "<?".
bool skipDeclaration(const char* text, std::size_t size, std::size_t& at)
{
    if (size - at < 5 || std::string(text + at, 5) != "<?xml")
        return false;
    for (std::size_t i = at + 5; i + 1 < size; ++i)
    {
        if (text[i] == '?' && text[i + 1] == '>')
        {
            at = i + 2;
            return true;
        }
        if (text[i] == '<' || text[i] == '>' || (unsigned char)text[i] < 0x20)
            return false;
    }
    return false;
}

// "<!-- ... -->"; at points at "<".
bool skipComment(const char* text, std::size_t size, std::size_t& at)
{
    if (size - at < 4 || std::memcmp(text + at, "<!--", 4) != 0)
        return false;
    for (std::size_t i = at + 4; i + 2 < size; ++i)
        if (text[i] == '-' && text[i + 1] == '-' && text[i + 2] == '>')
        {
            at = i + 3;
            return true;
        }
    return false;
}

// "<name>", "</name>" or "<name/>", blanks allowed before the end; at points at "<".
bool skipTag(const char* text, std::size_t size, std::size_t& at, int& depth)
{
    std::size_t i = at + 1;
    const bool closing = i < size && text[i] == '/';
    if (closing)
        ++i;
    if (i >= size || !isNameStart(text[i]))
        return false;
    while (i < size && isNameChar(text[i]))
        ++i;
    while (i < size && isBlank(text[i]))
        ++i;
    const bool empty = !closing && i + 1 < size && text[i] == '/' && text[i + 1] == '>';
    if (empty)
        ++i;
    if (i >= size || text[i] != '>')
        return false;
    at = i + 1;
    if (closing)
        --depth;
    else if (!empty)
        ++depth;
    return depth >= 0 && depth <= maxDepth;
}

// "&amp;" and its kin, or "&#123;" / "&#x7b;"; at points at "&".
bool skipReference(const char* text, std::size_t size, std::size_t& at)
{
    static const char* const named[] = {"&amp;", "&lt;", "&gt;", "&quot;", "&apos;"};
    for (const char* entity : named)
    {
        const std::size_t length = std::strlen(entity);
        if (size - at >= length && std::memcmp(text + at, entity, length) == 0)
        {
            at += length;
            return true;
        }
    }
    std::size_t i = at + 1;
    if (i >= size || text[i] != '#')
        return false;
    ++i;
    const bool hex = i < size && (text[i] == 'x' || text[i] == 'X');
    if (hex)
        ++i;
    const std::size_t digitsStart = i;
    while (i < size && i - digitsStart < 8 &&
           (std::isdigit((unsigned char)text[i]) || (hex && std::isxdigit((unsigned char)text[i]))))
        ++i;
    if (i == digitsStart || i >= size || text[i] != ';')
        return false;
    at = i + 1;
    return true;
}
} // namespace

bool isPlainMarkup(const char* text, std::size_t size)
{
    if (text == nullptr || size > (std::size_t)INT_MAX ||
        !juce::CharPointer_UTF8::isValidString(text, (int)size))
        return false;
    std::size_t at = 0;
    while (at < size && isBlank(text[at]))
        ++at;
    if (at < size && text[at] == '<' && at + 1 < size && text[at + 1] == '?' &&
        !skipDeclaration(text, size, at))
        return false;
    int depth = 0;
    while (at < size)
    {
        const char c = text[at];
        if (c == '<')
        {
            if (!skipComment(text, size, at) && !skipTag(text, size, at, depth))
                return false;
        }
        else if (c == '&')
        {
            if (!skipReference(text, size, at))
                return false;
        }
        else if ((unsigned char)c < 0x20 && !isBlank(c))
        {
            return false;
        }
        else
        {
            ++at;
        }
    }
    return depth == 0;
}

std::unique_ptr<juce::XmlElement> parse(const char* text, std::size_t size)
{
    if (text == nullptr || size > (std::size_t)INT_MAX)
        return nullptr;
    const std::size_t length = strnlen(text, size);
    if (!isPlainMarkup(text, length))
        return nullptr;
    return juce::XmlDocument::parse(juce::String::fromUTF8(text, (int)length));
}

std::unique_ptr<juce::XmlElement> parseBinary(const void* data, int sizeInBytes)
{
    constexpr int frameBytes = 8;
    if (data == nullptr || sizeInBytes <= frameBytes)
        return nullptr;
    const auto* bytes = static_cast<const uint8_t*>(data);
    if (juce::ByteOrder::littleEndianInt(bytes) != 0x21324356)
        return nullptr;
    const int length = (int)juce::ByteOrder::littleEndianInt(bytes + 4);
    if (length <= 0)
        return nullptr;
    const auto text = reinterpret_cast<const char*>(bytes + frameBytes);
    return parse(text, (std::size_t)std::min(sizeInBytes - frameBytes, length));
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
