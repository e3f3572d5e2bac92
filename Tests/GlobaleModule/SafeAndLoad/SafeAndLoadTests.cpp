// The instance's files on disk, with "Home" on a fresh temporary folder for every case.
#include "GlobalData.h"
#include "SafeAndLoad.h"
#include "Settings.h"
#include "TestEnvironment.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

using TestEnvironment::readFile;
using TestEnvironment::writeFile;

namespace
{
const std::string defaults =
    "Size = 0.1;\nKnob Resolution = 0;\nSerial = ;\nFPS = 30;\nZeroPreset = 1;\nMonoMode = 0;\n";

bool exists(const std::string& path)
{
    struct stat info
    {
    };
    return ::stat(path.c_str(), &info) == 0;
}

class InstanceFiles : public ::testing::Test
{
protected:
    void SetUp() override
    {
        home = TestEnvironment::newHome();
        global.isMaster = true;
    }

    std::string folder(int number = 1) const
    {
        return home + "/.config/Velmora Audio Works/Morvane/" + std::to_string(number);
    }
    std::string guiFile() const { return folder() + "/GuiSettings.txt"; }

    // Writes the file as a user or an older version left it, then reads it as the constructor does.
    void readBack(const std::string& text)
    {
        store.makeInstanceFolder();
        writeFile(guiFile(), text);
        store.ReadGuiSettings();
    }

    std::string home;
    Settings settings;
    GlobalData global{&settings};
    SafeAndLoad store{&settings, &global};
};
} // namespace

TEST_F(InstanceFiles, FilesAreWrittenWhole)
{
    std::stringstream address;
    address << "192.168.100.200";
    store.SafeFiles("IP", address);
    std::stringstream shorter;
    shorter << "10.0.0.7";
    store.SafeFiles("IP", shorter);
    EXPECT_EQ(readFile(folder() + "/IP.txt"), "10.0.0.7") << "no key, no line end, nothing left behind";

    global.safeGuiSettings();
    EXPECT_EQ(readFile(guiFile()), defaults);

    global.guiSize = 1.25f;
    global.knobResolution = 99.9f;
    global.deviceSerial = "MORVAN0042";
    global.fps = 60;
    global.zeroPreset = false;
    global.safeGuiSettings();
    EXPECT_EQ(readFile(guiFile()), "Size = 1.25;\nKnob Resolution = 99;\nSerial = MORVAN0042;\nFPS = "
                                   "60;\nZeroPreset = 0;\nMonoMode = 0;\n");
}

TEST_F(InstanceFiles, TheStoredAddressIsTakenAsItStands)
{
    EXPECT_FALSE(store.LoadFiles()) << "no file yet";
    EXPECT_EQ(global.settingsFolder.get(), folder());
    EXPECT_TRUE(exists(folder())) << "the folders are made";
    EXPECT_FALSE(exists(folder() + "/IP.txt")) << "but no file";

    writeFile(folder() + "/IP.txt", "");
    EXPECT_FALSE(store.LoadFiles());

    writeFile(folder() + "/IP.txt", "10.20.1.7\n");
    EXPECT_TRUE(store.LoadFiles());
    EXPECT_EQ(global.deviceIp.get(), "10.20.1.7\n") << "the line end stays";
    EXPECT_EQ(global.savedIp.get(), "10.20.1.7\n");
    EXPECT_EQ(global.ipDigits.get(0), "1 0 ");

    ::unlink((folder() + "/IP.txt").c_str());
    ::mkdir((folder() + "/IP.txt").c_str(), 0755);
    global.deviceIp = "kept";
    EXPECT_FALSE(store.LoadFiles()) << "a folder in the file's place";
    EXPECT_EQ(global.deviceIp.get(), "kept");
}

TEST_F(InstanceFiles, TwoInstancesKeepTheirOwnFolders)
{
    GlobalData slave(&settings);
    slave.isMaster = false;
    slave.slaveIndex = 2;
    SafeAndLoad slaveStore(&settings, &slave);

    std::stringstream first, second;
    first << "10.0.0.1";
    second << "10.0.0.2";
    store.SafeFiles("IP", first);
    slaveStore.SafeFiles("IP", second);
    slave.deviceSerial = "MORVAN0002";
    slave.safeGuiSettings();

    EXPECT_EQ(readFile(folder(1) + "/IP.txt"), "10.0.0.1");
    EXPECT_EQ(readFile(folder(2) + "/IP.txt"), "10.0.0.2");
    EXPECT_FALSE(exists(folder(1) + "/GuiSettings.txt"));
    EXPECT_NE(readFile(folder(2) + "/GuiSettings.txt").find("Serial = MORVAN0002;\n"), std::string::npos);

    ASSERT_TRUE(slaveStore.LoadFiles());
    ASSERT_TRUE(store.LoadFiles());
    EXPECT_EQ(slave.deviceIp.get(), "10.0.0.2");
    EXPECT_EQ(global.deviceIp.get(), "10.0.0.1");
    EXPECT_EQ(slave.settingsFolder.get(), folder(2));
}

