// The preset file on its own: the save path, and what the reader lets through.
#include "PresetTestSupport.h"
#include "Presets/KnobDocument.h"
#include "Presets/PresetFile.h"

#include <gtest/gtest.h>

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
        const auto document = PresetFile::read(path);
        EXPECT_EQ(document != nullptr ? document->getNumChildElements() : -1, children)
            << content.substr(0, 60);
    }
    EXPECT_EQ(PresetFile::readText(path), "x<Root><Knob0>0.5</Knob0></Root>");
}

// Found by the fuzzers: text on which the framework's XML reader loops for ever. Only the
// plain markup the plug-in writes gets through to it.
TEST(PresetReader, OnlyPlainMarkupReachesTheReader)
{
    const std::string loops[] = {
        "<Root>\r\n  <Knob0>versioEn<?xml version=\"1.0\" "
        "encod<Root>ing=\"UTF-8\"?>\x16\x16\r\n</Knob0></Root>",
        "<?xml version=\"1.0\" -8\x1f?>\n\n<Roo>0.5<\?\?\?\?\?\?\?\?F-8\"?>8\n<Rvot>\n  "
        "<Knob0>0.5<13>0.\x01.V",
        "<Root><Knob0 a=\"1\">0.5</Knob0></Root>",
        "<Root><!-- note <Knob0>0.5</Knob0></Root>",
        "<Root><Knob0>0.5</Knob1></Root><",
        "<Root><Knob0>&bogus;</Knob0></Root>",
    };
    for (const auto& text : loops)
        EXPECT_EQ(KnobDocument::parse(text.data(), text.size()), nullptr) << text;
    const std::string plain =
        "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\r\n\r\n<Root>\r\n  "
        "<Knob0>0.5</Knob0><!-- a note -->\r\n  <Knob1/>\r\n  <Knob2>&amp;&#49;</Knob2>\r\n</Root>\r\n";
    const auto document = KnobDocument::parse(plain.data(), plain.size());
    ASSERT_NE(document, nullptr);
    EXPECT_EQ(document->getNumChildElements(), 3);
    EXPECT_EQ(document->getChildElement(2)->getAllSubText(), "&1");
}
