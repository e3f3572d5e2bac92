// The built-in pictures: every one present at its size and format, film strips that turn,
// a bezel that keeps to its ring, meter faces whose scales meet the needle, and a generator
// that paints the same bytes every time.
#include "BinaryData.h"

#include <gtest/gtest.h>
#include <juce_graphics/juce_graphics.h>

#include <cmath>
#include <cstdlib>
#include <string>
#include <vector>

namespace
{

enum class Kind
{
    png,
    opaquePng, // colour type 2: no alpha at all
    png4bit,
    jpeg
};

struct Expected
{
    int number, width, height;
    Kind kind;
};

std::vector<Expected> expectedPictures()
{
    std::vector<Expected> all = {
        {9, 1600, 438, Kind::png},    {42, 1600, 437, Kind::opaquePng}, {21, 800, 480, Kind::opaquePng},
        {67, 250, 45000, Kind::png},  {43, 250, 3000, Kind::png},       {44, 300, 45000, Kind::png4bit},
        {69, 300, 300, Kind::png},    {19, 236, 236, Kind::png},        {20, 236, 236, Kind::png},
        {26, 2560, 1600, Kind::jpeg}, {28, 230, 80, Kind::png},         {27, 1600, 1600, Kind::png},
        {91, 256, 256, Kind::png}};
    for (int n = 22; n <= 25; ++n)
        all.push_back({n, 72, 45, Kind::png});
    for (int n = 30; n <= 40; ++n)
        all.push_back({n, 800, 77, Kind::opaquePng});
    for (int meter = 1; meter <= 21; ++meter)
    {
        all.push_back({44 + meter, 800, 480, Kind::opaquePng});
        all.push_back({69 + meter, 200, 120, Kind::opaquePng});
    }
    return all;
}

struct Resource
{
    const char* data = nullptr;
    int size = 0;
};

Resource resource(int number)
{
    Resource r;
    r.data = BinaryData::getNamedResource(("temp_binary_data_" + std::to_string(number)).c_str(), r.size);
    return r;
}

juce::Image decoded(int number)
{
    const auto r = resource(number);
    return r.data == nullptr ? juce::Image() : juce::ImageFileFormat::loadFrom(r.data, (size_t)r.size);
}

bool startsWith(const Resource& r, std::initializer_list<unsigned char> magic)
{
    size_t i = 0;
    for (auto byte : magic)
        if ((size_t)r.size <= i || (unsigned char)r.data[i++] != byte)
            return false;
    return true;
}

// Bit depth and colour type from a PNG's header chunk.
std::pair<int, int> pngDepthAndType(const Resource& r)
{
    return {(unsigned char)r.data[24], (unsigned char)r.data[25]};
}

TEST(BuiltInPictures, EveryPictureIsEmbeddedAtItsSizeAndFormatAndDecodes)
{
    const auto all = expectedPictures();
    EXPECT_EQ(BinaryData::namedResourceListSize, (int)all.size());
    for (const auto& e : all)
    {
        SCOPED_TRACE("picture " + std::to_string(e.number));
        const auto r = resource(e.number);
        ASSERT_NE(r.data, nullptr);
        const bool jpeg = e.kind == Kind::jpeg;
        EXPECT_TRUE(jpeg ? startsWith(r, {0xff, 0xd8, 0xff})
                         : startsWith(r, {0x89, 'P', 'N', 'G', '\r', '\n', 0x1a, '\n'}));
        EXPECT_EQ(e.kind == Kind::png4bit, !jpeg && pngDepthAndType(r) == std::make_pair(4, 3));
        EXPECT_EQ(e.kind == Kind::opaquePng, !jpeg && pngDepthAndType(r) == std::make_pair(8, 2));
        const auto image = decoded(e.number);
        ASSERT_TRUE(image.isValid());
        EXPECT_EQ(std::make_pair(image.getWidth(), image.getHeight()), std::make_pair(e.width, e.height));
    }
}

bool sameFrames(const juce::Image& strip, int a, int b)
{
    const int size = strip.getWidth();
    const juce::Image::BitmapData data(strip, juce::Image::BitmapData::readOnly);
    for (int y = 0; y < size; ++y)
        for (int x = 0; x < size; ++x)
            if (data.getPixelColour(x, a * size + y) != data.getPixelColour(x, b * size + y))
                return false;
    return true;
}

TEST(BuiltInPictures, FilmStripsHaveSquareFramesThatAllMove)
{
    for (auto [number, frames] : {std::pair{67, 180}, std::pair{43, 12}, std::pair{44, 150}})
    {
        SCOPED_TRACE("strip " + std::to_string(number));
        const auto strip = decoded(number);
        ASSERT_TRUE(strip.isValid());
        EXPECT_EQ(strip.getHeight(), strip.getWidth() * frames);
        for (int frame = 1; frame < frames; ++frame)
            EXPECT_FALSE(sameFrames(strip, frame - 1, frame)) << "frame " << frame;
    }
}

TEST(BuiltInPictures, BezelCoversOnlyItsRingAndLeavesTheFaceClear)
{
    const auto bezel = decoded(9);
    ASSERT_TRUE(bezel.isValid());
    const juce::Image::BitmapData data(bezel, juce::Image::BitmapData::readOnly);
    int outside = 0, inside = 0;
    for (int y = 0; y < bezel.getHeight(); ++y)
        for (int x = 0; x < bezel.getWidth(); ++x)
        {
            const bool seen = data.getPixelColour(x, y).getAlpha() > 0;
            const bool inRing = x >= 601 && x <= 998 && y >= 9 && y <= 276;
            outside += seen && !inRing;
            inside += seen && inRing;
        }
    EXPECT_EQ(outside, 0);
    EXPECT_GT(inside, 20000);
    // The middle of the display, where face and needle show through.
    EXPECT_LT(data.getPixelColour(800, 140).getAlpha(), 64);
}

// The needle of the window: its component at (396, 40, 3, 80), turning about a point 17
// below it; the face is drawn into (323, 28, 154, 89) of the window.
float needleRadians(float value)
{
    float degrees = (float)(value * 3.3 + 387.0);
    degrees = std::max(degrees, 323.0f);
    return (float)((double)degrees / 57.29577951308232);
}

juce::Colour faceAt(const juce::Image& face, float angle, float radius)
{
    const float wx = 397.5f + radius * std::sin(angle), wy = 137.0f - radius * std::cos(angle);
    const int px = (int)std::floor((wx - 323.0f) * (float)face.getWidth() / 154.0f);
    const int py = (int)std::floor((wy - 28.0f) * (float)face.getHeight() / 89.0f);
    if (px < 0 || py < 0 || px >= face.getWidth() || py >= face.getHeight())
        return juce::Colours::transparentBlack;
    return face.getPixelAt(px, py);
}

int difference(juce::Colour a, juce::Colour b)
{
    return std::abs(a.getRed() - b.getRed()) + std::abs(a.getGreen() - b.getGreen()) +
           std::abs(a.getBlue() - b.getBlue());
}

// The longest stretch along the ray, in window units, where the face stands out from what
// lies a little to either side at the same radius: a radial tick mark.
float markLength(const juce::Image& face, float angle)
{
    const float aside = 2.5f / 57.29578f, step = 0.1f;
    float best = 0, run = 0;
    for (float r = 30.0f; r < 110.0f; r += step)
    {
        const auto c = faceAt(face, angle, r);
        const bool stands = difference(c, faceAt(face, angle - aside, r)) > 90 &&
                            difference(c, faceAt(face, angle + aside, r)) > 90;
        run = stands ? run + step : 0.0f;
        best = std::max(best, run);
    }
    return best;
}

TEST(BuiltInPictures, MeterFacesMarkZeroAndMinusTwentyWhereTheNeedlePoints)
{
    for (int meter = 1; meter <= 21; ++meter)
    {
        SCOPED_TRACE("meter " + std::to_string(meter));
        const auto face = decoded(44 + meter);
        ASSERT_TRUE(face.isValid());
        for (float value : {0.0f, -20.0f})
        {
            const float angle = needleRadians(value);
            const float there = markLength(face, angle);
            EXPECT_GE(there, 3.0f) << "value " << value;
            // A degree and a half off, the mark is gone: it stands where the needle points.
            for (float off : {-1.5f, 1.5f})
                EXPECT_LT(markLength(face, angle + off / 57.29578f), there * 0.5f)
                    << "value " << value << " off " << off;
        }
    }
}

TEST(BuiltInPictures, SmallMetersAreTheFacesReducedInTheSameOrder)
{
    for (int meter = 1; meter <= 21; ++meter)
    {
        SCOPED_TRACE("meter " + std::to_string(meter));
        const auto face = decoded(44 + meter), small = decoded(69 + meter);
        ASSERT_TRUE(face.isValid() && small.isValid());
        // Each small pixel against the mean of its 4 x 4 block of the face.
        long worst = 0;
        for (int y = 0; y < small.getHeight(); y += 7)
            for (int x = 0; x < small.getWidth(); x += 7)
            {
                int sum[3] = {};
                for (int dy = 0; dy < 4; ++dy)
                    for (int dx = 0; dx < 4; ++dx)
                    {
                        const auto c = face.getPixelAt(4 * x + dx, 4 * y + dy);
                        sum[0] += c.getRed();
                        sum[1] += c.getGreen();
                        sum[2] += c.getBlue();
                    }
                const auto c = small.getPixelAt(x, y);
                worst = std::max<long>(worst, std::abs(sum[0] / 16 - c.getRed()) +
                                                  std::abs(sum[1] / 16 - c.getGreen()) +
                                                  std::abs(sum[2] / 16 - c.getBlue()));
            }
        EXPECT_LE(worst, 6);
    }
}

TEST(BuiltInPictures, ModeStripsLeaveTheClipLampsPlaceWhiteAndDiffer)
{
    // The lamps sit at x 434 to 471 of the window, over the strip drawn into 323 to 477.
    const int from = (434 - 323) * 800 / 154 - 8, to = (471 - 323) * 800 / 154 + 8;
    for (int n = 30; n <= 40; ++n)
    {
        SCOPED_TRACE("strip " + std::to_string(n));
        const auto strip = decoded(n);
        ASSERT_TRUE(strip.isValid());
        int dark = 0;
        for (int y = 8; y < strip.getHeight(); ++y)
            for (int x = from; x <= to; ++x)
                dark += strip.getPixelAt(x, y).getBrightness() < 0.9f;
        EXPECT_EQ(dark, 0);
        // Each strip carries its own number and name at the left.
        if (n > 30)
        {
            const auto before = decoded(n - 1);
            int differing = 0;
            for (int y = 0; y < strip.getHeight(); ++y)
                for (int x = 0; x < from; ++x)
                    differing += before.getPixelAt(x, y) != strip.getPixelAt(x, y);
            EXPECT_GT(differing, 500);
        }
    }
}

// A folder in /tmp that goes when the test ends, passed or failed.
struct TemporaryFolder
{
    juce::File folder = juce::File::createTempFile("morvane-pictures");
    TemporaryFolder() { folder.createDirectory(); }
    ~TemporaryFolder() { folder.deleteRecursively(); }
};

bool generate(const juce::File& into)
{
    const auto command =
        std::string(MORVANE_IMAGEGEN) + " " + into.getFullPathName().toStdString() + " > /dev/null";
    return std::system(command.c_str()) == 0;
}

TEST(BuiltInPictures, GeneratorPaintsTheSameBytesEveryTimeAndTheEmbeddedOnes)
{
    TemporaryFolder first, second;
    ASSERT_TRUE(generate(first.folder));
    ASSERT_TRUE(generate(second.folder));
    const auto files = first.folder.findChildFiles(juce::File::findFiles, false);
    EXPECT_EQ(files.size(), second.folder.getNumberOfChildFiles(juce::File::findFiles));
    for (const auto& file : files)
    {
        SCOPED_TRACE(file.getFileName().toStdString());
        // The embedding source names the folder it was written to; all else is the same.
        const auto other = second.folder.getChildFile(file.getFileName());
        if (file.getFileName() == "BinaryData.cpp")
            EXPECT_EQ(file.loadFileAsString().replace(first.folder.getFullPathName(), "<folder>"),
                      other.loadFileAsString().replace(second.folder.getFullPathName(), "<folder>"));
        else
        {
            juce::MemoryBlock a, b;
            ASSERT_TRUE(file.loadFileAsData(a));
            ASSERT_TRUE(other.loadFileAsData(b));
            EXPECT_TRUE(a == b);
        }
    }
    for (const auto& e : expectedPictures())
    {
        SCOPED_TRACE("picture " + std::to_string(e.number));
        const auto name = BinaryData::getNamedResourceOriginalFilename(
            ("temp_binary_data_" + std::to_string(e.number)).c_str());
        ASSERT_NE(name, nullptr);
        juce::MemoryBlock painted;
        ASSERT_TRUE(first.folder.getChildFile(name).loadFileAsData(painted));
        const auto r = resource(e.number);
        EXPECT_TRUE(painted == juce::MemoryBlock(r.data, (size_t)r.size));
    }
}

} // namespace
