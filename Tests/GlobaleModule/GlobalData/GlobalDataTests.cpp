#include "GlobalData.h"
#include "TextHelpers.h"

#include <gtest/gtest.h>

#include <array>
#include <utility>

TEST(TextHelpers, NumbersPrintAsATextStreamDoes)
{
    EXPECT_EQ(FloatInString(0.5f), "0.5");
    EXPECT_EQ(FloatInString(11.25f), "11.25");
    EXPECT_EQ(FloatInString(1e-05f), "1e-05");
    EXPECT_EQ(FloatInString(512.25f), "512.25");
    EXPECT_EQ(FloatInString(1234567.0f), "1.23457e+06");
    EXPECT_EQ(IntInString(-42), "-42");
    EXPECT_EQ(StringInInt("  17abc"), 17);
    EXPECT_EQ(StringInInt("abc"), 0);
    EXPECT_EQ(StringInInt(""), 0);
}

TEST(TextCut, NeverReadsPastTheEnd)
{
    EXPECT_EQ(TextCut::cut("abc", 1, 10), "bc");
    EXPECT_EQ(TextCut::cut("abc", 3, 10), "");
    EXPECT_EQ(TextCut::cut("abc", 99, 1), "");
    EXPECT_EQ(TextCut::cutBehind("xxport\": 80", "port", 7, 5), "80");
    EXPECT_EQ(TextCut::cutBehind("port", "port", 7, 5), "");
    EXPECT_EQ(TextCut::cutBehind("port\": 80", "port", 7, 5, true), "");
    EXPECT_FALSE(TextCut::foundAboveZero("Error 404", "Error 404"));
    EXPECT_TRUE(TextCut::foundAboveZero("xError 404", "Error 404"));
    float f = 0.0f;
    EXPECT_FALSE(TextCut::readFloat("nan", f));
    EXPECT_FALSE(TextCut::readFloat("inf", f));
    EXPECT_TRUE(TextCut::readFloat(" -20.5]", f));
    EXPECT_FLOAT_EQ(f, -20.5f);
}

TEST(GlobalData, IpDigitsFollowTheAddressAndListsIgnoreIndicesOutsideTheirBounds)
{
    Settings settings;
    GlobalData global(&settings);
    const std::pair<const char*, std::array<const char*, 4>> cases[] = {
        {"10.20.1.7", {"1 0 ", "2 0 ", "1 ", "7 "}},
        {"10.0", {"1 0 ", "0 ", "0 ", "0 "}},
        {"", {"", "", "", ""}},
    };
    for (const auto& [address, digits] : cases)
    {
        global.SetIp(address);
        EXPECT_EQ(global.deviceIp.get(), address);
        for (int i = 0; i < 4; ++i)
            EXPECT_EQ(global.ipDigits.get(i), digits[(size_t)i]) << address << " field " << i;
    }

    IpList list;
    list.set(-1, "a");
    list.set(99, "b");
    list.set(98, "c");
    EXPECT_EQ(list.get(-1), "");
    EXPECT_EQ(list.get(99), "");
    EXPECT_EQ(list.get(98), "c");
    EXPECT_EQ(list.indexOf("c", 1, 500), 98);
    EXPECT_EQ(list.indexOf("zz", 1, 98), 0);
}
