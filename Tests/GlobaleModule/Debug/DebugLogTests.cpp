// The log: its line format, its place, and whole lines from concurrent threads.
#include "Debug/Debug.h"
#include "TestEnvironment.h"

#include <gtest/gtest.h>

#include <sstream>
#include <thread>
#include <vector>

namespace
{
std::string logOf(const std::string& home, const std::string& folder, const char* name = "Log.txt")
{
    return TestEnvironment::readFile(home + "/.config/Velmora Audio Works/" + folder + "/" + name);
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
    constexpr int threads = 8, lines = 80; // below the size at which the log rolls over
    const std::string filler(1500, '#');   // longer than one stdio buffer of some systems
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

TEST(DebugLog, ARepeatedLineIsWrittenOnceASecondWithItsCount)
{
    const auto home = TestEnvironment::newHome();
    for (int i = 0; i < 25; ++i)
        Debug::DebugLog(99999, "ACHTUNG PORT NICHT GEFUNDEN", "DeviceQueries.cpp", 9, "Morvane");
    // Another line ends the run: the 24 held back are counted first.
    Debug::DebugLog(0, "Send Knobs Thread started", "ProcMain.cpp", 1, "Morvane");
    Debug::DebugLog(0, "Send Knobs Thread started", "ProcMain.cpp", 1, "Morvane");
    Debug::flushRepeats();
    EXPECT_EQ(logOf(home, "Morvane"),
              "99999:::ACHTUNG PORT NICHT GEFUNDEN:::DeviceQueries.cpp:::9:::\n"
              "99999:::ACHTUNG PORT NICHT GEFUNDEN (24 times more):::DeviceQueries.cpp:::9:::\n"
              "0:::Send Knobs Thread started:::ProcMain.cpp:::1:::\n"
              "0:::Send Knobs Thread started (1 times more):::ProcMain.cpp:::1:::\n");

    // A flood that lasts: one line for every second of it, not one per call.
    const auto flood = TestEnvironment::newHome();
    const auto until = juce::Time::getMillisecondCounterHiRes() + 2300.0;
    int calls = 0;
    while (juce::Time::getMillisecondCounterHiRes() < until)
    {
        Debug::DebugLog(101, "Error in GetDevicePort, result < 0 -1", "DeviceQueries.cpp", 4, "Morvane");
        ++calls;
        juce::Thread::sleep(5);
    }
    Debug::flushRepeats();
    std::istringstream in(logOf(flood, "Morvane"));
    std::string text;
    int lines = 0, counted = 0;
    while (std::getline(in, text))
    {
        ++lines;
        const auto open = text.find(" (");
        counted += open == std::string::npos ? 1 : std::atoi(text.c_str() + open + 2);
    }
    EXPECT_GE(lines, 3) << "one line a second, and the rest at the end";
    EXPECT_LE(lines, 4) << "one line a second, and the rest at the end";
    EXPECT_EQ(counted, calls) << "every call is in a line or in a count";
}

TEST(DebugLog, ALogPastOneMebibyteMovesToTheOldLogAndStartsAnew)
{
    const auto home = TestEnvironment::newHome();
    const std::string filler(1000, '-');
    int written = 0;
    while (logOf(home, "Morvane", "Log.old.txt").empty() && written < 2000)
        Debug::DebugLog(0, "line " + juce::String(written++) + " " + filler, "x.cpp", 1, "Morvane");
    ASSERT_LT(written, 2000) << "no Log.old.txt after 2000 lines of 1 kB";

    const auto old = logOf(home, "Morvane", "Log.old.txt");
    EXPECT_LE(old.size(), 1024u * 1024u);
    EXPECT_GT(old.size(), 1024u * 1024u - 1100u) << "rolled over only when the next line did not fit";
    // The newest line stands alone in the new log, the one before it ends the old one.
    EXPECT_EQ(logOf(home, "Morvane"),
              Debug::formatLine(0, "line " + juce::String(written - 1) + " " + filler, "x.cpp", 1));
    EXPECT_NE(old.find("line " + std::to_string(written - 2) + " "), std::string::npos);

    // The second rollover replaces the old log: there is only ever one.
    const int before = written;
    while (logOf(home, "Morvane", "Log.old.txt").find("line " + std::to_string(before) + " ") ==
               std::string::npos &&
           written < 4000)
        Debug::DebugLog(0, "line " + juce::String(written++) + " " + filler, "x.cpp", 1, "Morvane");
    EXPECT_EQ(logOf(home, "Morvane", "Log.old.txt").find("line 0 "), std::string::npos);
}
