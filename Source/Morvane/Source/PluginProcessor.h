#pragma once

#include <juce_audio_processors/juce_audio_processors.h>

#include <atomic>
#include <condition_variable>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "Ground/RetryBackoff.h"
#include "Knob.h"
#include "KnobMap.h"
#include "LoopJob.h"
#include "StatusDatagram.h"
#include "StatusReceiver.h"

class Broadcast;
class GlobalData;
struct Settings;
class SafeAndLoad;
class TCPIP;
class PluginCommunication;
class MasterDeviceChecker;
class MyImageButton;
class MorvaneEditor;

// The object the host creates. It does no audio work: it brings the unit into the host,
// and its 40 ms timer is the plug-in's main loop.
class MorvaneProcessor : public juce::AudioProcessor, public juce::Timer
{
public:
    MorvaneProcessor();
    ~MorvaneProcessor() override;

    const juce::String getName() const override;
    void prepareToPlay(double sampleRate, int samplesPerBlock) override;
    void releaseResources() override;
    void processBlock(juce::AudioBuffer<float>&, juce::MidiBuffer&) override;
    bool isBusesLayoutSupported(const BusesLayout& layouts) const override;
    double getTailLengthSeconds() const override;
    bool acceptsMidi() const override;
    bool producesMidi() const override;
    juce::AudioProcessorEditor* createEditor() override;
    bool hasEditor() const override;
    int getNumPrograms() override;
    int getCurrentProgram() override;
    void setCurrentProgram(int index) override;
    const juce::String getProgramName(int index) override;
    void changeProgramName(int index, const juce::String& newName) override;
    void getStateInformation(juce::MemoryBlock& destData) override;
    void setStateInformation(const void* data, int sizeInBytes) override;
    int getNumParameters() override;
    const juce::String getParameterName(int index) override;
    // LV2 names a parameter by its ID, and there a bare index ("0" to "15") loses its digits.
    juce::String getParameterID(int index) override;
    float getParameter(int index) override;
    const juce::String getParameterText(int index) override;
    int getParameterNumSteps(int index) override;
    void setParameter(int index, float newValue) override;
    const juce::String getInputChannelName(int channelIndex) const override;
    const juce::String getOutputChannelName(int channelIndex) const override;
    bool isInputChannelStereoPair(int index) const override;
    bool isOutputChannelStereoPair(int index) const override;
    bool silenceInProducesSilenceOut() const override;
    void timerCallback() override;

    // Idempotent; every path that touches the knobs calls it first (message thread).
    void CreateTheKnobs();
    // The steps of the stored knobs from knobResolution (message thread).
    void applyKnobSteps();

    // Device protocol.
    int GetDevicePort();
    std::string GetSerialFromDevice();
    // Status stream (StatusReceive.cpp): a datagram of the unit, on the port's thread (empty:
    // a round ended without one, on the message thread); true when it was a status message,
    // which then waits for the loop.
    bool PotiRound(const std::string& received);
    // True when the text was a status message: table, mode, needles and clip are taken.
    bool ReadJson(const std::string& text);

    // A knob's value to the host (every format hears of it): the mode as its position
    // within 0 to 1, every other knob as it is (message thread).
    void tellHost(int knob, float knobValue);

    // The editor tells the processor when it goes.
    void editorClosing(MorvaneEditor* closing);

    // Accessors for the editor, tools and tests.
    GlobalData* getGlobalData() const { return globalData; }
    Settings* getSettings() const { return settings; }
    TCPIP* getTcp() const { return tcp; }
    Broadcast* getBroadcast() const { return broadcast; }
    SafeAndLoad* getSafeAndLoad() const { return safeAndLoad; }
    Knob* getKnob(int index) const;
    bool isStatusReceived() const { return statusReceived.load(); }
    // Connected, and the knobs and the unit have been brought together (First status or
    // Restore push): regular cycles run.
    bool isRunning() const { return globalData != nullptr && isConnected() && synced.load(); }
    bool isConnected() const;
    bool isRestorePending() const { return restorePending.load(); }
    bool isEditorOpen() const { return editorOpen.load(); }
    float getDeviceValue(int row, int column) const;
    float getMeterLeft() const { return meterLeft.load(); }
    float getMeterRight() const { return meterRight.load(); }
    int getClipState() const { return clipState.load(); }
    MyImageButton* getLampTop() const { return lampTop; }
    MyImageButton* getLampBottom() const { return lampBottom; }

