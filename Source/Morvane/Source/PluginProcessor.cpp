#include "PluginProcessor.h"

#include "CallHome/UpdateServer.h"

#include "BinaryData.h"

#include "Broadcast/Broadcast.h"
#include "Components/MyImageButton.h"
#include "Debug/Debug.h"
#include "GlobalData/GlobalData.h"
#include "Ground/HandedThreads.h"
#include "KnobMap.h"
#include "MasterDeviceChecker/MasterDeviceChecker.h"
#include "PluginCommunication/PluginCommunication.h"
#include "PluginEditor.h"
#include "Presets/KnobDocument.h"
#include "SafeAndLoad/SafeAndLoad.h"
#include "TCPIP/TCPIP.h"

#include <algorithm>
#include <cmath>

namespace
{
// Zero-length sleeps, bounded: a flag that never falls must not hold the host for ever.
template <typename Condition> void spinWhile(Condition condition, int limitMs)
{
    const auto start = juce::Time::getMillisecondCounterHiRes();
    while (condition() && juce::Time::getMillisecondCounterHiRes() - start < limitMs)
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
}

// The slots that take a negative value from the host.
bool isFreeSignedSlot(int index)
{
    return index == KnobMap::lamp || index == KnobMap::inputRight || index == KnobMap::autoGain ||
           index == KnobMap::meterLeftSlot || index == KnobMap::meterRightSlot;
}

bool isModeSelector(int knob)
{
    return knob == KnobMap::mode || knob == KnobMap::lowerMode;
}
} // namespace

MorvaneProcessor::MorvaneProcessor()
    : AudioProcessor(BusesProperties()
                         .withInput("Input", juce::AudioChannelSet::stereo(), true)
                         .withOutput("Output", juce::AudioChannelSet::stereo(), true))
{
    settings = new Settings();
    globalData = new GlobalData(settings);
    safeAndLoad = new SafeAndLoad(settings, globalData);
    tcp = new TCPIP(safeAndLoad, globalData, settings);
    pluginCommunication = new PluginCommunication(globalData, settings, safeAndLoad, tcp);
    broadcast = new Broadcast(globalData, settings->deviceCode);

    const auto dark = juce::ImageFileFormat::loadFrom(BinaryData::temp_binary_data_19,
                                                      (size_t)BinaryData::temp_binary_data_19Size);
    const auto lit = juce::ImageFileFormat::loadFrom(BinaryData::temp_binary_data_20,
                                                     (size_t)BinaryData::temp_binary_data_20Size);

    safeAndLoad->ReadGuiSettings();

    lampTop = new MyImageButton(dark, lit, globalData, 1);
    lampBottom = new MyImageButton(dark, lit, globalData, 1);
    receiver = std::make_unique<StatusReceiver>([this](const std::string& received) { PotiRound(received); });

    // The first tick makes the knobs, which are components. Some formats give the framework a
    // message thread of its own and construct the processor on the host's thread: the tick
    // then runs under the message manager's lock, and before the timer starts, so that the
    // two threads never work on the knobs at once.
    {
        const juce::MessageManagerLock lock;
        timerCallback();
    }
    startTimer(40);
}

MorvaneProcessor::~MorvaneProcessor()
{
    // Closing never waits without bound, and never for the unit: a status wait ends at once,
    // and every request or connection test under way ends when quitRequested rises.
    closing = true;
    spinWhile([this] { return inTimer.load(); }, 15000);

    Debug::DebugLog(0, "Please quit right now!", __FILE__, __LINE__, settings->productFolder);
    globalData->quitRequested = true;
    alive->store(false);
    stopTimer();
    endHelpers();

    Debug::DebugLog(0, "Delete broadcaster", __FILE__, __LINE__, settings->productFolder);
    delete broadcast;
    Debug::DebugLog(0, "Delete the broadcaster is done", __FILE__, __LINE__, settings->productFolder);

    const std::string folder = settings->productFolder;
    Debug::DebugLog(0, "Delete globalSettings", __FILE__, __LINE__, folder);
    // The framework, the coordination and the knobs still read the constant record while
    // they go, so it is released last of all, behind the blackboard.
    Debug::DebugLog(0, "Delete globalSettings is done", __FILE__, __LINE__, folder);
    deleteParts();
}

// Every thread of the instance, ended and joined (quitRequested is up).
void MorvaneProcessor::endHelpers()
{
    receiver->stop();
    receiveBusy = false;
    spinWhile([this] { return globalData->broadcastRunning.load(); }, 15000);
    spinWhile([this] { return globalData->callHomeRunning.load(); }, 15000);
    // A check that an editor stopped may leave its request ending on a thread of its own.
    UpdateServer::joinPendingRequests();

    // The device check ends by itself once it sees quitRequested.
    delete masterDeviceChecker;
    masterDeviceChecker = nullptr;

    spinWhile([this] { return globalData->deviceFinderRunning.load() != 0; }, 30000);
    if (findThread.joinable())
        findThread.join();
    // A search whose window closed before it ended.
    HandedThreads::joinOf(globalData);
    addressJob.join();
    portJob.join();
    balanceJob.join();
    infoJob.join();
    storedAddressProbe.join();
    connectionTest.join();
    joinFinishedSendThreads(true);
}

