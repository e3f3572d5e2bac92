#include "GlobalData/GlobalData.h"

#include "Debug/Debug.h"
#include "Ground/AtomicFile.h"
#include "Ground/SettingsPaths.h"

GlobalData::GlobalData(Settings* s, int instanceNumber) : settings(s)
{
    takenIpCount = instanceNumber;
}

std::string GlobalData::composeGuiSettings() const
{
    std::string text;
    text += "Size = " + FloatInString(guiSize.load()) + ";\n";
    text += "Knob Resolution = " + IntInString((int)knobResolution.load()) + ";\n";
    text += "Serial = " + deviceSerial.get() + ";\n";
    text += "FPS = " + IntInString(fps.load()) + ";\n";
    text += "ZeroPreset = " + IntInString(zeroPreset.load() ? 1 : 0) + ";\n";
    text += "MonoMode = " + IntInString(monoMode.load() ? 1 : 0) + ";\n";
    return text;
}

void GlobalData::safeGuiSettings()
{
    const std::string productFolder = settings != nullptr ? settings->productFolder : std::string();
    const auto folder = SettingsPaths::makeFolders(productFolder + "/" + instanceFolderName());
    if (!folder.empty())
        AtomicFile::write(folder + "/GuiSettings.txt", composeGuiSettings());
}

std::string GlobalData::instanceFolderName() const
{
    if (isMaster.load() || slaveIndex.load() <= 0)
        return "1";
    return IntInString(slaveIndex.load());
}

void GlobalData::storeSerial(const std::string& serial)
{
    if (serial == "Error")
        return;
    deviceSerial = serial;
    safeGuiSettings();
}

void GlobalData::SetIp(const std::string& ip)
{
    deviceIp = ip;
    // Each part of the address with a blank behind every digit; a short address repeats
    // its last part in the entries that follow.
    std::string rest = ip;
    for (int part = 0; part < 4; ++part)
    {
        const auto dot = rest.find('.');
        const std::string digits = rest.substr(0, dot);
        std::string spaced;
        for (char c : digits)
        {
            spaced += c;
            spaced += ' ';
        }
        ipDigits.set(part, spaced);
        if (dot != std::string::npos)
            rest = rest.substr(dot + 1);
    }
}

void GlobalData::SetDeviceFinderDone()
{
    Debug::DebugLog(100, "device finder done gesetzt", __FILE__, __LINE__,
                    settings != nullptr ? settings->productFolder : std::string("Morvane"));
    deviceFinderBusy = false;
}

void GlobalData::SetKnobImage(juce::Image image)
{
    std::lock_guard<std::mutex> lock(imageLock);
    knobImage = std::move(image);
}

juce::Image GlobalData::getKnobImage() const
{
    std::lock_guard<std::mutex> lock(imageLock);
    return knobImage;
}
