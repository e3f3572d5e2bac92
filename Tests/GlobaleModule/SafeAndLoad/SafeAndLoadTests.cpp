// The instance's files on disk, with "Home" on a fresh temporary folder for every case.
#include "GlobalData/GlobalData.h"
#include "GlobalData/Settings.h"
#include "Ground/AtomicFile.h"
#include "SafeAndLoad/SafeAndLoad.h"
#include "TestEnvironment.h"

#include <gtest/gtest.h>

#include <csignal>
#include <sstream>
#include <sys/stat.h>
#include <sys/wait.h>
#include <tuple>
#include <unistd.h>

using TestEnvironment::readFile;
using TestEnvironment::writeFile;

namespace
{
const std::string defaults =
    "Size = 0.1;\nKnob Resolution = 0;\nSerial = ;\nFPS = 30;\nZeroPreset = 1;\nMonoMode = 0;\n";

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
    std::string folder(int number = 1) const
    {
        return home + "/.config/Velmora Audio Works/Morvane/" + std::to_string(number);
    }
    std::string guiFile() const { return folder() + "/GuiSettings.txt"; }

    const std::string home = TestEnvironment::newHome();
    Instance master;
    GlobalData& global = master.global;
};
} // namespace

TEST_F(InstanceFiles, NothingIsWrittenUntilAskedThenFilesAreWrittenWholeAndReadAsTheyStand)
{
    EXPECT_FALSE(master.store.LoadFiles()) << "no file yet";
    master.store.ReadGuiSettings();
    EXPECT_EQ(global.settingsFolder.get(), folder());
    EXPECT_TRUE(juce::File(folder()).isDirectory()) << "the folders are made";
    EXPECT_EQ(juce::File(folder()).getNumberOfChildFiles(juce::File::findFilesAndDirectories), 0)
        << "no file";
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
    EXPECT_EQ(global.deviceIp.get() + global.savedIp.get() + global.ipDigits.get(0),
              "10.20.1.7\n10.20.1.7\n1 0 ")
        << "the line end stays";
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

// The process dies after the new bytes reached a temporary file and before the rename: the
// old address stays whole and is read as before; the hidden remnant harms no later write.
TEST_F(InstanceFiles, AWriteKilledBeforeItsRenameLeavesTheOldFileWhole)
{
    master.storeIp("10.0.0.7");
    const auto path = folder() + "/IP.txt";
    const pid_t child = ::fork();
    if (child == 0)
    {
        (void)AtomicFile::writeTemporary(path, "10.0.");
        ::kill(::getpid(), SIGKILL);
        ::_exit(0);
    }
    int status = 0;
    ASSERT_EQ(::waitpid(child, &status, 0), child);
    EXPECT_TRUE(WIFSIGNALED(status) && WTERMSIG(status) == SIGKILL);
    EXPECT_EQ(readFile(path), "10.0.0.7");
    EXPECT_TRUE(master.store.LoadFiles());
    EXPECT_EQ(global.deviceIp.get(), "10.0.0.7");
    const auto names = juce::File(folder()).findChildFiles(juce::File::findFiles, false, "*",
                                                           juce::File::FollowSymlinks::no);
    EXPECT_EQ(names.size(), 2) << "IP.txt and the remnant";
    for (const auto& file : names)
        EXPECT_TRUE(file.getFileName() == "IP.txt" || file.getFileName().startsWith(".IP.txt.tmp"));
    master.storeIp("10.0.0.9");
    EXPECT_EQ(readFile(path), "10.0.0.9");
    EXPECT_FALSE(AtomicFile::write(folder(), "x")) << "a folder is never replaced";
}

// A unit whose "/dinfo" fails while it is taken gives "Error": that is never a serial.
TEST_F(InstanceFiles, ASerialThatCouldNotBeReadIsNeverStored)
{
    global.storeSerial("MORVAN0042");
    global.storeSerial("Error");
    EXPECT_EQ(global.deviceSerial.get(), "MORVAN0042");
    EXPECT_NE(readFile(guiFile()).find("Serial = MORVAN0042;"), std::string::npos);
}

TEST_F(InstanceFiles, TwoInstancesKeepTheirOwnFolders)
{
    Instance slave(2);
    master.storeIp("10.0.0.1");
    slave.storeIp("10.0.0.2");
    slave.global.deviceSerial = "MORVAN0002";
    slave.global.safeGuiSettings();
    EXPECT_EQ(readFile(folder(1) + "/IP.txt") + readFile(folder(2) + "/IP.txt"), "10.0.0.110.0.0.2");
    EXPECT_FALSE(juce::File(folder(1) + "/GuiSettings.txt").exists());
    EXPECT_NE(readFile(folder(2) + "/GuiSettings.txt").find("Serial = MORVAN0002;\n"), std::string::npos);
    ASSERT_TRUE(slave.store.LoadFiles());
    ASSERT_TRUE(master.store.LoadFiles());
    EXPECT_EQ(global.deviceIp.get() + " " + slave.global.deviceIp.get(), "10.0.0.1 10.0.0.2");
    EXPECT_EQ(slave.global.settingsFolder.get(), folder(2));
}

// Each case reads into an instance that holds size 0.5, resolution 5, 50 frames, zero-preset
// off and serial "before": what a value cannot give stays as it was.
TEST_F(InstanceFiles, ValuesAreReadByPositionAndWhatIsNoValueKeepsTheOldOne)
{
    // size resolution serial fps/interval zeroPreset fpsChanged resolutionChanged monoMode
    const auto seen = [](const GlobalData& g)
    {
        std::ostringstream s;
        s << g.guiSize << " " << g.knobResolution << " " << g.deviceSerial.get() << " " << g.fps << "/"
          << g.frameInterval << " " << g.zeroPreset << g.fpsChanged << g.knobResolutionChanged << g.monoMode;
        return s.str();
    };
    const std::tuple<const char*, std::string, const char*, const char*> cases[] = {
        {"all applied and written back once, the frame rate too; MonoMode is never read back",
         "Size = 1.5;\nKnob Resolution = 250;\nSerial = MORVAN0042;\nFPS = 60;\nZeroPreset = 0;\nMonoMode = "
         "1;\n",
         "1.5 250 MORVAN0042 60/16 0110",
         "Serial = MORVAN0042;\nFPS = 60;\nZeroPreset = 0;\nMonoMode = 0;\n"},
        {"by position: a serial is no size, \"0\" no frame rate, the fifth value is \"60\"",
         "Serial = MORVAN0042;\nSize = 2;\nKnob Resolution = 7;\nZeroPreset = 0;\nFPS = 60;\nMonoMode = 0;\n",
         "0.5 2 7 50/33 1010", ""},
        {"99.9 reads and writes as 99, an empty serial is no stored unit, only exactly 0 is off",
         "Size = 0.1;\nKnob Resolution = 99.9;\nSerial = ;\nFPS = 30;\nZeroPreset = 00;\nMonoMode = 0;\n",
         "0.1 99  30/33 1110", "Knob Resolution = 99;\n"},
        {"the default resolution is written as 0: continuous knobs", defaults, "0.1 0  30/33 1110", ""},
        {"junk",
         "Size = abc;\nKnob Resolution = ;\nSerial = MORVAN0042;\nFPS = 0;\nZeroPreset = 1;\nMonoMode = 0;\n",
         "0.5 5 MORVAN0042 50/33 1010", ""},
        {"beyond what the preferences can set",
         "Size = 1e30;\nKnob Resolution = -40;\nSerial = x;\nFPS = -5;\nZeroPreset = 1;\n",
         "0.5 5 x 50/33 1010", ""},
        {"a short file leaves the later values empty", "Size = 2;\nKnob Resolution = 10;\n",
         "2 10  50/33 1010", ""},
        {"no separators at all", "no separators at all", "0.5 5  50/33 1010", ""},
    };
    master.store.makeInstanceFolder();
    for (const auto& [why, text, values, rewritten] : cases)
    {
        SCOPED_TRACE(why);
        Instance before;
        before.global.guiSize = 0.5f;
        before.global.knobResolution = 5.0f;
        before.global.fps = 50;
        before.global.zeroPreset = false;
        before.global.deviceSerial = "before";
        writeFile(guiFile(), text);
        before.store.ReadGuiSettings();
        EXPECT_EQ(seen(before.global), values);
        EXPECT_NE(readFile(guiFile()).find(rewritten), std::string::npos);
    }
}
