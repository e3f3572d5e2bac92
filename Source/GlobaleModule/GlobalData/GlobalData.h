#pragma once

#include "GlobalData/Settings.h"
#include "Ground/SharedText.h"
#include "Ground/TextHelpers.h"

#include <juce_graphics/juce_graphics.h>

#include <atomic>
#include <mutex>
#include <string>

// The instance's blackboard. Every flag that crosses threads is atomic and every string is
// guarded, so the usual hand-over (store the value, raise the flag last; clear the flag,
// then read the value) holds on any core.
class GlobalData
{
public:
    explicit GlobalData(Settings* settings, int instanceNumber = 1);

    // Writes "GuiSettings.txt" of this instance from the current fields.
    void safeGuiSettings();
    // Keeps and saves the serial a unit gave. "Error" (no serial could be read) is never
    // stored: the serial already known stays, in memory and in the file.
    void storeSerial(const std::string& serial);
    // Stores the address and rebuilds ipDigits; touches neither the disk nor the transport.
    void SetIp(const std::string& ip);
    void SetDeviceFinderDone();
    void SetKnobImage(juce::Image image);
    juce::Image getKnobImage() const;

    // The instance's folder below the product folder: "1" for the master, the slave's number
    // otherwise.
    std::string instanceFolderName() const;

    // The file text that safeGuiSettings writes, for callers that need the bytes.
    std::string composeGuiSettings() const;

    SharedString presetPath;
    std::atomic<bool> presetSaved{false};
    std::atomic<bool> dualMono{false};
    std::atomic<bool> zeroPreset{true};
    std::atomic<bool> monoMode{false};
    std::atomic<bool> savePresetRequest{false};
    std::atomic<int> meterMode{10};
    std::atomic<int> deviceMode{0};
    SharedString settingsFolder;
    std::atomic<float> guiSize{0.1f};
    std::atomic<int> viewState{1};
    SharedString deviceIp;
    SharedString deviceSerial;
    std::atomic<int> deviceFinderRunning{0};
    IpList foundIps;
    std::atomic<bool> repaintRequest{false};
    std::atomic<bool> resizeRequest{false};
    std::atomic<bool> meterModeChanged{false};
    std::atomic<bool> alertManyOthers{false};
    std::atomic<bool> alertOneOther{false};
    std::atomic<bool> alertMoreThenOne{false};
    std::atomic<bool> alertAllOccupied{false};
    IpList freeIps;
    IpList takenIps;
    Settings* settings = nullptr;
    IpList alertIps;
    std::atomic<int> alertIpCount{0};
    std::atomic<bool> deviceCheckIdle{true};
    // Device checks of this instance that ran to their end; the hand-out waits for the first.
    std::atomic<int> checksCompleted{0};
    std::atomic<bool> alertOpen{false};
    std::atomic<int> foundIpCount{0};
    std::atomic<bool> masterCheckerStarted{false};
    std::atomic<bool> quitRequested{false};
    std::atomic<bool> deviceHeld[17]{};
    std::atomic<bool> isMaster{false};
    std::atomic<int> takenIpCount{1};
    std::atomic<int> freeIpCount{0};
    std::atomic<int> slaveIndex{0};
    std::atomic<bool> connected{false};
    // Connected, but the unit's status stream stays away (eleven empty receives while its web
    // server answers); down again with the next status message.
    std::atomic<bool> unitSilent{false};
    std::atomic<bool> deviceFinderBusy{true};
    std::atomic<int> devicePort{0};
    std::atomic<bool> callHomeRunning{false};
    std::atomic<int> knownIpCount{0};
    IpList knownIps;
    IpList knownNames;
    IpList wrongSerialNames;
    // The serials of a slave's offer, by the entries of alertIps.
    IpList offerSerials;
    std::atomic<bool> ipChanged{false};
    SharedString savedIp;
    std::atomic<float> knobResolution{0.001f};
    std::atomic<bool> knobResolutionChanged{false};
    std::atomic<bool> broadcastRunning{false};
    std::atomic<bool> reRequestIp{false};
    SharedStringList<4> ipDigits;
    std::atomic<int> fps{30};
    std::atomic<int> frameInterval{33};
    std::atomic<bool> fpsChanged{false};
    std::atomic<bool> checkMac{false};
    // The big knob strip stands in knobImage: later editors take it from there.
    std::atomic<bool> knobImageLoaded{false};

    // Parameter mailbox: slots 0 to 15 mirror the host parameters; 19, 35 and 20 carry the
    // needles and the clip word to the editor.
    std::atomic<float> hostValue[40]{};
    std::atomic<bool> hostChanged[40]{};
    std::atomic<bool> anyHostChange{false};

    // Requests and results of the synchronisation loop.
    std::atomic<bool> sending{false};
    std::atomic<bool> autoGainRequest{false};
    std::atomic<bool> autoGainValue{false};
    std::atomic<bool> highGainRequest{false};
    std::atomic<bool> highGainValue{false};
    std::atomic<bool> dualMonoEntered{false};
    std::atomic<bool> dualMonoLeft{false};
    std::atomic<bool> requestDualMono{false};
    std::atomic<bool> requestStereo{false};
    // The newest channel-mode request wins: a stale opposite one, left unserved while no
    // editor was open, would undo it when both are served.
    void requestChannelMode(bool dual)
    {
        (dual ? requestStereo : requestDualMono) = false;
        (dual ? requestDualMono : requestStereo) = true;
    }
    std::atomic<bool> modeChanged{false};
    std::atomic<int> lampValue{0};
    std::atomic<bool> lampChanged{false};
    std::atomic<float> brightness{0.0f};
    std::atomic<float> brightnessMax{0.0f};
    std::atomic<float> brightnessMin{0.0f};
    std::atomic<bool> brightnessRequest{false};
    std::atomic<float> balance{0.0f};
    std::atomic<bool> balanceRequest{false};

    // Preset reading stage.
    SharedString loadPath;
    std::atomic<bool> loadRequest{false};

    // The editor's view was changed from outside its tick (the status thread on a lost unit).
    std::atomic<bool> viewDirty{false};

private:
    mutable std::mutex imageLock;
    juce::Image knobImage;
};