void MorvaneProcessor::deleteParts()
{
    delete pluginCommunication;
    delete lampTop;
    delete lampBottom;
    for (auto*& knob : knobs)
    {
        delete knob;
        knob = nullptr;
    }
    delete tcp;
    delete safeAndLoad;
    delete globalData;
    delete settings;
}

bool MorvaneProcessor::isConnected() const
{
    return globalData->connected.load();
}

Knob* MorvaneProcessor::getKnob(int index) const
{
    return index >= 0 && index < knobTotal ? knobs[index] : nullptr;
}

float MorvaneProcessor::getDeviceValue(int row, int column) const
{
    if (row < 0 || row >= tableRows || column < 0 || column >= tableColumns)
        return 0.0f;
    return deviceTable[row][column];
}

const juce::String MorvaneProcessor::getName() const
{
    return "Morvane";
}

void MorvaneProcessor::prepareToPlay(double, int) {}
void MorvaneProcessor::releaseResources() {}

// The samples stay in the host's buffers untouched: the unit does the audio work.
void MorvaneProcessor::processBlock(juce::AudioBuffer<float>&, juce::MidiBuffer&) {}

bool MorvaneProcessor::isBusesLayoutSupported(const BusesLayout& layouts) const
{
    return layouts.getMainInputChannelSet() == juce::AudioChannelSet::stereo() &&
           layouts.getMainOutputChannelSet() == juce::AudioChannelSet::stereo();
}

double MorvaneProcessor::getTailLengthSeconds() const
{
    return 0.0;
}
bool MorvaneProcessor::acceptsMidi() const
{
    return false;
}
bool MorvaneProcessor::producesMidi() const
{
    return false;
}
bool MorvaneProcessor::hasEditor() const
{
    return true;
}

juce::AudioProcessorEditor* MorvaneProcessor::createEditor()
{
    CreateTheKnobs();
    editor = new MorvaneEditor(*this, globalData, settings, broadcast, knobs, tcp, safeAndLoad, lampTop,
                               lampBottom);
    editorOpen = true;
    return editor;
}

void MorvaneProcessor::editorClosing(MorvaneEditor* leaving)
{
    if (editor == leaving)
    {
        editorOpen = false;
        editor = nullptr;
    }
}

int MorvaneProcessor::getNumPrograms()
{
    return 1;
}
int MorvaneProcessor::getCurrentProgram()
{
    return 0;
}
void MorvaneProcessor::setCurrentProgram(int) {}
const juce::String MorvaneProcessor::getProgramName(int)
{
    return {};
}
void MorvaneProcessor::changeProgramName(int, const juce::String&) {}

int MorvaneProcessor::getNumParameters()
{
    return KnobMap::hostParameters;
}

const juce::String MorvaneProcessor::getParameterName(int index)
{
    if (index < 0 || index > settings->knobCount || index >= (int)settings->knobNames.size())
        return {};
    return juce::String(settings->knobNames[(size_t)index]);
}

// VST3 hosts keep automation and values under IDs made from the plain index, so those stay.
// LV2 makes URIs of the IDs, where a leading digit is not allowed, and a host orders them by
// this text.
juce::String MorvaneProcessor::getParameterID(int index)
{
    if (wrapperType == wrapperType_VST3)
        return juce::String(index);
    return "knob" + juce::String(index).paddedLeft('0', 2);
}

// The mode selector reports its position within 0 to 1, as every host expects.
float MorvaneProcessor::getParameter(int index)
{
    if (!knobsCreated.load() || index < 0 || index >= knobTotal)
        return 0.0f;
    return hostValueOf(index, (float)knobs[index]->getValue());
}

// What the unit's own display would show: the mode's number, every other control in the
// row's figures once the unit has reported them, the plain knob value before.
const juce::String MorvaneProcessor::getParameterText(int index)
{
    if (!knobsCreated.load() || index < 0 || index >= KnobMap::hostParameters)
        return {};
    const auto value = (float)knobs[index]->getValue();
    if (index == KnobMap::mode)
        return juce::String(juce::roundToInt(value) + 1);
    float figure = 0.0f;
    if (unitFigureOf(index, value, figure))
        return juce::String(juce::roundToInt(figure));
    return juce::String(value, 2);
}

bool MorvaneProcessor::unitFigureOf(int knob, float knobValue, float& figure) const
{
    const int row = rowOfKnob(knob);
    if (row < 0 || row >= tableRows)
        return false;
    const float s = shownSlope[row].load();
    if (s == 0.0f)
        return false;
    figure = knobValue / s + shownMinimum[row].load();
    return std::isfinite(figure);
}

int MorvaneProcessor::getParameterNumSteps(int index)
{
    return index == KnobMap::mode ? KnobMap::modePositions : 1;
}

