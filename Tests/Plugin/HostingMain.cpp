#include "TestEnvironment.h"

#include <cstdio>
#include <gtest/gtest.h>
#include <juce_events/juce_events.h>

int main(int argc, char** argv)
{
    testing::InitGoogleTest(&argc, argv);
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
