// morvane-editor-shots <folder>: opens the editor in a real window against a simulated
// unit and takes the screen's pixels of views 2, 4, 80 and 5 into
// <folder>/editor-view-<N>.png, and of the right-click menu, the preferences and the about
// window into menu.png, preferences.png and about.png. Needs a display (Xvfb) and root (a
// network of its own).
#include "ScreenGrab.h"
#include "XErrors.h"

#include "GlobalData/GlobalData.h"
#include "MouseMenue/MousePopUpMenue.h"
#include "PluginEditor.h"
#include "PluginProcessor.h"
#include "ProcessorDrive.h"
#include "TCPIP/TCPIP.h"

#include "MorvaneUnit/Unit.h"
#include "StudioNet.h"

#include <juce_gui_basics/juce_gui_basics.h>

#include <cstdio>

namespace
{
bool shootArea(juce::Rectangle<int> area, const juce::File& file)
{
    ProcessorDrive::pump(300); // a few frames, so the view is drawn
    const auto pixels = grabScreen(area.getX(), area.getY(), area.getWidth(), area.getHeight());
    if (pixels.size() != (size_t)area.getWidth() * (size_t)area.getHeight())
        return false;
    juce::Image image(juce::Image::RGB, area.getWidth(), area.getHeight(), false);
    for (int y = 0; y < area.getHeight(); ++y)
        for (int x = 0; x < area.getWidth(); ++x)
            image.setPixelAt(x, y, juce::Colour(pixels[(size_t)(y * area.getWidth() + x)]));
    file.deleteFile();
    juce::FileOutputStream out(file);
    juce::PNGImageFormat png;
    const bool written = out.openedOk() && png.writeImageToStream(image, out);
    std::printf("%s %s\n", written ? "wrote" : "could not write", file.getFullPathName().toRawUTF8());
    return written;
}

bool shoot(MorvaneEditor& editor, int view, const juce::File& folder)
{
    return shootArea(editor.getScreenBounds(),
                     folder.getChildFile("editor-view-" + juce::String(view) + ".png"));
}

// The menu as a right click opens it over the panel, then the two windows it opens, each
// alone on the screen.
bool shootMenuAndWindows(MorvaneEditor& editor, const juce::File& folder)
{
    auto& menu = *editor.mouseMenu;
    focusWindow((unsigned long)(juce::pointer_sized_uint)editor.getWindowHandle());
    ProcessorDrive::pump(100);
    const auto click = editor.getScreenPosition() + juce::Point<int>(250, 40);
    menu.buildMenu().showMenuAsync(juce::PopupMenu::Options().withTargetScreenArea({click.x, click.y, 1, 1}));
    ProcessorDrive::pumpUntil([] { return juce::Component::getCurrentlyModalComponent() != nullptr; }, 2000);
    juce::Component::SafePointer<juce::Component> shown(juce::Component::getCurrentlyModalComponent());
    bool ok = shown != nullptr && shootArea(editor.getScreenBounds().getUnion(shown->getScreenBounds()),
                                            folder.getChildFile("menu.png"));
    ok = ok && shown != nullptr; // still open when the pixels were taken
    juce::PopupMenu::dismissAllActiveMenus();
    ProcessorDrive::pump(200);
    for (const auto& [id, name] : {std::make_pair(MousePopUpMenue::preferencesId, "preferences.png"),
                                   std::make_pair(MousePopUpMenue::aboutId, "about.png")})
    {
        menu.PopupMenuResult(id);
        ProcessorDrive::pumpUntil(
            [&] { return !menu.windows.isEmpty() && menu.windows.getLast() != nullptr; }, 2000);
        auto* window = menu.windows.isEmpty() ? nullptr : menu.windows.getLast().getComponent();
        ok = ok && window != nullptr && shootArea(window->getScreenBounds(), folder.getChildFile(name));
        delete window;
    }
    return ok;
}

// The way a user meets the views: the search finds nothing (5); the unit is switched on,
// its address typed and Ok pressed, and while the unit is slow to answer the search shows
// (2); then the panel (4) and dual mono (80).
int run(const juce::File& folder)
{
    MorvaneProcessor processor;
    processor.getGlobalData()->guiSize = 0.0f;
    std::unique_ptr<MorvaneEditor> editor(static_cast<MorvaneEditor*>(processor.createEditor()));
    editor->addToDesktop(0);
    editor->setTopLeftPosition(0, 0);
    editor->setVisible(true);
    const auto reach = [&](int view, int timeoutMs)
    {
        return ProcessorDrive::pumpUntil([&] { return editor->getRuntime() == view; }, timeoutMs) &&
               shoot(*editor, view, folder);
    };
    const auto pressOk = [&]
    {
        const char* parts[4] = {"127", "0", "0", "2"};
        for (size_t i = 0; i < 4; ++i)
            editor->ipEditors[i].setText(parts[i]);
        editor->buttonClicked(&editor->btnIpOk);
    };
    bool ok = reach(5, 30000);

    morvane::sim::UnitConfig config;
    config.address = "127.0.0.2";
    config.mac = "00:1a:2b:3c:4d:5e";
    morvane::sim::Unit unit(config);
    unit.start();
    for (const char* line : {"mode 3", "comp -2500 -4000", "clip 130", "fault hang on"})
        unit.command(line);
    if (ok)
    {
        pressOk();
        ok = reach(2, 1000);
        unit.command("fault hang off");
        ProcessorDrive::pumpUntil([&] { return editor->getRuntime() != 2; }, 30000);
        if (editor->getRuntime() == 5)
            pressOk();
        ok = ok && ProcessorDrive::pumpUntil([&] { return processor.isRunning(); }, 20000) && reach(4, 5000);
        ok = ok && shootMenuAndWindows(*editor, folder);
    }
    if (ok)
    {
        editor->buttonClicked(&editor->btnDualMono);
        ok = reach(80, 5000);
    }
    editor.reset();
    unit.stop();
    return ok ? 0 : 1;
}
} // namespace

int main(int argc, char** argv)
{
    if (argc != 2)
    {
        std::fprintf(stderr, "usage: morvane-editor-shots <folder>\n");
        return 2;
    }
    if (!morvane::test::enterOwnNetwork())
    {
        std::fprintf(stderr, "morvane-editor-shots needs root: it runs in a network namespace of its own\n");
        return 2;
    }
    const auto folder = juce::File::getCurrentWorkingDirectory().getChildFile(argv[1]);
    const ProcessorDrive::TemporaryHome home("editor-shots");
    XErrors::survive();
    const juce::ScopedJuceInitialiser_GUI framework;
    folder.createDirectory();
    return run(folder);
}