void MorvaneProcessor::setParameter(int index, float value)
{
    if (index == KnobMap::mode || index < 0 || index >= KnobMap::mailboxSlots || !knobsCreated.load())
        return;
    if (!isFreeSignedSlot(index) && !(value >= 0.0f))
        return;
    if (!std::isfinite(value))
        return;
    globalData->hostValue[index] = value;
    globalData->hostChanged[index] = true;
    globalData->anyHostChange = true;
}

const juce::String MorvaneProcessor::getInputChannelName(int channelIndex) const
{
    return juce::String(channelIndex + 1);
}
const juce::String MorvaneProcessor::getOutputChannelName(int channelIndex) const
{
    return juce::String(channelIndex + 1);
}
bool MorvaneProcessor::isInputChannelStereoPair(int) const
{
    return true;
}
bool MorvaneProcessor::isOutputChannelStereoPair(int) const
{
    return true;
}
bool MorvaneProcessor::silenceInProducesSilenceOut() const
{
    return false;
}

void MorvaneProcessor::CreateTheKnobs()
{
    if (knobsCreated.load())
        return;
    Debug::DebugLog(0, "Potis create", __FILE__, __LINE__, settings->productFolder);
    for (int i = 0; i < knobTotal; ++i)
    {
        auto* knob = new Knob(i);
        if (isModeSelector(i))
            knob->setRange(0.0, KnobMap::lastModePosition, 1.0);
        else
            knob->setRange(0.0, 1.0, 0.01);
        knob->setSliderStyle(juce::Slider::RotaryHorizontalVerticalDrag);
        knob->setTextBoxStyle(juce::Slider::NoTextBox, true, 80, 20);
        knobs[i] = knob;
    }
    applyKnobSteps();
    knobsCreated = true;
    Debug::DebugLog(0, "Potis create done", __FILE__, __LINE__, settings->productFolder);
}

// The stored knobs take the step of "Poti resolution" at once, as an editor would: with
// the coarse creation step a value taken from the unit could not go back to it unchanged.
void MorvaneProcessor::applyKnobSteps()
{
    const double step = (double)globalData->knobResolution.load() / 10000.0;
    for (int i = 0; i < settings->knobCount; ++i)
        if (!isModeSelector(i))
            knobs[i]->setRange(0.0, 1.0, step > 0.0 ? step : 0.0);
}

// The host's state: knobs 0 to 19, then AutoGain and DualMono.
void MorvaneProcessor::getStateInformation(juce::MemoryBlock& destData)
{
    const juce::MessageManagerLock lock; // the knobs belong to the message thread
    CreateTheKnobs();
    juce::XmlElement root("Root");
    for (int i = 0; i < settings->knobCount; ++i)
        root.createNewChildElement("Knob" + juce::String(IntInString(i)))
            ->addTextElement(FloatInString((float)knobs[i]->getValue()));
    root.createNewChildElement("AutoGain")->addTextElement(IntInString(globalData->autoGainValue ? 1 : 0));
    root.createNewChildElement("DualMono")->addTextElement(IntInString(globalData->dualMono ? 1 : 0));
    copyXmlToBinary(root, destData);
}

void MorvaneProcessor::setStateInformation(const void* data, int sizeInBytes)
{
    const juce::MessageManagerLock lock; // the knobs belong to the message thread
    if (data == nullptr || sizeInBytes <= 0)
        return;
    std::string why;
    const auto xml = KnobDocument::parseBinary(data, sizeInBytes, &why);
    if (xml == nullptr)
    {
        MORVANE_LOG(101, juce::String::fromUTF8(("Session state refused (" + why + ")").c_str()),
                    settings->productFolder);
        return;
    }
    CreateTheKnobs();

    if (globalData->zeroPreset &&
        KnobDocument::countEmptyKnobs(*xml, settings->knobCount) > KnobMap::emptyKnobsOfANullSet)
    {
        restorePending = false;
        return;
    }

    int outOfRange = 0;
    for (auto* child : xml->getChildIterator())
        if (!restoreStateEntry(*child))
            ++outOfRange;
    restorePending = outOfRange == 0;
    // A VST3 host reads every parameter after a state by itself.
    if (wrapperType != wrapperType_VST3)
        hostResync = true;
}

// One entry of the host's state; false for a knob value out of every knob's range.
bool MorvaneProcessor::restoreStateEntry(const juce::XmlElement& child)
{
    const auto tag = child.getTagName();
    const auto text = child.getAllSubText();
    if (tag.equalsIgnoreCase("AutoGain"))
    {
        globalData->autoGainValue = text == "1";
        globalData->autoGainRequest = true;
        return true;
    }
    if (tag.equalsIgnoreCase("DualMono"))
    {
        const bool on = text == "1";
        if (on)
        {
            globalData->dualMono = true;
            globalData->dualMonoEntered = true;
        }
        globalData->requestChannelMode(on);
        return true;
    }
    const int i = KnobDocument::knobOfTag(tag, settings->knobCount);
    float value = 0.0f;
    if (i < 0 || !KnobDocument::knobText(child, value))
        return true;
    setParameter(i, value);
    knobs[i]->setValue(value, juce::sendNotificationAsync);
    return !(value < 0.0f || value > KnobMap::largestKnobValue);
}
