// Draws the presets view on a sample tree into a PNG: morvane-preset-screenshot <file.png>
#include "GlobalData/GlobalData.h"
#include "GlobalData/Settings.h"
#include "Presets/PresetMain.h"
#include "Presets/PresetPictures.h"

#include "BinaryData.h"

#include "PresetPanelSupport.h"

#include <juce_gui_basics/juce_gui_basics.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>

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

juce::Image builtIn(int number)
{
    if (number == PresetPictures::backgroundNumber)
        return juce::ImageFileFormat::loadFrom(BinaryData::temp_binary_data_26,
                                               BinaryData::temp_binary_data_26Size);
    if (number == PresetPictures::folderNumber)
        return juce::ImageFileFormat::loadFrom(BinaryData::temp_binary_data_27,
                                               BinaryData::temp_binary_data_27Size);
    return {};
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
    Settings settings;
    GlobalData global(&settings);
    global.guiSize = 0.0f;
    PresetPictures::setDecoder(builtIn);
    PresetMain panel(&settings, &global);
    panel.setBounds(0, 0, settings.width, settings.height);
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
    return writePng(panel.createComponentSnapshot(panel.getLocalBounds()), target) ? 0 : 1;
}
} // namespace

int main(int argc, char** argv)
{
    if (argc != 2)
    {
        std::fprintf(stderr, "usage: %s <file.png>\n", argv[0]);
        return 2;
    }
    char folder[] = "/tmp/morvane-shot-XXXXXX";
    if (::mkdtemp(folder) == nullptr)
        return 1;
    const std::filesystem::path home(folder);
    ::setenv("Home", folder, 1);
    ::setenv("MORVANE_PRESET_ROOT", (home / "Presets" / "Morvane").c_str(), 1);
    makeSampleTree(home / "Presets" / "Morvane");
    int result = 1;
    {
        juce::ScopedJuceInitialiser_GUI framework;
        result = draw(argv[1]);
    }
    std::error_code ignored;
    std::filesystem::remove_all(home, ignored);
    return result;
}
