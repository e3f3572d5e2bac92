// A picked preset travels from the file through the loop to a simulated unit on loopback.
#include "PresetPanelSupport.h"
#include "PresetTestSupport.h"
#include "Presets/KnobDocument.h"
#include "Presets/PresetActions.h"
#include "Presets/PresetFile.h"
#include "SyncRig.h"

#include <gtest/gtest.h>

#include <cmath>
#include <set>
#include <sstream>

namespace
{
// The rows of a request line "GET /knob?r/v/r/v... HTTP/1.1".
std::set<int> requestedRows(const std::string& line)
{
    std::set<int> rows;
    const auto start = line.find("/knob?") + 6;
    std::istringstream pairs(line.substr(start, line.find(' ', start) - start));
    std::string row, value;
    while (std::getline(pairs, row, '/') && std::getline(pairs, value, '/'))
        rows.insert(std::stoi(row));
    return rows;
}
} // namespace

TEST(PresetsOnAUnit, ALoadedPresetReachesTheUnitInOneRequest)
{
    SyncRig rig("127.0.0.2", 7131);
    ASSERT_TRUE(rig.connect());
    rig.runCycles(4);
    rig.clearRequests();
    // The unit's own values may be mostly zero; that rule is tested elsewhere.
    rig.global->zeroPreset = false;
    std::vector<float> values;
    for (int i = 0; i < 20; ++i)
        values.push_back((float)rig.processor->getKnob(i)->getValue());
    values[3] = 0.25f;
    values[4] = 0.75f;
    const auto path = PresetTest::freshFolder() + "/ToTheUnit.fxb";
    ASSERT_TRUE(PresetFile::write(*KnobDocument::make(values), path));

    // A High Gain request with the load: four cycles later the host hears the unit's inputs
    // anew, which differ from the preset's six digits only below what a request can carry.
    rig.global->highGainValue = rig.unit->row(22).value == 1;
    rig.global->highGainRequest = true;
    rig.clearHostHeard();
    rig.global->loadPath = path;
    rig.global->loadRequest = true;
    ASSERT_TRUE(rig.waitForRequests(1));
    ASSERT_TRUE(TestEnvironment::pumpUntil([&] { return !rig.hostHeard(9).empty(); }, 3000));
    rig.runCycles(3);
    // Every knob of the preset is applied at once, so one request carries the changed ones,
    // and the inputs handed to the host do not go back to the unit.
    const auto requests = rig.knobRequests();
    ASSERT_EQ(requests.size(), 1u) << requests[0] << requests.back();
    EXPECT_EQ(requestedRows(requests[0]).count(3), 1u) << requests[0];
    EXPECT_EQ(requestedRows(requests[0]).count(8), 1u) << requests[0];
    auto onUnit = [&rig](int row, float knob)
    {
        const auto r = rig.unit->row(row);
        return std::abs(r.value - (int)(knob * (r.max - r.min) + r.min)) <= 1;
    };
    EXPECT_TRUE(TestEnvironment::pumpUntil([&] { return onUnit(3, 0.25f) && onUnit(8, 0.75f); }, 3000))
        << rig.unit->row(3).value << " " << rig.unit->row(8).value;
    EXPECT_NEAR(rig.processor->getKnob(3)->getValue(), 0.25, 1e-6);
}

TEST(PresetsOnAUnit, AClickOnAPresetInThePanelIsOneRequestToTheUnit)
{
    SyncRig rig("127.0.0.2", 7132);
    ASSERT_TRUE(rig.connect());
    rig.runCycles(4);
    rig.global->zeroPreset = false;
    PresetMain panel(rig.processor->getSettings(), rig.global);
    std::vector<float> values;
    for (int i = 0; i < 20; ++i)
        values.push_back((float)rig.processor->getKnob(i)->getValue());
    values[3] = 0.25f;
    values[4] = 0.75f;
    ASSERT_TRUE(PresetFile::write(*KnobDocument::make(values), panel.getRootPath() + "/Clicked.fxb"));
    PresetActions::relist(*panel.database, panel.getRootPath(), -1);
    panel.timerCallback();

    rig.clearRequests();
    ASSERT_TRUE(PresetPanelTest::press(panel, 0, "Clicked.fxb"));
    ASSERT_TRUE(rig.waitForRequests(1));
    rig.runCycles(4);
    const auto requests = rig.knobRequests();
    ASSERT_EQ(requests.size(), 1u) << requests.back();
    // Knobs the file carries to six digits may go along; the two changed ones must.
    EXPECT_EQ(requestedRows(requests[0]).count(3), 1u) << requests[0];
    EXPECT_EQ(requestedRows(requests[0]).count(8), 1u) << requests[0];
    EXPECT_EQ(panel.getNameEditor().getText(), "Clicked.fxb");
    EXPECT_NEAR(rig.processor->getKnob(4)->getValue(), 0.75, 1e-6);
}
