// The instance's files on disk, with "Home" on a fresh temporary folder for every case.
#include "GlobalData.h"
#include "SafeAndLoad.h"
#include "Settings.h"
#include "TestEnvironment.h"

#include <gtest/gtest.h>

#include <sys/stat.h>
#include <unistd.h>

using TestEnvironment::readFile;
using TestEnvironment::writeFile;

namespace
{
const std::string defaults =
    "Size = 0.1;\nKnob Resolution = 0;\nSerial = ;\nFPS = 30;\nZeroPreset = 1;\nMonoMode = 0;\n";

bool exists(const std::string& path)
{
    return juce::File(path).exists();
}

// One instance's blackboard and its files: the master's folder is "1", a slave's its index.
struct Instance
{
    Settings settings;
    GlobalData global{&settings};
    SafeAndLoad store{&settings, &global};

    explicit Instance(int slaveIndex = 0)
    {
        global.isMaster = slaveIndex == 0;
        global.slaveIndex = slaveIndex;
    }
    void storeIp(const std::string& address)
    {
        std::stringstream text;
        text << address;
        store.SafeFiles("IP", text);
    }
};

class InstanceFiles : public ::testing::Test
{
protected:
    void SetUp() override { home = TestEnvironment::newHome(); }

    std::string folder(int number = 1) const
    {
        return home + "/.config/Velmora Audio Works/Morvane/" + std::to_string(number);
    }
    std::string guiFile() const { return folder() + "/GuiSettings.txt"; }

    std::string home;
    Instance master;
    GlobalData& global = master.global;
};
} // namespace

TEST_F(InstanceFiles, NothingIsWrittenUntilAskedThenFilesAreWrittenWholeAndReadAsTheyStand)
{
    EXPECT_FALSE(master.store.LoadFiles()) << "no file yet";
    master.store.ReadGuiSettings();
    EXPECT_EQ(global.settingsFolder.get(), folder());
    EXPECT_TRUE(exists(folder())) << "the folders are made";
    EXPECT_FALSE(exists(folder() + "/IP.txt")) << "but no file";
    EXPECT_FALSE(exists(guiFile()));
    EXPECT_FALSE(global.knobResolutionChanged);

    master.storeIp("192.168.100.200");
    master.storeIp("10.0.0.7");
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

    // The stored address is taken as it stands; unreadable files change nothing.
    writeFile(folder() + "/IP.txt", "");
    EXPECT_FALSE(master.store.LoadFiles());
    writeFile(folder() + "/IP.txt", "10.20.1.7\n");
    EXPECT_TRUE(master.store.LoadFiles());
    EXPECT_EQ(global.deviceIp.get(), "10.20.1.7\n") << "the line end stays";
    EXPECT_EQ(global.savedIp.get(), "10.20.1.7\n");
    EXPECT_EQ(global.ipDigits.get(0), "1 0 ");

    ::unlink((folder() + "/IP.txt").c_str());
    ::mkdir((folder() + "/IP.txt").c_str(), 0755);
    global.deviceIp = "kept";
    EXPECT_FALSE(master.store.LoadFiles()) << "a folder in the file's place";
    EXPECT_EQ(global.deviceIp.get(), "kept");

    global.deviceSerial = "MORVAN0042";
    writeFile(guiFile(), "");
    master.store.ReadGuiSettings();
    EXPECT_EQ(readFile(guiFile()), "");
    ::unlink(guiFile().c_str());
    ::mkdir(guiFile().c_str(), 0755);
    master.store.ReadGuiSettings();
    EXPECT_EQ(global.deviceSerial.get(), "MORVAN0042");
    EXPECT_FALSE(global.knobResolutionChanged);
}

