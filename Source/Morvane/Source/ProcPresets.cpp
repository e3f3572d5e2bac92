// The processor's preset stages: reading a picked preset, writing a saved one.
#include "PluginProcessor.h"

#include "GlobalData/GlobalData.h"
#include "KnobMap.h"
#include "Presets/KnobDocument.h"
#include "Presets/PresetFile.h"
#include "Presets/ReplaceQuestion.h"

#include <vector>

namespace
{
void applyAutoGain(GlobalData& global, const juce::String& text)
{
    global.autoGainValue = text == "1";
    global.autoGainRequest = true;
}

// A preset's "off" leaves dual mono at once; the editor and the loop follow the flags.
void applyDualMono(GlobalData& global, const juce::String& text)
{
    const bool on = text == "1";
    global.dualMono = on;
    if (on)
        global.dualMonoEntered = true;
    else
        global.dualMonoLeft = true;
    global.requestChannelMode(on);
}

// The stored knobs as they stand, narrowed to float.
std::vector<float> knobValues(MorvaneProcessor& processor)
{
    processor.CreateTheKnobs();
    std::vector<float> values;
    for (int i = 0; i < processor.getSettings()->knobCount; ++i)
        values.push_back((float)processor.getKnob(i)->getValue());
    return values;
}

void writeKnobPreset(MorvaneProcessor& processor, const std::string& path)
{
    PresetFile::write(*KnobDocument::make(knobValues(processor)), path);
}
} // namespace

struct MorvaneProcessor::SafeCustomPreset_Callback
{
    MorvaneProcessor* processor;
    // The processor may be gone by the time the question is answered.
    std::shared_ptr<std::atomic<bool>> alive;

    void operator()(int result) const
    {
        if (result != 1 || !alive->load())
            return;
        writeKnobPreset(*processor, processor->globalData->presetPath.get());
    }
};

void MorvaneProcessor::presetReadingStage()
{
    if (!globalData->loadRequest.exchange(false))
        return;
    const auto document = PresetFile::read(globalData->loadPath.get(), settings->productFolder);
    if (document == nullptr)
        return;
    CreateTheKnobs();
    // Nearly all knobs at zero is what an empty preset looks like: keep what we have.
    if (globalData->zeroPreset &&
        KnobDocument::countEmptyKnobs(*document, settings->knobCount) > KnobMap::emptyKnobsOfANullSet)
        return;

    int outOfRange = 0;
    for (auto* child : document->getChildIterator())
        if (!loadPresetEntry(*child))
            ++outOfRange;
    if (outOfRange != 0)
        restorePending = false;
    hostResync = true;
}

// One entry of a preset; false for a knob value out of every knob's range.
bool MorvaneProcessor::loadPresetEntry(const juce::XmlElement& child)
{
    const auto tag = child.getTagName();
    if (tag.equalsIgnoreCase("AutoGain"))
    {
        applyAutoGain(*globalData, child.getAllSubText());
        return true;
    }
    if (tag.equalsIgnoreCase("DualMono"))
    {
        applyDualMono(*globalData, child.getAllSubText());
        return true;
    }
    const int i = KnobDocument::knobOfTag(tag, settings->knobCount);
    if (i < 0)
        return true;
    float value = 0.0f;
    if (!KnobDocument::knobText(child, value))
    {
        // A knob without a value: the set is incomplete and must not go out whole.
        restorePending = false;
        return true;
    }
    setParameter(i, value);
    knobs[i]->setValue(value, juce::sendNotificationAsync);
    return !(value < 0.0f || value > KnobMap::largestKnobValue);
}

void MorvaneProcessor::presetSavingStage()
{
    if (!globalData->savePresetRequest.exchange(false))
        return;
    const std::string path = globalData->presetPath.get();
    if (PresetFile::existsAsFile(path))
        ReplaceQuestion::ask("Preset already exists",
                             "This Preset already exists. Do you want to replace it?", "Ok", "Cancel",
                             SafeCustomPreset_Callback{this, alive});
    else
        writeKnobPreset(*this, path);
    globalData->presetSaved = true;
}
