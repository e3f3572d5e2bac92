// A first start writes nothing until the master has found its unit; then the instance's two
// files stand in folder "1". The processor lives on the computer of a studio network.
#include "PluginProcessor.h"
#include "StudioUnits.h"

#include <sys/stat.h>

namespace
{
bool exists(const std::string& path)
{
    struct stat info
    {
    };
    return ::stat(path.c_str(), &info) == 0;
}
} // namespace

TEST(FirstStartFiles, NoFileUntilAUnitIsFoundThenBothInFolderOne)
{
    REQUIRE_STUDIO();
    const std::string home = TestEnvironment::newHome();
    const std::string folder = home + "/.config/Velmora Audio Works/Morvane/1";
    StudioUnits studio(1);
    ASSERT_TRUE(studio.ok()) << studio.net.error();
    ASSERT_NE(studio.start(1, "MORVAN0001"), nullptr);

    morvane::test::ScopedNamespace onComputer(studio.net.hostNamespace());
    ASSERT_TRUE(onComputer.ok());
    auto processor = std::make_unique<MorvaneProcessor>();
    auto* global = processor->getGlobalData();

    // The search needs at least a second per interface before it can write anything.
    EXPECT_FALSE(exists(folder + "/IP.txt"));
    EXPECT_FALSE(exists(folder + "/GuiSettings.txt"));
    EXPECT_TRUE(exists(folder)) << "the folders are made at once";

    ASSERT_TRUE(TestEnvironment::pumpUntil([&] { return global->connected.load(); }, 20000));
    EXPECT_EQ(TestEnvironment::readFile(folder + "/IP.txt"), studio.net.unitAddress(1));
    EXPECT_EQ(TestEnvironment::readFile(folder + "/GuiSettings.txt"),
              "Size = 0.1;\nKnob Resolution = 0;\nSerial = MORVAN0001;\nFPS = 30;\nZeroPreset = 1;\nMonoMode "
              "= 0;\n");
    EXPECT_FALSE(exists(home + "/.config/Velmora Audio Works/Morvane/2"));
    processor.reset();
}