TEST_F(InstanceFiles, TwoInstancesKeepTheirOwnFolders)
{
    Instance slave(2);
    master.storeIp("10.0.0.1");
    slave.storeIp("10.0.0.2");
    slave.global.deviceSerial = "MORVAN0002";
    slave.global.safeGuiSettings();

    EXPECT_EQ(readFile(folder(1) + "/IP.txt"), "10.0.0.1");
    EXPECT_EQ(readFile(folder(2) + "/IP.txt"), "10.0.0.2");
    EXPECT_FALSE(exists(folder(1) + "/GuiSettings.txt"));
    EXPECT_NE(readFile(folder(2) + "/GuiSettings.txt").find("Serial = MORVAN0002;\n"), std::string::npos);

    ASSERT_TRUE(slave.store.LoadFiles());
    ASSERT_TRUE(master.store.LoadFiles());
    EXPECT_EQ(slave.global.deviceIp.get(), "10.0.0.2");
    EXPECT_EQ(global.deviceIp.get(), "10.0.0.1");
    EXPECT_EQ(slave.global.settingsFolder.get(), folder(2));
}

TEST_F(InstanceFiles, AFullFileIsAppliedAndRewrittenBeforeTheFrameRate)
{
    master.store.makeInstanceFolder();
    writeFile(guiFile(), "Size = 1.5;\nKnob Resolution = 250;\nSerial = MORVAN0042;\nFPS = 60;\nZeroPreset = "
                         "0;\nMonoMode = 1;\n");
    master.store.ReadGuiSettings();
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
        const char* rewritten; // a line the file holds afterwards
    };
    const Case cases[] = {
        {"by position: a serial is no size, \"0\" no frame rate, the fifth value is \"60\"",
         "Serial = MORVAN0042;\nSize = 2;\nKnob Resolution = 7;\nZeroPreset = 0;\nFPS = 60;\nMonoMode = 0;\n",
         0.5f, 2.0f, "7", 50, ""},
        {"99.9 reads and writes as 99, an empty serial is no stored unit, only exactly 0 is off",
         "Size = 0.1;\nKnob Resolution = 99.9;\nSerial = ;\nFPS = 30;\nZeroPreset = 00;\nMonoMode = 0;\n",
         0.1f, 99.0f, "", 30, "Knob Resolution = 99;\n"},
        {"the default resolution is written as 0: continuous knobs", defaults, 0.1f, 0.0f, "", 30, ""},
        {"junk",
         "Size = abc;\nKnob Resolution = ;\nSerial = MORVAN0042;\nFPS = 0;\nZeroPreset = 1;\nMonoMode = 0;\n",
         0.5f, 5.0f, "MORVAN0042", 50, ""},
        {"beyond what the preferences can set",
         "Size = 1e30;\nKnob Resolution = -40;\nSerial = x;\nFPS = -5;\nZeroPreset = 1;\n", 0.5f, 5.0f, "x",
         50, ""},
        {"a short file leaves the later values empty", "Size = 2;\nKnob Resolution = 10;\n", 2.0f, 10.0f, "",
         50, ""},
        {"no separators at all", "no separators at all", 0.5f, 5.0f, "", 50, ""},
    };
    master.store.makeInstanceFolder();
    for (const auto& entry : cases)
    {
        SCOPED_TRACE(entry.why);
        Instance before;
        before.global.guiSize = 0.5f;
        before.global.knobResolution = 5.0f;
        before.global.fps = 50;
        before.global.zeroPreset = false;
        before.global.deviceSerial = "before";
        writeFile(guiFile(), entry.text);
        before.store.ReadGuiSettings();
        EXPECT_FLOAT_EQ(before.global.guiSize, entry.size);
        EXPECT_FLOAT_EQ(before.global.knobResolution, entry.resolution);
        EXPECT_EQ(before.global.deviceSerial.get(), entry.serial);
        EXPECT_EQ(before.global.fps, entry.fps);
        EXPECT_TRUE(before.global.zeroPreset);
        EXPECT_EQ(before.global.fpsChanged.load(), entry.fps != 50);
        EXPECT_NE(readFile(guiFile()).find(entry.rewritten), std::string::npos);
    }
}
