#include "GlobalData/GlobalData.h"
#include "Ground/TextHelpers.h"

#include <gtest/gtest.h>

#include <string>
#include <tuple>
#include <utility>

TEST(TextHelpers, NumbersPrintAsATextStreamDoes)
{
    std::string printed;
    for (float value : {0.5f, 11.25f, 1e-05f, 512.25f, 1234567.0f, 7.0f, 0.72f})
        printed += FloatInString(value) + " ";
    EXPECT_EQ(printed + IntInString(-42), "0.5 11.25 1e-05 512.25 1.23457e+06 7 0.72 -42");
    EXPECT_EQ(StringInInt("  17abc"), 17);
    EXPECT_EQ(StringInInt("abc"), 0);
    EXPECT_EQ(StringInInt(""), 0);
}

TEST(TextCut, NeverReadsPastTheEnd)
{
    EXPECT_EQ(TextCut::cut("abc", 1, 10) + "|" + TextCut::cut("abc", 3, 10) + "|" +
                  TextCut::cut("abc", 99, 1),
              "bc||");
    EXPECT_EQ(TextCut::cutBehind("xxport\": 80", "port", 7, 5) + "|" +
                  TextCut::cutBehind("port", "port", 7, 5) + "|" +
                  TextCut::cutBehind("port\": 80", "port", 7, 5, true),
              "80||");
    EXPECT_EQ(TextCut::foundAboveZero("Error 404", "Error 404"), false);
    EXPECT_EQ(TextCut::foundAboveZero("xError 404", "Error 404"), true);
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
    const std::pair<const char*, const char*> cases[] = {
        {"10.20.1.7", "1 0 |2 0 |1 |7 |"},
        {"10.0", "1 0 |0 |0 |0 |"},
        {"", "||||"},
    };
    for (const auto& [address, digits] : cases)
    {
        global.SetIp(address);
        std::string fields = global.deviceIp.get() == address ? "" : "address not kept ";
        for (int i = 0; i < 4; ++i)
            fields += global.ipDigits.get(i) + "|";
        EXPECT_EQ(fields, digits);
    }

    IpList list;
    list.set(-1, "a");
    list.set(99, "b");
    list.set(98, "c");
    EXPECT_EQ(list.get(-1) + list.get(99) + list.get(98), "c");
    EXPECT_EQ(list.indexOf("c", 1, 500), 98);
    EXPECT_EQ(list.indexOf("zz", 1, 98), 0);
}
