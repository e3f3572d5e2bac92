// The log: its line format, its place, and whole lines from concurrent threads.
#include "Debug.h"
#include "TestEnvironment.h"

#include <gtest/gtest.h>
#include <sstream>
#include <thread>
#include <vector>

using TestEnvironment::readFile;

namespace
{
class DebugLogFile : public ::testing::Test
{
protected:
    void SetUp() override { home = TestEnvironment::newHome(); }
    std::string logOf(const std::string& folder) const
    {
        return readFile(home + "/.config/Velmora Audio Works/" + folder + "/Log.txt");
    }
    std::string home;
};
} // namespace

TEST_F(DebugLogFile, OneLineOfFourFieldsPerCall)
{
    Debug::DebugLog(35, "Device gefunden ", "/build/Source/GlobaleModule/DeviceFinder/DeviceFinder.cpp", 77,
                    "Morvane");
    Debug::DebugLog(-4, "CheckAndLoad Result", "DeviceFinder.cpp", 12, "Morvane");
    Debug::DebugLog(0, juce::String::fromUTF8("Gr\xc3\xbc\xc3\x9f"), "a/b/", 1, "Morvane");
    EXPECT_EQ(logOf("Morvane"), "35:::Device gefunden :::DeviceFinder.cpp:::77:::\n"
                                "-4:::CheckAndLoad Result:::DeviceFinder.cpp:::12:::\n"
                                "0:::Gr\xc3\xbc\xc3\x9f::::::1:::\n");
}

TEST_F(DebugLogFile, LevelsDownToMinusFiftyAreWritten)
{
    Debug::DebugLog(-50, "written", "x.cpp", 1, "Morvane");
    Debug::DebugLog(-51, "not written", "x.cpp", 2, "Morvane");
    Debug::DebugLog(99999, "ACHTUNG PORT NICHT GEFUNDEN", "x.cpp", 3, "Morvane");
    EXPECT_EQ(logOf("Morvane"),
              "-50:::written:::x.cpp:::1:::\n99999:::ACHTUNG PORT NICHT GEFUNDEN:::x.cpp:::3:::\n");
}

TEST_F(DebugLogFile, EachFolderHasItsOwnLogAndLineBreaksPassUnchanged)
{
    Debug::DebugLog(2, "Register me as: \n2", "PluginCommunication.cpp", 40, "PluginCommunication");
    EXPECT_EQ(logOf("PluginCommunication"), "2:::Register me as: \n2:::PluginCommunication.cpp:::40:::\n");
    EXPECT_EQ(logOf("Morvane"), "");
}

TEST_F(DebugLogFile, ConcurrentThreadsNeverInterleaveInsideALine)
{
    constexpr int threads = 8, lines = 300;
    const std::string filler(1500, '#'); // longer than one stdio buffer of some systems
    std::vector<std::thread> writers;
    for (int t = 0; t < threads; ++t)
        writers.emplace_back(
            [t, &filler]
            {
                for (int i = 0; i < lines; ++i)
                    Debug::DebugLog(t,
                                    "thread " + juce::String(t) + " line " + juce::String(i) + " " + filler,
                                    "Writer.cpp", i, "Morvane");
            });
    for (auto& writer : writers)
        writer.join();

    std::istringstream in(logOf("Morvane"));
    std::string text;
    int count = 0;
    std::vector<int> next(threads, 0);
    while (std::getline(in, text))
    {
        // Level and the thread's own line number tell which call this must be.
        int t = -1;
        std::istringstream fields(text);
        fields >> t;
        ASSERT_TRUE(t >= 0 && t < threads) << "torn line " << count << ": " << text.substr(0, 80);
        const int i = next[(size_t)t]++;
        const auto expected = Debug::formatLine(
            t, "thread " + juce::String(t) + " line " + juce::String(i) + " " + filler, "Writer.cpp", i);
        ASSERT_EQ(text + "\n", expected) << "torn or out of order, line " << count;
        ++count;
    }
    EXPECT_EQ(count, threads * lines);
}
