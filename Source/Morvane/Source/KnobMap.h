#pragma once

// The one table of the plug-in's controls. A knob index is a control's identity in the host,
// the state, the presets and the mailbox; a row is the unit's number of a control: the
// command number of a knob request and the row of the status table.
namespace KnobMap
{
// Knobs.
constexpr int inputLeft = 0;
constexpr int attackLeft = 1;
constexpr int mode = 2; // the mode selector, positions 0 to 11
constexpr int outputLeft = 3;
constexpr int threshold = 4;
constexpr int releaseLeft = 5;
constexpr int sidechainLeft = 6;
constexpr int mixLeft = 7;
constexpr int lamp = 8; // the slot of the lamp buttons, no control of its own
constexpr int inputRight = 9;
constexpr int attackRight = 10;
constexpr int outputRight = 11;
constexpr int thresholdRight = 12;
constexpr int releaseRight = 13;
constexpr int sidechainRight = 14;
constexpr int mixRight = 15;
constexpr int autoGain = 16;
constexpr int highGain = 17;
constexpr int lowerMode = 19; // the lower row's mode selector, mirror of knob 2

constexpr int knobTotal = 41;
// The host sees knobs 0 to 15; the loop compares knobs 0 to 16 with the unit.
constexpr int hostParameters = 16;
constexpr int lastComparedKnob = autoGain;

// Mailbox slots of display data, loop to editor, and the mailbox's size.
constexpr int meterLeftSlot = 19;
constexpr int meterRightSlot = 35;
constexpr int clipSlot = 20;
constexpr int mailboxSlots = 40;

// The mode selector: positions 0 to 11; the unit's mode row adds 12 in dual mono.
constexpr int modePositions = 12;
constexpr int lastModePosition = modePositions - 1;
constexpr int dualMonoOffset = 12;

// Rows of the status table.
constexpr int attackLeftRow = 0;
constexpr int inputLeftRow = 2;
constexpr int autoGainRow = 5;
constexpr int meterModeRow = 6;
constexpr int brightnessRow = 7;
constexpr int modeRow = 10;
constexpr int lampRow = 14;
constexpr int inputRightRow = 17;
constexpr int highGainRow = 22;

// The table: rows 0 to 21 come in a status message, 24 are kept; columns value, maximum,
// minimum, (unused), held by the unit's panel.
constexpr int statusRows = 22;
constexpr int tableRows = 24;
constexpr int tableColumns = 5;
constexpr int valueColumn = 0;
constexpr int maximumColumn = 1;
constexpr int minimumColumn = 2;
constexpr int heldColumn = 4;

// A set of knobs with more than this many empty is taken for no set at all; a knob value
// above the largest is out of every knob's range.
constexpr int emptyKnobsOfANullSet = 18;
constexpr float largestKnobValue = 12.0f;

// Row 5 goes out as these two values.
constexpr float autoGainOn = 255.0f;
constexpr float autoGainOff = 0.0f;

// Knob -> row, -1 where a knob has no row.
inline constexpr int knobToRow[knobTotal] = {2,  0,  10, 3,  8,  1,  11, 12, 14, 17, 15, 18, 19, 16,
                                             20, 21, 5,  22, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1,
                                             -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1};
static_assert(knobToRow[inputLeft] == inputLeftRow && knobToRow[attackLeft] == attackLeftRow &&
              knobToRow[mode] == modeRow && knobToRow[lamp] == lampRow &&
              knobToRow[inputRight] == inputRightRow && knobToRow[autoGain] == autoGainRow &&
              knobToRow[highGain] == highGainRow);

// The rows the first status takes knobs 3 to 17 from (its own table: knob 8 from row 0,
// knob 16 from row 14, knob 17 from row 5).
constexpr int firstStatusFirstKnob = outputLeft;
constexpr int firstStatusLastKnob = highGain;
inline constexpr int firstStatusRow[highGain + 1] = {2,  0,  10, 3,  8,  1,  11, 12, 0,
                                                     17, 15, 18, 19, 16, 20, 21, 14, 5};

// Row of a knob, -1 for an index outside the table or a knob without a row.
constexpr int rowOfKnob(int knob)
{
    return knob >= 0 && knob < knobTotal ? knobToRow[knob] : -1;
}

// The selector's position for a mode row value: dual mono's 12 taken off.
constexpr int positionOfModeRow(int raw)
{
    return raw >= dualMonoOffset ? raw - dualMonoOffset : raw;
}
} // namespace KnobMap
