#include "GlobalData.h"
#include "TextHelpers.h"

#include <gtest/gtest.h>

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

TEST(GlobalData, StartsWithItsDefaults)
{
    Settings settings;
    GlobalData global(&settings, 3);
    EXPECT_TRUE(global.zeroPreset);
    EXPECT_FALSE(global.monoMode);
    EXPECT_EQ(global.meterMode, 10);
    EXPECT_FLOAT_EQ(global.guiSize, 0.1f);
    EXPECT_EQ(global.viewState, 1);
    EXPECT_TRUE(global.deviceCheckIdle);
    EXPECT_TRUE(global.deviceFinderBusy);
    EXPECT_EQ(global.takenIpCount, 3);
    EXPECT_FLOAT_EQ(global.knobResolution, 0.001f);
    EXPECT_EQ(global.fps, 30);
    EXPECT_EQ(global.frameInterval, 33);
    EXPECT_EQ(global.foundIps.get(0), "");
}

TEST(GlobalData, IpDigitsFollowTheAddress)
{
    Settings settings;
    GlobalData global(&settings);
    global.SetIp("10.20.1.7");
    EXPECT_EQ(global.deviceIp.get(), "10.20.1.7");
    EXPECT_EQ(global.ipDigits.get(0), "1 0 ");
    EXPECT_EQ(global.ipDigits.get(1), "2 0 ");
    EXPECT_EQ(global.ipDigits.get(2), "1 ");
    EXPECT_EQ(global.ipDigits.get(3), "7 ");

    global.SetIp("10.0");
    EXPECT_EQ(global.ipDigits.get(0), "1 0 ");
    EXPECT_EQ(global.ipDigits.get(1), "0 ");
    EXPECT_EQ(global.ipDigits.get(2), "0 ");
    EXPECT_EQ(global.ipDigits.get(3), "0 ");

    global.SetIp("");
    for (int i = 0; i < 4; ++i)
        EXPECT_EQ(global.ipDigits.get(i), "");
}

TEST(GlobalData, GuiSettingsTextWithDefaults)
{
    Settings settings;
    GlobalData global(&settings);
    EXPECT_EQ(global.composeGuiSettings(),
              "Size = 0.1;\nKnob Resolution = 0;\nSerial = ;\nFPS = 30;\nZeroPreset = 1;\nMonoMode = 0;\n");
    global.knobResolution = 99.9f;
    global.deviceSerial = "MV00000001";
    global.zeroPreset = false;
    EXPECT_EQ(global.composeGuiSettings(), "Size = 0.1;\nKnob Resolution = 99;\nSerial = MV00000001;\nFPS = "
                                           "30;\nZeroPreset = 0;\nMonoMode = 0;\n");
}

TEST(GlobalData, ListsIgnoreIndicesOutsideTheirBounds)
{
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

TEST(Settings, PanelTables)
{
    Settings s;
    EXPECT_EQ(s.knobCount, 20);
    EXPECT_EQ(s.knobNames[2], "Mode L");
    EXPECT_EQ(s.knobNames[8], "--------");
    EXPECT_EQ(s.knobNames[15], "Mix R");
    EXPECT_EQ(s.knobNames[16], "");
    EXPECT_EQ(s.knobX[19], 526);
    EXPECT_EQ(s.knobY[19], 242);
    EXPECT_EQ(s.labelX[12], 142);
    EXPECT_EQ(s.statusTexts[1], "I found more then one Morvane");
    EXPECT_EQ(s.statusY[2], 140);
    EXPECT_EQ(s.ipFieldX[3], 460);
    EXPECT_EQ(s.version, "2_3_10");
}
