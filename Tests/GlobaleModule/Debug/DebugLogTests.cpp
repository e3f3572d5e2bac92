// The log: its line format, its place, and whole lines from concurrent threads.
#include "Debug/Debug.h"
#include "TestEnvironment.h"

#include <gtest/gtest.h>

#include <sstream>
#include <thread>
#include <vector>

namespace
{
std::string logOf(const std::string& home, const std::string& folder)
{
    return TestEnvironment::readFile(home + "/.config/Velmora Audio Works/" + folder + "/Log.txt");
}
} // namespace

TEST(DebugLog, OneLineOfFourFieldsPerCallDownToLevelMinusFiftyInTheFolderGiven)
{
    const auto home = TestEnvironment::newHome();
    Debug::DebugLog(35, "Device gefunden ", "/build/Source/GlobaleModule/DeviceFinder/DeviceFinder.cpp", 77,
                    "Morvane");
    Debug::DebugLog(0, juce::String::fromUTF8("Gr\xc3\xbc\xc3\x9f"), "a/b/", 1, "Morvane");
    Debug::DebugLog(-50, "written", "x.cpp", 1, "Morvane");
    Debug::DebugLog(-51, "not written", "x.cpp", 2, "Morvane");
    Debug::DebugLog(99999, "ACHTUNG PORT NICHT GEFUNDEN", "x.cpp", 3, "Morvane");
    EXPECT_EQ(logOf(home, "Morvane"), "35:::Device gefunden :::DeviceFinder.cpp:::77:::\n"
                                      "0:::Gr\xc3\xbc\xc3\x9f::::::1:::\n"
                                      "-50:::written:::x.cpp:::1:::\n"
                                      "99999:::ACHTUNG PORT NICHT GEFUNDEN:::x.cpp:::3:::\n");

    // Each folder has its own log; line breaks pass unchanged.
    Debug::DebugLog(2, "Register me as: \n2", "PluginCommunication.cpp", 40, "PluginCommunication");
    EXPECT_EQ(logOf(home, "PluginCommunication"),
              "2:::Register me as: \n2:::PluginCommunication.cpp:::40:::\n");
}

TEST(DebugLog, ConcurrentThreadsNeverInterleaveInsideALine)
{
    const auto home = TestEnvironment::newHome();
    constexpr int threads = 8, lines = 300;
    const std::string filler(1500, '#'); // longer than one stdio buffer of some systems
    auto message = [&filler](int t, int i)
    {
        return "thread " + juce::String(t) + " line " + juce::String(i) + " " + filler;
    };
    std::vector<std::thread> writers;
    for (int t = 0; t < threads; ++t)
        writers.emplace_back(
            [t, &message]
            {
                for (int i = 0; i < lines; ++i)
                    Debug::DebugLog(t, message(t, i), "Writer.cpp", i, "Morvane");
            });
    for (auto& writer : writers)
        writer.join();

    // The level names the thread, the thread's own count the call each line must be.
    std::istringstream in(logOf(home, "Morvane"));
    std::string text;
    std::vector<int> next(threads, 0);
    for (int count = 0; std::getline(in, text); ++count)
    {
        const int t = text[0] - '0';
        ASSERT_TRUE(t >= 0 && t < threads) << "torn line " << count << ": " << text.substr(0, 80);
        const int i = next[(size_t)t]++;
        ASSERT_EQ(text + "\n", Debug::formatLine(t, message(t, i), "Writer.cpp", i))
            << "torn, line " << count;
    }
    EXPECT_EQ(next, std::vector<int>(threads, lines));
}