    static constexpr int knobTotal = KnobMap::knobTotal;
    static constexpr int tableRows = KnobMap::tableRows;
    static constexpr int tableColumns = KnobMap::tableColumns;
    // Knob -> device row, -1 where a knob has no row.
    static constexpr const auto& knobToRow = KnobMap::knobToRow;
    static constexpr const auto& firstStatusRow = KnobMap::firstStatusRow;

private:
    friend void delegatorSend(MorvaneProcessor*, std::string);
    friend void delegatorFindDevice(void*);

    void endHelpers();
    void deleteParts();

    // One tick's stages (ProcMain.cpp, ProcPresets.cpp).
    void connectedStage();
    void unconnectedStage();
    // The unit's pages on threads of their own, and the search that does not give up
    // (ProcThreads.cpp).
    void finishAddressChange();
    void portStage();
    void balanceStage();
    void searchStage();
    bool looksForItsUnit() const;
    void startSearch();
    bool alertAwaited() const;
    void presetReadingStage();
    void presetSavingStage();
    // Answers the replace question of a save (ProcPresets.cpp).
    struct SafeCustomPreset_Callback;
    void takeOverNewAddress();
    void firstStatus();
    void takeKnobFromStatus(int knob, float value);
    void takeKnobsFromStatus();
    void takeModeFromStatus();
    void restorePush();
    void restoreFromInfo(const std::optional<StatusDatagram>& info);
    void pushSession();
    std::string restoreUrl();
    void startWatch();
    void takeSnapshot();
    void regularCycle();
    void sendStep();
    void brightnessAndBalanceStep();
    bool restoreStateEntry(const juce::XmlElement& entry);
    bool loadPresetEntry(const juce::XmlElement& entry);
    void CheckKnobTopicality();
    void takeHeldKnob(int knob);
    void displaysStep();
    void inputRefreshStep();
    bool lampStep();
    void gainStep();
    void channelModeStep();
    void computeSlopes();
    void takeHostValues();
    void resyncHost();
    // The host's value of a knob: the mode's position within 0 to 1, others as they are.
    static float hostValueOf(int knob, float knobValue);
    bool unitFigureOf(int knob, float knobValue, float& figure) const;
    std::string formUrl();
    void appendChange(int knob);
    void startSendThread(const std::string& url);
    void startRound();
    bool takeReceivedStatus();
    void takeStatus(const StatusDatagram& status);
    void joinFinishedSendThreads(bool all);
    void awaitSendTurn(unsigned long long ticket);
    void endSendTurn();
    void readBalance(const std::string& reply);
    float cell(int row, int column) const;
    float knobFromDevice(int row) const;
    float deviceFromKnob(int knob) const;
    float deviceValueOf(int knob, float knobValue) const;
    bool sameOnTheWire(int knob, float a, float b) const;
    float modeForDevice() const;
    void followChannelMode();
    enum class Round
    {
        parsed,   // a status message was taken into the table
        underWay, // a receive is running (or has just been started)
        empty     // a receive ended without a message; the next one runs
    };
    Round awaitStatus();
    void testConnection();
    void countMiss();
    void statusClockStage();
    void followDeviceMode(int modeRowValue);
    int rowOfKnob(int knob) const;