TEST_F(InstanceFiles, AFullFileIsAppliedAndRewrittenBeforeTheFrameRate)
{
    readBack("Size = 1.5;\nKnob Resolution = 250;\nSerial = MORVAN0042;\nFPS = 60;\nZeroPreset = "
             "0;\nMonoMode = 1;\n");
    EXPECT_FLOAT_EQ(global.guiSize, 1.5f);
    EXPECT_FLOAT_EQ(global.knobResolution, 250.0f);
    EXPECT_EQ(global.deviceSerial.get(), "MORVAN0042");
    EXPECT_FALSE(global.zeroPreset);
    EXPECT_EQ(global.fps, 60);
    EXPECT_EQ(global.frameInterval, 16);
    EXPECT_TRUE(global.fpsChanged);
    EXPECT_TRUE(global.knobResolutionChanged);
    EXPECT_FALSE(global.monoMode) << "never read back";
    // The last save comes before the frame rate is applied.
    EXPECT_EQ(readFile(guiFile()), "Size = 1.5;\nKnob Resolution = 250;\nSerial = MORVAN0042;\nFPS = "
                                   "30;\nZeroPreset = 0;\nMonoMode = 0;\n");
}

// Each case reads into an instance that holds size 0.5, resolution 5, 50 frames, zero-preset
// off and serial "before": what a value cannot give stays as it was.
TEST_F(InstanceFiles, ValuesAreReadByPositionAndWhatIsNoValueKeepsTheOldOne)
{
    struct Case
    {
        const char* why;
        std::string text;
        float size, resolution;
        const char* serial;
        int fps;
        const char* rewritten; // a line the file holds afterwards, or nullptr
    };
    const Case cases[] = {
        {"by position: a serial is no size, \"0\" no frame rate, the fifth value is \"60\"",
         "Serial = MORVAN0042;\nSize = 2;\nKnob Resolution = 7;\nZeroPreset = 0;\nFPS = 60;\nMonoMode = 0;\n",
         0.5f, 2.0f, "7", 50, nullptr},
        {"99.9 reads and writes as 99, an empty serial is no stored unit, only exactly 0 is off",
         "Size = 0.1;\nKnob Resolution = 99.9;\nSerial = ;\nFPS = 30;\nZeroPreset = 00;\nMonoMode = 0;\n",
         0.1f, 99.0f, "", 30, "Knob Resolution = 99;\n"},
        {"the default resolution is written as 0: continuous knobs", defaults, 0.1f, 0.0f, "", 30, nullptr},
        {"junk",
         "Size = abc;\nKnob Resolution = ;\nSerial = MORVAN0042;\nFPS = 0;\nZeroPreset = 1;\nMonoMode = 0;\n",
         0.5f, 5.0f, "MORVAN0042", 50, nullptr},
        {"beyond what the preferences can set",
         "Size = 1e30;\nKnob Resolution = -40;\nSerial = x;\nFPS = -5;\nZeroPreset = 1;\n", 0.5f, 5.0f, "x",
         50, nullptr},
        {"a short file leaves the later values empty", "Size = 2;\nKnob Resolution = 10;\n", 2.0f, 10.0f, "",
         50, nullptr},
        {"no separators at all", "no separators at all", 0.5f, 5.0f, "", 50, nullptr},
    };
    for (const auto& entry : cases)
    {
        SCOPED_TRACE(entry.why);
        GlobalData before(&settings);
        before.isMaster = true;
        before.guiSize = 0.5f;
        before.knobResolution = 5.0f;
        before.fps = 50;
        before.zeroPreset = false;
        before.deviceSerial = "before";
        SafeAndLoad reader(&settings, &before);
        reader.makeInstanceFolder();
        writeFile(guiFile(), entry.text);
        reader.ReadGuiSettings();
        EXPECT_FLOAT_EQ(before.guiSize, entry.size);
        EXPECT_FLOAT_EQ(before.knobResolution, entry.resolution);
        EXPECT_EQ(before.deviceSerial.get(), entry.serial);
        EXPECT_EQ(before.fps, entry.fps);
        EXPECT_TRUE(before.zeroPreset);
        EXPECT_EQ(before.fpsChanged.load(), entry.fps != 50);
        const std::string rewritten = entry.rewritten != nullptr ? entry.rewritten : "";
        EXPECT_NE(readFile(guiFile()).find(rewritten), std::string::npos);
    }
}

TEST_F(InstanceFiles, AMissingEmptyOrFolderFileChangesNothingAndMakesNoFile)
{
    global.deviceSerial = "MORVAN0042";
    store.ReadGuiSettings();
    EXPECT_FALSE(exists(guiFile())) << "the file is not created by reading";
    EXPECT_EQ(global.settingsFolder.get(), folder());
    EXPECT_FALSE(global.knobResolutionChanged);

    writeFile(guiFile(), "");
    store.ReadGuiSettings();
    EXPECT_EQ(readFile(guiFile()), "");

    ::unlink(guiFile().c_str());
    ::mkdir(guiFile().c_str(), 0755);
    store.ReadGuiSettings();
    EXPECT_EQ(global.deviceSerial.get(), "MORVAN0042");
    EXPECT_FALSE(global.knobResolutionChanged);
}
