#pragma once

#include "PluginEditor.h"
#include "SyncRig.h"

#include <gtest/gtest.h>

#include <memory>

// An editor on a processor that runs against a simulated unit on loopback.
class EditorCase : public ::testing::Test
{
protected:
    void TearDown() override { closeEditor(); }

    void openEditor() { editor.reset(static_cast<MorvaneEditor*>(rig.processor->createEditor())); }
    void closeEditor() { editor.reset(); }
    bool until(const std::function<bool()>& done, int timeoutMs = 15000)
    {
        return TestEnvironment::pumpUntil(done, timeoutMs);
    }
    // One tick of the window, run here rather than by its timer.
    void tick() { editor->timerCallback(); }
    // One paint pass into an image, as the framework's would be.
    juce::Image draw() { return editor->createComponentSnapshot(editor->getLocalBounds(), false); }
    // Moves the window to a view the way the user or the unit does, and lets it settle.
    void goTo(int view)
    {
        const int from = editor->getRuntime();
        if (view == 30)
            editor->buttonClicked(&editor->btnPresets);
        else if (view == 80)
            editor->buttonClicked(&editor->btnDualMono);
        else if (view == 4)
            editor->buttonClicked(from == 80 ? &editor->btnStereo : &editor->btnHome);
        else if (view == 5)
        {
            // What the status thread writes when the unit is lost.
            rig.global->viewState = 5;
            rig.global->viewDirty = true;
        }
        tick();
        tick();
        draw();
        draw();
        ASSERT_EQ(editor->getRuntime(), view) << "from " << from;
    }

    SyncRig rig;
    std::unique_ptr<MorvaneEditor> editor;
};