    // A status round is under way on the receiver.
    std::atomic<bool> receiveBusy{false};
    // Raised first thing in the destructor: a status wait ends at once, no search starts.
    std::atomic<bool> closing{false};
    std::string sendUrl;
    std::atomic<bool> restorePending{false};
    Broadcast* broadcast = nullptr;
    GlobalData* globalData = nullptr;
    Settings* settings = nullptr;
    SafeAndLoad* safeAndLoad = nullptr;
    TCPIP* tcp = nullptr;
    PluginCommunication* pluginCommunication = nullptr;
    MasterDeviceChecker* masterDeviceChecker = nullptr;
    MyImageButton* lampTop = nullptr;
    MyImageButton* lampBottom = nullptr;
    std::atomic<bool> editorOpen{false};
    MorvaneEditor* editor = nullptr;
    std::atomic<int> missedStatus{0};
    Knob* knobs[knobTotal] = {};
    std::atomic<bool> inTimer{false};
    float knobNow[tableRows] = {};
    float knobSent[tableRows] = {};
    StatusTable deviceTable{};
    float lastLampRow = 0.0f;
    std::atomic<float> meterLeft{0.0f}, meterRight{0.0f};
    float lastMeterLeft = 0.0f, lastMeterRight = 0.0f;
    std::atomic<int> lastDeviceMode{0};
    float lastClip = 0.0f;
    std::atomic<int> clipState{0};
    float slope[tableRows] = {};
    // Minimum and slope of each row as of the last cycle, for the host's display texts,
    // which any thread may ask for; a slope of 0 means the unit has not reported the row.
    std::atomic<float> shownMinimum[tableRows] = {}, shownSlope[tableRows] = {};
    // A knob that took a host value since the last cycle.
    bool hostMoved[KnobMap::hostParameters] = {};
    // The knobs changed wholesale (state, preset): the next tick tells the host all of them.
    std::atomic<bool> hostResync{false};
    std::atomic<bool> knobsCreated{false};
    std::atomic<bool> statusReceived{false};
    int changedCount = 0;
    int changeList[tableRows] = {};
    int inputRefreshCounter = 0;
    int lampHold = 0;
    // Knobs and unit brought together since the last change of unit.
    std::atomic<bool> synced{false};
    bool roundStarted = false;
    double roundStartedAt = 0.0;
    // The eleventh miss: the connection is tested on a thread of its own.
    std::atomic<bool> connectionTestDue{false};
    LoopJob<bool> connectionTest;
    int restoreMisses = 0;
    double restoreWaitSince = -1.0;
    // The unit's last status message, parsed on the receiver's thread, for the loop to take.
    std::mutex receivedLock;
    std::optional<StatusDatagram> receivedStatus;
    // The status stream: the unit's datagrams, from the port shared by the process.
    std::unique_ptr<StatusReceiver> receiver;

    // The unit's pages, read on threads of their own: the tick only starts and takes them.
    struct UnitPages
    {
        int port = 0;
    };
    LoopJob<UnitPages> addressJob;
    LoopJob<int> portJob;
    double portAskedAt = -1.0e9;
    LoopJob<std::string> balanceJob;
    LoopJob<std::optional<StatusDatagram>> infoJob;

    std::thread findThread;
    // Searches that found nothing are tried again, the first within two seconds.
    RetryBackoff searchRetry{1500, 10000};
    // Between searches, the address of the last unit is tested every two seconds.
    LoopJob<bool> storedAddressProbe;
    double storedAddressProbedAt = 0.0;
    struct SendThread
    {
        std::thread thread;
        std::shared_ptr<std::atomic<bool>> done;
    };
    std::vector<SendThread> sendThreads;
    std::mutex sendOrderLock;
    std::condition_variable sendTurn;
    unsigned long long sendTicketsGiven = 0;
    unsigned long long sendTicketServed = 0;

    // Asynchronous callbacks (alerts) check this before touching the processor.
    std::shared_ptr<std::atomic<bool>> alive = std::make_shared<std::atomic<bool>>(true);

    JUCE_DECLARE_NON_COPYABLE_WITH_LEAK_DETECTOR(MorvaneProcessor)
};

// Thread entries, each given the processor.
void delegatorSend(MorvaneProcessor* processor, std::string url);
void delegatorFindDevice(void* processor);
