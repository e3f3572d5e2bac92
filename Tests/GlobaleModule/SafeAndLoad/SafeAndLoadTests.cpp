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

TEST_F(InstanceFiles, TheReadingIsByPositionNotByKey)
{
    readBack(
        "Serial = MORVAN0042;\nSize = 2;\nKnob Resolution = 7;\nZeroPreset = 0;\nFPS = 60;\nMonoMode = 0;\n");
    EXPECT_FLOAT_EQ(global.guiSize, 0.1f) << "a serial is no size: the default stays";
    EXPECT_FLOAT_EQ(global.knobResolution, 2.0f);
    EXPECT_EQ(global.deviceSerial.get(), "7");
    EXPECT_EQ(global.fps, 30) << "\"0\" is no frame rate";
    EXPECT_TRUE(global.zeroPreset) << "the fifth value is \"60\"";
}

TEST_F(InstanceFiles, SmallValuesReadAsTheyAreWritten)
{
    readBack(
        "Size = 0.1;\nKnob Resolution = 99.9;\nSerial = ;\nFPS = 30;\nZeroPreset = 00;\nMonoMode = 0;\n");
    EXPECT_EQ(global.deviceSerial.get(), "") << "an empty serial: no stored unit";
    EXPECT_FLOAT_EQ(global.knobResolution, 99.0f);
    EXPECT_TRUE(global.zeroPreset) << "only exactly 0 turns it off";
    EXPECT_NE(readFile(guiFile()).find("Knob Resolution = 99;\n"), std::string::npos);

    readBack(defaults);
    EXPECT_FLOAT_EQ(global.knobResolution, 0.0f) << "the default is written as 0: continuous knobs";
}

TEST_F(InstanceFiles, MissingOrJunkValuesKeepTheDefaults)
{
    readBack(
        "Size = abc;\nKnob Resolution = ;\nSerial = MORVAN0042;\nFPS = 0;\nZeroPreset = 1;\nMonoMode = 0;\n");
    EXPECT_FLOAT_EQ(global.guiSize, 0.1f);
    EXPECT_FLOAT_EQ(global.knobResolution, 0.001f);
    EXPECT_EQ(global.deviceSerial.get(), "MORVAN0042");
    EXPECT_EQ(global.fps, 30);
    EXPECT_EQ(global.frameInterval, 33);
    EXPECT_FALSE(global.fpsChanged);

    readBack("Size = 1e30;\nKnob Resolution = -40;\nSerial = x;\nFPS = -5;\nZeroPreset = 1;\n");
    EXPECT_FLOAT_EQ(global.guiSize, 0.1f) << "beyond what the preferences can set";
    EXPECT_FLOAT_EQ(global.knobResolution, 0.001f);
    EXPECT_EQ(global.fps, 30);
    EXPECT_FALSE(global.fpsChanged);
}

TEST_F(InstanceFiles, AShortFileLeavesTheLaterValuesEmpty)
{
    global.fps = 50;
    global.zeroPreset = false;
    readBack("Size = 2;\nKnob Resolution = 10;\n");
    EXPECT_FLOAT_EQ(global.guiSize, 2.0f);
    EXPECT_EQ(global.deviceSerial.get(), "");
    EXPECT_TRUE(global.zeroPreset);
    EXPECT_EQ(global.fps, 50) << "stays as it was";

    readBack("no separators at all");
    EXPECT_FLOAT_EQ(global.guiSize, 2.0f);
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
