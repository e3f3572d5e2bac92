#include "Presets/PresetFile.h"

#include "Presets/KnobDocument.h"

#include "Debug/Debug.h"
#include "Ground/AtomicFile.h"
#include "Ground/SettingsPaths.h"
#include "Ground/TextHelpers.h"

#include <fstream>

namespace PresetFile
{
namespace
{
juce::XmlElement::TextFormat presetFormat()
{
    juce::XmlElement::TextFormat format;
    format.dtd = {};
    format.customEncoding = "UTF-8";
    return format;
}

} // namespace

std::string savePathFor(const std::string& folder, const std::string& name)
{
    const auto path = folder + "//" + name;
    return name.find(".fxb") != std::string::npos ? path : path + ".fxb";
}

std::string toText(const juce::XmlElement& document)
{
    juce::MemoryOutputStream out;
    document.writeTo(out, presetFormat());
    return std::string(static_cast<const char*>(out.getData()), out.getDataSize());
}

bool existsAsFile(const std::string& path)
{
    return SettingsPaths::isFile(path);
}

bool write(const juce::XmlElement& document, const std::string& path)
{
    if (path.empty() || SettingsPaths::isDirectory(path))
        return false;
    return AtomicFile::write(path, toText(document));
}

std::string readText(const std::string& path)
{
    // Only regular files: a pipe or a device named like a preset would block the read.
    if (!existsAsFile(path))
        return {};
    std::ifstream in(path, std::ios::binary);
    if (!in)
        return {};
    std::string data(maxBytes + 1, '\0');
    in.read(&data[0], (std::streamsize)data.size());
    const auto got = (std::size_t)in.gcount();
    if (got > maxBytes)
        return {};
    data.resize(got);
    return TextCut::upTo(data, std::string(1, '\0'));
}

std::string fromRootTag(const std::string& text)
{
    if (text.size() < 2)
        return {};
    const auto at = TextCut::find(text, "<Root>", 1);
    return at == TextCut::npos ? std::string() : TextCut::tail(text, at);
}

std::unique_ptr<juce::XmlElement> read(const std::string& path, const std::string& logFolder)
{
    const auto whole = readText(path);
    std::string why = "no <Root> behind the first byte";
    if (whole.empty())
    {
        // Missing and empty files are no news; only an oversized one is worth a line.
        if (!existsAsFile(path) || SettingsPaths::fileSize(path) <= (long long)maxBytes)
            return nullptr;
        why = "larger than " + IntInString((int)maxBytes) + " bytes";
    }
    const auto text = fromRootTag(whole);
    auto document = text.empty() ? nullptr : KnobDocument::parse(text.data(), text.size(), &why);
    if (document == nullptr)
        MORVANE_LOG(101, juce::String::fromUTF8(("Preset file refused: " + path + " (" + why + ")").c_str()),
                    logFolder);
    return document;
}
} // namespace PresetFile
