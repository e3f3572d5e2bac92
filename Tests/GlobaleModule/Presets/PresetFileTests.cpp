// The preset file on its own: the bytes written, the save path, and what the reader refuses.
#include "KnobDocument.h"
#include "PresetFile.h"
#include "PresetTestSupport.h"

#include <gtest/gtest.h>

using PresetTest::freshFolder;
using PresetTest::presetText;
using TestEnvironment::readFile;

TEST(PresetFileFormat, WrittenBytesReplaceAFileWholeAndLeaveNoTemporary)
{
    const auto folder = freshFolder();
    const auto path = folder + "/bytes.fxb";
    TestEnvironment::writeFile(path, "old content");
    const auto document = KnobDocument::make({7.0f, 0.5f, 0.72f, 1e-05f, 11.25f, 0.0f});
    ASSERT_TRUE(PresetFile::write(*document, path));
    EXPECT_EQ(readFile(path), presetText({"7", "0.5", "0.72", "1e-05", "11.25", "0"}));
    EXPECT_EQ(PresetFile::toText(*document), readFile(path));
    EXPECT_EQ(PresetTest::directoryOrder(folder), std::vector<std::string>{"bytes.fxb"});
}

TEST(PresetFileFormat, TheExtensionIsAddedOnlyWhenTheNameHoldsNone)
{
    EXPECT_EQ(PresetFile::savePathFor("/p", "Presetname"), "/p//Presetname.fxb");
    EXPECT_EQ(PresetFile::savePathFor("/p", "mix.fxb"), "/p//mix.fxb");
    EXPECT_EQ(PresetFile::savePathFor("/p", "mix.fxb.v2"), "/p//mix.fxb.v2");
    EXPECT_EQ(PresetFile::savePathFor("/p", "MIX.FXB"), "/p//MIX.FXB.fxb");
    EXPECT_EQ(PresetFile::savePathFor("/p", ""), "/p//.fxb");
    EXPECT_EQ(PresetFile::savePathFor("/p", "sub/name"), "/p//sub/name.fxb");
}

TEST(PresetReader, ParsingStartsAtTheFirstRootTagBehindTheFirstByte)
{
    EXPECT_EQ(PresetFile::fromRootTag("<Root></Root>"), "");
    EXPECT_EQ(PresetFile::fromRootTag("x<Root></Root>"), "<Root></Root>");
    EXPECT_EQ(PresetFile::fromRootTag("<Root><Root></Root>"), "<Root></Root>");
    EXPECT_EQ(PresetFile::fromRootTag("<?xml?><Root a=\"1\"></Root>"), "");
    EXPECT_EQ(PresetFile::fromRootTag("<"), "");
    EXPECT_EQ(PresetFile::fromRootTag("ab<Root"), "");
}

// Refused before the framework's XML reader sees them: deep nesting, oversized files and
// (found by the preset fuzzer) broken UTF-8, which sent that reader past the text's end.
TEST(PresetReader, FilesAreGuardedBeforeParsing)
{
    std::string deep = "x<Root>", wide = "x<Root>";
    for (int i = 0; i < 100000; ++i)
        deep += "<a>";
    for (int i = 0; i < 200; ++i)
        wide += "<Knob3/><Knob4>0.5</Knob4>";
    struct Case
    {
        const char* why;
        std::string content;
        int children; // -1: no document
    };
    const Case cases[] = {
        {"deep", deep, -1},
        {"wide is no nesting", wide + "</Root>", 400},
        {"oversized", presetText({"0.5"}) + std::string(PresetFile::maxBytes, ' '), -1},
        {"broken UTF-8", presetText({"0.5"}) + "\x81\n  <Knob5<R", -1},
        {"proper UTF-8", presetText({"0.5"}) + "<!-- K\xc3\xa4se -->", 1},
        {"ends at the first zero byte", std::string("x<Root><Knob0>0.5</Knob0></Root>\0<Knob1>1</Knob1>", 50),
         1},
    };
    const auto path = freshFolder() + "/case.fxb";
    for (const auto& entry : cases)
    {
        SCOPED_TRACE(entry.why);
        TestEnvironment::writeFile(path, entry.content);
        const auto document = PresetFile::read(path);
        EXPECT_EQ(document != nullptr ? document->getNumChildElements() : -1, entry.children);
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
