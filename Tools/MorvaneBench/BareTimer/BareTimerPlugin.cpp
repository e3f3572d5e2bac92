// The floor the bench compares against: a JUCE plug-in that does nothing but run one 40 ms
// timer, as the plug-in's loop does, with the same buses.
#include <juce_audio_processors/juce_audio_processors.h>

namespace
{
class BareTimerProcessor : public juce::AudioProcessor, private juce::Timer
{
public:
    BareTimerProcessor()
        : AudioProcessor(BusesProperties()
                             .withInput("Input", juce::AudioChannelSet::stereo(), true)
                             .withOutput("Output", juce::AudioChannelSet::stereo(), true))
    {
        startTimer(40);
    }
    ~BareTimerProcessor() override { stopTimer(); }

    const juce::String getName() const override { return "BareTimer"; }
    void prepareToPlay(double, int) override {}
    void releaseResources() override {}
    void processBlock(juce::AudioBuffer<float>&, juce::MidiBuffer&) override {}
    double getTailLengthSeconds() const override { return 0.0; }
    bool acceptsMidi() const override { return false; }
    bool producesMidi() const override { return false; }
    juce::AudioProcessorEditor* createEditor() override { return nullptr; }
    bool hasEditor() const override { return false; }
    int getNumPrograms() override { return 1; }
    int getCurrentProgram() override { return 0; }
    void setCurrentProgram(int) override {}
    const juce::String getProgramName(int) override { return {}; }
    void changeProgramName(int, const juce::String&) override {}
    void getStateInformation(juce::MemoryBlock&) override {}
    void setStateInformation(const void*, int) override {}

private:
    void timerCallback() override { ++ticks; }
    int ticks = 0;
};
} // namespace

juce::AudioProcessor* JUCE_CALLTYPE createPluginFilter()
{
    return new BareTimerProcessor();
}
