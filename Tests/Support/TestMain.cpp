// Test programs that use the plug-in's code start here: every run gets a fresh "Home" and
// preset root, so no test ever touches the real ones, and the framework's message thread
// is this thread.
#include "TestEnvironment.h"

#include <gtest/gtest.h>
#include <juce_events/juce_events.h>

int main(int argc, char** argv)
{
    testing::InitGoogleTest(&argc, argv);
    TestEnvironment::useFreshHome();
    juce::ScopedJuceInitialiser_GUI framework;
    const int result = RUN_ALL_TESTS();
    TestEnvironment::removeFreshHome();
    return result;
}
