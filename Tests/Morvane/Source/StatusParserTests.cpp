// The status message as the unit sends it, byte for byte, and what the parser makes of it.
#include "GlobalData.h"
#include "PluginProcessor.h"

#include <gtest/gtest.h>

#include <memory>

namespace
{
// Rows as the unit writes them: a blank after each comma inside a row, none between rows.
std::string message(int rows, const std::string& gain = "-5000, -3000", int clip = 2, int modeRaw = 3)
{
    std::string text = "{\"morvane\":[";
    for (int r = 0; r < rows; ++r)
    {
        const int value = r == 10 ? modeRaw : 100 + r;
        text += (r > 0 ? "," : "") + std::string("[") + std::to_string(value) + ", " +
                std::to_string(1000 + r) + ", " + std::to_string(r) + ", 7, " + std::to_string(r % 2) + "]";
    }
    text += "],\"comp\":[" + gain + "],\"clip\":" + std::to_string(clip) + "}";
    return text;
}

struct Parser
{
    std::unique_ptr<MorvaneProcessor> p = std::make_unique<MorvaneProcessor>();
    GlobalData& g = *p->getGlobalData();
};
} // namespace

TEST(StatusParser, FillsTheTableFromExactSeparators)
{
    Parser t;
    ASSERT_TRUE(t.p->ReadJson(message(24)));
    for (int r = 0; r < 22; ++r)
    {
        EXPECT_EQ(t.p->getDeviceValue(r, 0), r == 10 ? 3.0f : 100.0f + r) << r;
        EXPECT_EQ(t.p->getDeviceValue(r, 1), 1000.0f + r) << r;
        EXPECT_EQ(t.p->getDeviceValue(r, 2), (float)r) << r;
        EXPECT_EQ(t.p->getDeviceValue(r, 3), 7.0f) << r;
        EXPECT_EQ(t.p->getDeviceValue(r, 4), (float)(r % 2)) << r;
    }
    // Only 22 rows are read; 22 and 23 stay empty.
    EXPECT_EQ(t.p->getDeviceValue(22, 0), 0.0f);
    EXPECT_EQ(t.p->getClipState(), 2);
    EXPECT_TRUE(t.p->isStatusReceived());
}

TEST(StatusParser, HeadersBeforeTheBraceAreDropped)
{
    Parser t;
    ASSERT_TRUE(t.p->ReadJson("HTTP/1.1 200 OK\r\nContent-Type: text/html\r\n\r\n" + message(22)));
    EXPECT_EQ(t.p->getDeviceValue(21, 0), 121.0f);
}

TEST(StatusParser, AMissingBlankLosesADigit)
{
    Parser t;
    auto text = message(22);
    // "[100, 1000, 0, 7, 0]" without the blank after its first comma.
    text.replace(text.find("[100, 1000"), 10, "[100,1000");
    ASSERT_TRUE(t.p->ReadJson(text));
    EXPECT_EQ(t.p->getDeviceValue(0, 0), 100.0f);
    EXPECT_EQ(t.p->getDeviceValue(0, 1), 0.0f); // "000" after losing its "1"
}

TEST(StatusParser, FewerRowsLeaveTheRestEmpty)
{
    Parser t;
    ASSERT_TRUE(t.p->ReadJson(message(5)));
    EXPECT_EQ(t.p->getDeviceValue(4, 0), 104.0f);
    EXPECT_EQ(t.p->getDeviceValue(4, 4), 0.0f);
    for (int r = 5; r < 22; ++r)
        for (int c = 0; c < 5; ++c)
            EXPECT_EQ(t.p->getDeviceValue(r, c), 0.0f) << r << "," << c;
}

