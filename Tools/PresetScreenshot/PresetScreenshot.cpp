// Draws the window's presets view on a sample tree into a PNG:
//   morvane-preset-screenshot <file.png>
// The plug-in looks for its unit on every interface, so the program moves itself into a
// network namespace of its own first (as root), and refuses to run in the machine's own.
#include "PluginEditor.h"
#include "PluginProcessor.h"
#include "Presets/PresetMain.h"

#include "PresetPanelSupport.h"
#include "ProcessorDrive.h"
#include "StudioNet.h"

#include <juce_gui_basics/juce_gui_basics.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <memory>

namespace
{
// A few folders and presets, as a studio might keep them.
void makeSampleTree(const std::filesystem::path& root)
{
    const char* presets[] = {"Vocals/Lead/Airy Lead.fxb", "Vocals/Lead/Tight Lead.fxb",
                             "Vocals/Lead/Rap.fxb",       "Vocals/Backing/Wide Choir.fxb",
                             "Vocals/Soft Pop.fxb",       "Drums/Glue Bus.fxb",
                             "Drums/Punchy Kick.fxb",     "Mix Bus/Gentle 2 to 1.fxb",
                             "Bass/Even DI.fxb",          "Start Here.fxb"};
    for (const char* preset : presets)
    {
        const auto file = root / preset;
        std::filesystem::create_directories(file.parent_path());
        std::ofstream(file) << "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\r\n\r\n<Root>\r\n</Root>\r\n";
    }
}

bool writePng(const juce::Image& image, const char* path)
{
    juce::File file = juce::File::getCurrentWorkingDirectory().getChildFile(path);
    file.deleteFile();
    juce::FileOutputStream out(file);
    return out.openedOk() && juce::PNGImageFormat().writeImageToStream(image, out);
}

int draw(const char* target)
{
    MorvaneProcessor processor;
    std::unique_ptr<MorvaneEditor> editor(static_cast<MorvaneEditor*>(processor.createEditor()));
    if (!ProcessorDrive::pumpUntil([&] { return !editor->isLoadingImages() && editor->getRuntime() != 0; },
                                   10000))
    {
        std::fprintf(stderr, "the window did not load its pictures\n");
        return 1;
    }
    editor->buttonClicked(&editor->btnPresets);
    auto& panel = *editor->presetMain;
    for (const auto& [level, name] :
         {std::pair<int, const char*>{0, "Vocals"}, {1, "Lead"}, {2, "Tight Lead.fxb"}})
    {
        if (!PresetPanelTest::press(panel, level, name))
        {
            std::fprintf(stderr, "row %s not found\n", name);
            return 1;
        }
        panel.timerCallback();
    }
    // The first pass after a view change only records the view.
    editor->timerCallback();
    editor->createComponentSnapshot(editor->getLocalBounds(), false);
    const auto image = editor->createComponentSnapshot(editor->getLocalBounds(), false);
    return writePng(image, target) ? 0 : 1;
}
} // namespace

int main(int argc, char** argv)
{
    if (argc != 2)
    {
        std::fprintf(stderr, "usage: %s <file.png>\n", argv[0]);
        return 2;
    }
    morvane::test::enterOwnNetwork();
    if (!ProcessorDrive::inPrivateNetwork())
    {
        std::fprintf(stderr, "Refusing to search the machine's own network: run as root or under "
                             "Tools/private-net.sh\n");
        return 1;
    }
    int result = 1;
    {
        ProcessorDrive::TemporaryHome home("shot");
        if (home.path().empty())
            return 1;
        // The tree's own name, as the first column shows it in a studio.
        const auto root = std::filesystem::path(home.path()) / "Presets" / "Morvane";
        ::setenv("MORVANE_PRESET_ROOT", root.c_str(), 1);
        makeSampleTree(root);
        juce::ScopedJuceInitialiser_GUI framework;
        result = draw(argv[1]);
    }
    return result;
}
