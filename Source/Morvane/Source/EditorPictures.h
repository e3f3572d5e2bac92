#pragma once

#include <juce_graphics/juce_graphics.h>

#include <array>
#include <map>
#include <memory>
#include <mutex>

// The built-in pictures by their resource numbers.
namespace Picture
{
constexpr int frame = 9;
constexpr int lampDark = 19;
constexpr int lampLit = 20;
constexpr int network = 21;
constexpr int inRed = 22;
constexpr int outRed = 23;
constexpr int inAmber = 24;
constexpr int outAmber = 25;
constexpr int logo = 28;
constexpr int firstStrip = 30; // + deviceMode - 1
constexpr int panel = 42;
constexpr int knobSmall = 43;
constexpr int splash = 44;
constexpr int firstFace = 45; // + meterMode - 1
constexpr int knobBig = 67;
constexpr int sadFace = 69;
constexpr int firstSmallFace = 70; // + meterMode - 1

// The resource's bytes; null and 0 for a number that has none.
const void* data(int number, int& size);
// Decodes a resource; a null image when it is missing or broken.
juce::Image decode(int number);
} // namespace Picture

// The large pictures of one editor, decoded away from the message thread.
struct DecodedPictures
{
    juce::Image panel, frame, knobSmall, knobBig;
    std::array<juce::Image, 22> facesTop, facesBottom;
    std::array<juce::Image, 11> strips;
};

// Pictures decoded once and shared by every open editor of the process: a second window
// costs no decoding and almost no memory. The last editor to go frees them.
class EditorPictures
{
public:
    static std::shared_ptr<EditorPictures> acquire();

    // Decodes on first use; any thread. Two threads asking for one picture decode it once.
    juce::Image get(int number);
    // A copy with pixels of its own (the lower display's faces), made once as well.
    juce::Image copyOf(int number);

private:
    struct Slot
    {
        std::once_flag once;
        juce::Image image;
    };
    Slot& slot(int key);

    std::mutex lock;
    std::map<int, std::unique_ptr<Slot>> slots;
};
