// Test programs that use the plug-in's code start here: every run gets a fresh "Home" and
// preset root, so no test ever touches the real ones, and the framework's message thread
// is this thread.
#include "TestEnvironment.h"

#include <cstdio>
#include <gtest/gtest.h>
#include <juce_events/juce_events.h>

int main(int argc, char** argv)
{
    testing::InitGoogleTest(&argc, argv);
    // The plug-in broadcasts on every interface: its tests run only in a network namespace
    // of their own (Tools/run-tests.sh makes one).
    TestEnvironment::enterOwnNetwork();
    if (!TestEnvironment::inPrivateNetwork())
    {
        std::fprintf(stderr,
                     "Refusing to run in the machine's own network namespace: use Tools/run-tests.sh\n");
        return 1;
    }
    TestEnvironment::useFreshHome();
    juce::ScopedJuceInitialiser_GUI framework;
    const int result = RUN_ALL_TESTS();
    TestEnvironment::removeFreshHome();
    return result;
}
