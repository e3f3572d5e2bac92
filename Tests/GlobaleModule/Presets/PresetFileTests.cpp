// The preset file on its own: the save path, and what the reader lets through.
#include "PresetTestSupport.h"
#include "Presets/KnobDocument.h"
#include "Presets/PresetFile.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <iterator>

using PresetTest::freshFolder;
using PresetTest::presetText;

TEST(PresetFileFormat, TheExtensionIsAddedOnlyWhenTheNameHoldsNone)
{
    EXPECT_EQ(PresetFile::savePathFor("/p", "Presetname"), "/p//Presetname.fxb");
    EXPECT_EQ(PresetFile::savePathFor("/p", "mix.fxb.v2"), "/p//mix.fxb.v2");
    EXPECT_EQ(PresetFile::savePathFor("/p", "MIX.FXB"), "/p//MIX.FXB.fxb");
    EXPECT_EQ(PresetFile::savePathFor("/p", ""), "/p//.fxb");
}

// Deep, oversized and broken files are refused through the processor's tick; these pass.
TEST(PresetReader, FilesAreGuardedBeforeParsing)
{
    std::string wide = "x<Root>";
    for (int i = 0; i < 200; ++i)
        wide += "<Knob3/><Knob4>0.5</Knob4>";
    const std::pair<std::string, int> cases[] = {
        {wide + "</Root>", 400}, // wide is no nesting
        {presetText({"0.5"}) + "<!-- K\xc3\xa4se -->", 1},
        {std::string("x<Root><Knob0>0.5</Knob0></Root>\0<Knob1>1</Knob1>", 50), 1}, // ends at the zero byte
    };
    const auto path = freshFolder() + "/case.fxb";
    for (const auto& [content, children] : cases)
    {
        TestEnvironment::writeFile(path, content);
        const auto document = PresetFile::read(path, "Morvane");
        EXPECT_EQ(document != nullptr ? document->getNumChildElements() : -1, children)
            << content.substr(0, 60);
    }
    EXPECT_EQ(PresetFile::readText(path), "x<Root><Knob0>0.5</Knob0></Root>");
}

// What other editors write is well-formed XML all the same: attributes, CDATA, a comment in
// Latin-1 under a UTF-8 declaration, another encoding declared.
TEST(PresetReader, WellFormedFilesOfOtherWritersAreRead)
{
    const std::string files[] = {
        "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<!-- K\xe4se, f\xfcr den Mix -->\n<Root>\n"
        "  <Knob0 unit=\"dB\" note='x &amp; y'>0.5</Knob0>\n  <Knob1><![CDATA[0.25]]></Knob1>\n"
        "  <Knob2>&#49;<!-- \xb0 --></Knob2>\n</Root>\n",
        "<?xml version=\"1.0\" encoding=\"ISO-8859-1\"?>\r\n<Root><Knob0>0.5</Knob0>"
        "<Knob1>0.25</Knob1><Knob2 name=\"Gr\xf6\xdf\x65\">1</Knob2></Root>",
    };
    for (const auto& text : files)
    {
        const auto path = freshFolder() + "/other.fxb";
        TestEnvironment::writeFile(path, text);
        const auto document = PresetFile::read(path, "Morvane");
        ASSERT_NE(document, nullptr) << text;
        juce::StringArray values;
        for (auto* child : document->getChildIterator())
            values.add(child->getAllSubText().trim());
        EXPECT_EQ(values.joinIntoString(" "), "0.5 0.25 1");
    }
}

// Malformed files, and the texts on which the framework's own reader looped for ever, are
// refused at once, each with one log line that names the file.
TEST(PresetReader, MalformedFilesAreRefusedWithOneLogLineNamingThem)
{
    std::string deep = "x<Root>", deepClosed;
    for (int i = 0; i < 40; ++i)
        deep += "<Knob3>", deepClosed += "</Knob3>";
    const std::string malformed[] = {
        "x<Root>\r\n  <Knob0>versioEn<?xml version=\"1.0\" "
        "encod<Root>ing=\"UTF-8\"?>\x16\x16\r\n</Knob0></Root>",
        "x<?xml version=\"1.0\" -8\x1f?>\n\n<Root>0.5<\?\?\?\?\?\?\?\?F-8\"?>8\n<Rvot>\n  "
        "<Knob0>0.5<13>0.\x01.V",
        "x<Root><!-- note <Knob0>0.5</Knob0></Root>",
        "x<Root><Knob0>0.5</Knob1></Root><",
        "x<Root><Knob0>0.5</Knob0>",
        "x<Root><Knob0 a=\"1>0.5</Knob0></Root>",
        deep + "0.5" + deepClosed + "</Root>",
        "<?xml version=\"1.0\"?>\r\n<root><Knob0>1</Knob0></root>",
    };
    const auto folder = freshFolder();
    for (size_t i = 0; i < std::size(malformed); ++i)
    {
        const auto path = folder + "/bad" + std::to_string(i) + ".fxb";
        TestEnvironment::writeFile(path, malformed[i]);
        const auto logBefore = PresetTest::logText();
        EXPECT_EQ(PresetFile::read(path, "Morvane"), nullptr) << malformed[i];
        const auto added = PresetTest::logText().substr(logBefore.size());
        EXPECT_EQ(std::count(added.begin(), added.end(), '\n'), 1) << added;
        EXPECT_EQ(added.rfind("101:::Preset file refused: " + path + " (", 0), 0u) << added;
    }
    const auto before = PresetTest::logText();
    EXPECT_EQ(PresetFile::read(folder + "/missing.fxb", "Morvane"), nullptr);
    EXPECT_EQ(PresetTest::logText(), before);
}
