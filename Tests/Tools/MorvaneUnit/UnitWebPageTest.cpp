// The unit's web page in a real browser, with a plug-in connected to the same unit.
#include "Browser.h"
#include "SyncRig.h"
#include "TestEnvironment.h"

#include <gtest/gtest.h>

#include <chrono>

namespace
{
class UnitWebPage : public ::testing::Test
{
protected:
    void SetUp() override
    {
        if (!Browser::installed() && !TestEnvironment::onCi())
            GTEST_SKIP() << "chromium is not installed (Tools/setup-debian.sh installs it)";
        ASSERT_TRUE(Browser::installed()) << "chromium is missing";
        ASSERT_TRUE(rig.connect());
        browser = std::make_unique<Browser>();
        ASSERT_TRUE(browser->open("http://" + rig.unit->config().address + "/")) << browser->output();
        ASSERT_TRUE(until([&] { return page("document.body.dataset.polls") >= 1; }))
            << "the page reads the unit";
    }

    bool until(const std::function<bool()>& done, int timeoutMs = 3000)
    {
        return TestEnvironment::pumpUntil(done, timeoutMs);
    }
    int page(const std::string& expression) { return (int)browser->evaluate("Number(" + expression + ")"); }
    int shown(const std::string& id) { return page("document.getElementById('" + id + "').dataset.value"); }
    bool faultOn(const std::string& name)
    {
        return rig.unit->command("faults").find("\n" + name + " on") != std::string::npos;
    }
    float knob(int index) { return (float)rig.processor->getKnob(index)->getValue(); }

    SyncRig rig{"127.0.0.2", 7101};
    std::unique_ptr<Browser> browser;
};

TEST_F(UnitWebPage, AHandOnThePageTurnsTheUnitAndThePluginTheCommandLineShowsAndFaultsSwitch)
{
    // A drag upwards on Output: held while the hand is on it, the plug-in's knob follows, and
    // once let go nothing turns it back.
    const Browser::Point output = browser->centreOf("knob-3");
    ASSERT_GE(output.x, 0);
    browser->drag(output, {output.x, output.y - 80});
    EXPECT_TRUE(rig.unit->row(3).held);
    ASSERT_TRUE(until([&] { return !rig.unit->row(3).held; }));
    const int turned = rig.unit->row(3).value;
    EXPECT_GT(turned, 800) << "80 pixels of 200 for the whole range, from 512";
    EXPECT_TRUE(until([&] { return std::abs(knob(3) - turned / 1023.0f) < 0.001f; })) << knob(3);
    rig.runCycles(10);
    EXPECT_EQ(rig.unit->row(3).value, turned);
    EXPECT_EQ(shown("knob-3"), turned);

    // A turn on the unit's command line is on the page within a second.
    const auto start = std::chrono::steady_clock::now();
    ASSERT_EQ(rig.unit->command("turn 2 900"), "ok");
    ASSERT_TRUE(until([&] { return shown("knob-2") == 900; }, 2000));
    const auto took =
        std::chrono::duration_cast<std::chrono::milliseconds>(std::chrono::steady_clock::now() - start);
    EXPECT_LT(took.count(), 1000);
    std::printf("a command-line turn showed on the page after %lld ms\n",
                static_cast<long long>(took.count()));
    rig.unit->command("release 2");

    // The fault switches, the channel mode and the mode switch go to the unit.
    browser->click(browser->centreOf("fault-silent"));
    EXPECT_TRUE(until([&] { return faultOn("silent"); }));
    browser->click(browser->centreOf("fault-silent"));
    EXPECT_TRUE(until([&] { return !faultOn("silent"); }));
    browser->click(browser->centreOf("dual"));
    EXPECT_TRUE(until([&] { return rig.unit->panel().dual() && rig.global->dualMono.load(); }));
    browser->click(browser->centreOf("mode"));
    EXPECT_TRUE(until([&] { return rig.unit->row(10).value == 13 && knob(2) == 1.0f; })) << knob(2);

    EXPECT_EQ(browser->consoleErrors(), std::vector<std::string>());
}
} // namespace
