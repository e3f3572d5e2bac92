// The whole instance on the computer of a studio network: its message thread (this test's
// thread) enters the computer's namespace before the processor exists, so the processor and
// every thread it starts talk to the studio network and nothing else.
#include "PluginProcessor.h"
#include "StudioUnits.h"

#include <cmath>

TEST(ProcessorDiscovery, WithNoStoredAddressTheMasterFindsItsUnitAndRunsByItself)
{
    REQUIRE_STUDIO();
    TestEnvironment::newHome();
    StudioUnits studio(1);
    ASSERT_TRUE(studio.ok()) << studio.net.error();
    auto* unit = studio.start(1, "MORVAN0001");
    ASSERT_NE(unit, nullptr);
    ASSERT_EQ(unit->command("set 3 768").rfind("ok", 0), 0u);
    ASSERT_EQ(unit->command("set 0 250").rfind("ok", 0), 0u);

    morvane::test::ScopedNamespace onComputer(studio.net.hostNamespace());
    ASSERT_TRUE(onComputer.ok());
    auto processor = std::make_unique<MorvaneProcessor>();
    auto* global = processor->getGlobalData();
    ASSERT_TRUE(global->isMaster);

    const bool running = TestEnvironment::pumpUntil(
        [&] { return global->connected.load() && processor->isStatusReceived(); }, 20000);
    ASSERT_TRUE(running) << "connected " << global->connected << ", busy " << global->deviceFinderBusy;
    EXPECT_FALSE(global->deviceFinderBusy);
    EXPECT_EQ(global->deviceIp.get(), studio.net.unitAddress(1));
    EXPECT_EQ(global->deviceSerial.get(), "MORVAN0001");
    EXPECT_EQ(global->devicePort, 7001);

    // First status: the knobs take the unit's values.
    ASSERT_TRUE(TestEnvironment::pumpUntil(
        [&] { return std::fabs(processor->getParameter(3) - 768.0f / 1023.0f) < 0.011f; }, 5000))
        << processor->getParameter(3);
    const auto attack = unit->row(0);
    EXPECT_NEAR(processor->getParameter(1), float(attack.value - attack.min) / float(attack.max - attack.min),
                0.011f);

    processor.reset();
}
