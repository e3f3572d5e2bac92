// The preset file on its own: the bytes written, the save path, and what the reader refuses.
#include "KnobDocument.h"
#include "PresetFile.h"
#include "PresetTestSupport.h"
#include "TestEnvironment.h"

#include <gtest/gtest.h>

using PresetTest::freshFolder;
using PresetTest::makeFile;

TEST(PresetFileFormat, WrittenBytesAreDeclarationBlankLineAndCrLfIndentedKnobs)
{
    const auto path = freshFolder() + "/bytes.fxb";
    const auto document = KnobDocument::make({7.0f, 0.5f, 0.72f, 1e-05f, 11.25f, 0.0f});
    ASSERT_TRUE(PresetFile::write(*document, path));
    EXPECT_EQ(TestEnvironment::readFile(path), "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\r\n"
                                               "\r\n"
                                               "<Root>\r\n"
                                               "  <Knob0>7</Knob0>\r\n"
                                               "  <Knob1>0.5</Knob1>\r\n"
                                               "  <Knob2>0.72</Knob2>\r\n"
                                               "  <Knob3>1e-05</Knob3>\r\n"
                                               "  <Knob4>11.25</Knob4>\r\n"
                                               "  <Knob5>0</Knob5>\r\n"
                                               "</Root>\r\n");
    EXPECT_EQ(PresetFile::toText(*document), TestEnvironment::readFile(path));
}

TEST(PresetFileFormat, ReplacingAFileLeavesNoTemporaryBehind)
{
    const auto folder = freshFolder();
    const auto path = folder + "/again.fxb";
    makeFile(path, "old content");
    ASSERT_TRUE(PresetFile::write(*KnobDocument::make({0.25f}), path));
    EXPECT_EQ(TestEnvironment::readFile(path), PresetTest::presetText({"0.25"}));
    EXPECT_EQ(PresetTest::directoryOrder(folder), std::vector<std::string>{"again.fxb"});
}

TEST(PresetSavePath, TheExtensionIsAddedOnlyWhenTheNameHoldsNone)
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

TEST(PresetReader, TheTextEndsAtTheFirstZeroByte)
{
    const auto path = freshFolder() + "/zero.fxb";
    makeFile(path, std::string("x<Root><Knob0>0.5</Knob0></Root>\0<Knob1>1</Knob1>", 50));
    EXPECT_EQ(PresetFile::readText(path), "x<Root><Knob0>0.5</Knob0></Root>");
    const auto document = PresetFile::read(path);
    ASSERT_NE(document, nullptr);
    EXPECT_EQ(document->getNumChildElements(), 1);
}

TEST(PresetReader, DeepNestingAndOversizedFilesAreRefusedBeforeParsing)
{
    const auto folder = freshFolder();
    std::string deep = "x<Root>";
    for (int i = 0; i < 100000; ++i)
        deep += "<a>";
    makeFile(folder + "/deep.fxb", deep);
    EXPECT_EQ(PresetFile::read(folder + "/deep.fxb"), nullptr);

    // Many elements side by side, closed or closed in themselves, are no nesting.
    std::string wide = "x<Root>";
    for (int i = 0; i < 200; ++i)
        wide += "<Knob3/><Knob4>0.5</Knob4>";
    wide += "</Root>";
    makeFile(folder + "/wide.fxb", wide);
    EXPECT_NE(PresetFile::read(folder + "/wide.fxb"), nullptr);

    std::string large = PresetTest::presetText({"0.5"});
    large += std::string(PresetFile::maxBytes, ' ');
    makeFile(folder + "/large.fxb", large);
    EXPECT_EQ(PresetFile::read(folder + "/large.fxb"), nullptr);
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

// Found by the preset fuzzer: a broken UTF-8 sequence near the end sent the framework's XML
// reader past the text's end. Such a file holds no preset; proper UTF-8 still reads.
TEST(PresetReader, BrokenUtf8IsNoPreset)
{
    const auto folder = freshFolder();
    makeFile(folder + "/broken.fxb", PresetTest::presetText({"0.5"}) + "\x81\n  <Knob5<R");
    EXPECT_EQ(PresetFile::read(folder + "/broken.fxb"), nullptr);
    makeFile(folder + "/umlaut.fxb", PresetTest::presetText({"0.5"}) + "<!-- K\xc3\xa4se -->");
    EXPECT_NE(PresetFile::read(folder + "/umlaut.fxb"), nullptr);
}
