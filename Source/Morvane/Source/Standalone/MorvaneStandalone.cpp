// The Standalone Morvane: a controller of the unit, not an audio program. It opens no audio
// device of its own (the processor passes samples through untouched, so pass-through stays
// in Options for whoever picks a device), shows no muted-input bar, carries the product's
// title and icon, and keeps its settings (window position, state, audio set-up) in its
// instance folder below <home> like every other instance's files.
#include "BinaryData.h"
#include "Ground/SettingsPaths.h"

#include <juce_audio_plugin_client/juce_audio_plugin_client.h>
#include <juce_audio_utils/juce_audio_utils.h>

#include <juce_audio_plugin_client/Standalone/juce_StandaloneFilterWindow.h>

namespace
{
// One process holds one instance, the master, whose files live in folder "1".
juce::File settingsFile()
{
    const auto folder = SettingsPaths::makeFolders(juce::String(JucePlugin_Name).toStdString() + "/1");
    if (folder.empty())
        return {};
    return juce::File(juce::String(folder)).getChildFile("Standalone.settings");
}

juce::PropertiesFile* makeSettings()
{
    const auto file = settingsFile();
    if (file == juce::File())
        return nullptr;
    juce::PropertiesFile::Options options;
    options.millisecondsBeforeSaving = 2000;
    return new juce::PropertiesFile(file, options);
}

juce::Image programIcon()
{
    int size = 0;
    const char* data = BinaryData::getNamedResource("temp_binary_data_91", size);
    return data == nullptr ? juce::Image() : juce::ImageFileFormat::loadFrom(data, (size_t)size);
}

class MorvaneStandaloneApp : public juce::JUCEApplication
{
public:
    const juce::String getApplicationName() override { return JucePlugin_Name; }
    const juce::String getApplicationVersion() override { return JucePlugin_VersionString; }
    bool moreThanOneInstanceAllowed() override { return true; }
    void anotherInstanceStarted(const juce::String&) override {}

    void initialise(const juce::String&) override
    {
        // No channels asked for: no device opens, and with no input there is nothing to mute.
        juce::Array<juce::StandalonePluginHolder::PluginInOuts> noAudio;
        noAudio.add({0, 0});
        window = std::make_unique<juce::StandaloneFilterWindow>(
            getApplicationName(),
            juce::LookAndFeel::getDefaultLookAndFeel().findColour(juce::ResizableWindow::backgroundColourId),
            makeSettings(), true, juce::String(), nullptr, noAudio);
        // A device chosen by hand in Options passes its input through, as the plug-in does.
        window->pluginHolder->getMuteInputValue().setValue(false);
        const auto icon = programIcon();
        window->setIcon(icon); // the title bar's
        window->setVisible(true);
        if (auto* peer = window->getPeer())
            peer->setIcon(icon); // the desktop's: task bar and window switcher
    }

    void shutdown() override { window = nullptr; }

    void systemRequestedQuit() override
    {
        if (window != nullptr)
            window->pluginHolder->savePluginState();
        if (juce::ModalComponentManager::getInstance()->cancelAllModalComponents())
            juce::Timer::callAfterDelay(100,
                                        []
                                        {
                                            if (auto* app = juce::JUCEApplicationBase::getInstance())
                                                app->systemRequestedQuit();
                                        });
        else
            quit();
    }

private:
    std::unique_ptr<juce::StandaloneFilterWindow> window;
};
} // namespace

juce::JUCEApplicationBase* juce_CreateApplication();
juce::JUCEApplicationBase* juce_CreateApplication()
{
    return new MorvaneStandaloneApp();
}
