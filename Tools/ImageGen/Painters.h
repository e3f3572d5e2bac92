// Every picture of the plug-in, one painter each. Sizes and roles are those the editor,
// the processor and the windows draw them at.
#pragma once

#include <juce_graphics/juce_graphics.h>

// The front panel and the parts that sit on it.
juce::Image paintPanel();              // 1600 x 437
juce::Image paintBezel();              // 1600 x 438, transparent but the ring
juce::Image paintLampButton(bool lit); // 236 x 236

// The device's screen.
constexpr int meterFaceCount = 21;
juce::Image paintMeterFace(int meter);          // 800 x 480, meter 1 to 21
juce::Image smallCopy(const juce::Image& face); // 200 x 120
juce::Image paintNetworkPage();                 // 800 x 480
constexpr int modeCount = 11;
juce::Image paintModeStrip(int mode);          // 800 x 77, mode 1 to 11
juce::Image paintClipLamp(bool red, bool out); // 72 x 45

// Film strips: square frames stacked from top to bottom.
juce::Image paintKnobStrip();        // 250 x 45000, 180 frames
juce::Image paintModeSwitchStrip();  // 250 x 3000, 12 frames
juce::Image paintSearchStrip();      // 300 x 45000, 150 frames, alpha only
extern const juce::Colour searchInk; // the one colour of the search strip

// The windows around the panel.
juce::Image paintSadFace();          // 300 x 300
juce::Image paintPresetBackground(); // 2560 x 1600
juce::Image paintFolderIcon();       // 1600 x 1600
juce::Image paintLogo();             // 230 x 80
juce::Image paintAppIcon();          // 256 x 256, the Standalone's window icon