TEST(StatusParser, ModeDecoding)
{
    Parser t;
    const std::pair<int, int> cases[] = {{3, 4}, {12, 1}, {23, 12}, {5, 6}, {11, 12}, {15, 4}};
    for (const auto& [raw, shown] : cases)
    {
        ASSERT_TRUE(t.p->ReadJson(message(22, "0, 0", 0, raw)));
        EXPECT_EQ(t.g.deviceMode, shown) << raw;
    }
    // 3 and then 15 are the same position: the second raises nothing.
    t.g.modeChanged = false;
    ASSERT_TRUE(t.p->ReadJson(message(22, "0, 0", 0, 3)));
    t.g.modeChanged = false;
    ASSERT_TRUE(t.p->ReadJson(message(22, "0, 0", 0, 15)));
    EXPECT_FALSE(t.g.modeChanged);
    // A hostile mode never names a position that does not exist.
    ASSERT_TRUE(t.p->ReadJson(message(22, "0, 0", 0, 9999)));
    EXPECT_GE(t.g.deviceMode, 1);
    EXPECT_LE(t.g.deviceMode, 12);
}

TEST(StatusParser, Needles)
{
    Parser t;
    ASSERT_TRUE(t.p->ReadJson(message(22, "0, -20000")));
    EXPECT_FLOAT_EQ(t.p->getMeterLeft(), 0.0f);
    EXPECT_NEAR(t.p->getMeterRight(), -20.0129f, 1e-3f);

    ASSERT_TRUE(t.p->ReadJson(message(22, "-22000, -21000")));
    // Below -21 dB the needle moves 1.5 a decibel further than the curve alone.
    EXPECT_NEAR(t.p->getMeterRight(), -20.2729f, 1e-3f);
    EXPECT_NEAR(t.p->getMeterLeft(), -22.0328f, 1e-3f);

    // Fractions are read; what is behind the number is ignored.
    ASSERT_TRUE(t.p->ReadJson(message(22, "-0.5, -10000.25")));
    EXPECT_LT(t.p->getMeterLeft(), 0.0f);
}

TEST(StatusParser, MessagesWithoutGainReductionAreDropped)
{
    Parser t;
    ASSERT_TRUE(t.p->ReadJson(message(22)));
    const float before = t.p->getDeviceValue(3, 0);
    std::string noComp = message(22);
    noComp.replace(noComp.find("comp"), 4, "cmop");
    EXPECT_FALSE(t.p->ReadJson(noComp));
    EXPECT_FALSE(t.p->ReadJson(message(22, "left, right")));
    EXPECT_FALSE(t.p->ReadJson("{\"x\":[[1, 2, 3, 4, 5]],\"comp\":"));
    EXPECT_FALSE(t.p->ReadJson(""));
    EXPECT_EQ(t.p->getDeviceValue(3, 0), before);
}

TEST(StatusParser, ClipWordAndHostileNumbers)
{
    Parser t;
    ASSERT_TRUE(t.p->ReadJson(message(22, "0, 0", 7)));
    EXPECT_EQ(t.p->getClipState(), 7);
    std::string spaced = message(22);
    spaced.replace(spaced.find("\"clip\":2"), 8, "\"clip\": 5");
    ASSERT_TRUE(t.p->ReadJson(spaced));
    EXPECT_EQ(t.p->getClipState(), 5);

    auto huge = message(22);
    huge.replace(huge.find("[100,"), 5, "[99999999999999999999,");
    ASSERT_TRUE(t.p->ReadJson(huge));
    EXPECT_EQ(t.p->getDeviceValue(0, 0), 16777216.0f);
}

// Found by the status fuzzer: a mode of 2^31 - 1 became the float 2^31, and turning that back
// into an int is undefined. Figures are held where a float is exact, so every row converts.
TEST(StatusParser, FiguresBeyondAFloatsExactRangeConvertBackToWholeNumbers)
{
    Parser t;
    ASSERT_TRUE(t.p->ReadJson(message(22, "0, 0", 0, 2147483647)));
    EXPECT_EQ(t.p->getDeviceValue(10, 0), 16777216.0f);
    EXPECT_EQ(t.g.deviceMode, 12);
    auto low = message(22, "0, 0", 0, 3);
    low.replace(low.find("[106,"), 5, "[-2147483648,");
    ASSERT_TRUE(t.p->ReadJson(low));
    EXPECT_EQ(t.p->getDeviceValue(6, 0), -16777216.0f);
}
