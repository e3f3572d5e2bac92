#include "Catalogue.h"

#include "Paint.h"
#include "Painters.h"

#include <algorithm>

std::vector<Picture> paintCatalogue()
{
    std::vector<Picture> all;
    const auto add = [&all](int number, PictureFormat format, juce::Image image, juce::String caption)
    {
        all.push_back({number, format, std::move(image), std::move(caption)});
    };
    add(9, PictureFormat::rgba, paintBezel(), "bezel");
    add(42, PictureFormat::rgb, paintPanel(), "front panel");
    for (int meter = 1; meter <= meterFaceCount; ++meter)
    {
        auto face = paintMeterFace(meter);
        add(69 + meter, PictureFormat::rgb, smallCopy(face), "small meter " + juce::String(meter));
        add(44 + meter, PictureFormat::rgb, std::move(face), "meter " + juce::String(meter));
    }
    add(21, PictureFormat::rgb, paintNetworkPage(), "network page");
    for (int mode = 1; mode <= modeCount; ++mode)
        add(29 + mode, PictureFormat::rgb, paintModeStrip(mode), "mode " + juce::String(mode));
    add(67, PictureFormat::greyAlpha, paintKnobStrip(), "knob, 180 frames");
    add(43, PictureFormat::greyAlpha, paintModeSwitchStrip(), "mode switch, 12 frames");
    add(44, PictureFormat::indexed4, paintSearchStrip(), "search, 150 frames");
    add(69, PictureFormat::rgba, paintSadFace(), "sad face");
    add(22, PictureFormat::rgba, paintClipLamp(true, false), "red IN");
    add(23, PictureFormat::rgba, paintClipLamp(true, true), "red OUT");
    add(24, PictureFormat::rgba, paintClipLamp(false, false), "amber IN");
    add(25, PictureFormat::rgba, paintClipLamp(false, true), "amber OUT");
    add(19, PictureFormat::rgba, paintLampButton(false), "lamp dark");
    add(20, PictureFormat::rgba, paintLampButton(true), "lamp lit");
    add(26, PictureFormat::jpeg, paintPresetBackground(), "preset panel");
    add(27, PictureFormat::rgba, paintFolderIcon(), "folder");
    add(28, PictureFormat::rgba, paintLogo(), "logo");
    add(91, PictureFormat::rgba, paintAppIcon(), "program icon");
    std::sort(all.begin(), all.end(), [](const Picture& a, const Picture& b) { return a.number < b.number; });
    return all;
}

juce::MemoryBlock encoded(const Picture& picture)
{
    return encodePicture(picture.image, picture.format, searchInk);
}

juce::String fileNameOf(const Picture& picture)
{
    return "temp_binary_data_" + juce::String(picture.number) +
           (picture.format == PictureFormat::jpeg ? ".jpg" : ".png");
}

namespace
{

constexpr int cellW = 180, cellH = 132, columns = 9;

// What the sheet shows of a picture: a film strip by its first frame.
juce::Rectangle<int> shownPart(const juce::Image& image)
{
    if (image.getHeight() > 4 * image.getWidth())
        return {0, 0, image.getWidth(), image.getWidth()};
    return image.getBounds();
}

void drawCell(juce::Graphics& g, const Picture& picture, juce::Rectangle<int> cell)
{
    const auto area = cell.reduced(6).withTrimmedBottom(18).toFloat();
    const auto part = shownPart(picture.image);
    const float scale =
        std::min(area.getWidth() / (float)part.getWidth(), area.getHeight() / (float)part.getHeight());
    const auto target =
        juce::Rectangle<float>((float)part.getWidth() * scale, (float)part.getHeight() * scale)
            .withCentre(area.getCentre());
    // A check pattern shows where a picture is transparent.
    g.setColour(juce::Colour(0xff55585e));
    g.fillRect(target);
    g.setColour(juce::Colour(0xff6a6d73));
    for (float y = target.getY(); y < target.getBottom(); y += 8.0f)
        for (float x = target.getX() + (std::fmod((y - target.getY()) / 8.0f, 2.0f) < 1.0f ? 0.0f : 8.0f);
             x < target.getRight(); x += 16.0f)
            g.fillRect(juce::Rectangle<float>(x, y, 8.0f, 8.0f).getIntersection(target));
    g.drawImage(picture.image.getClippedImage(part), target, juce::RectanglePlacement::stretchToFit);
    g.setColour(juce::Colours::white);
    g.fillPath(centredText(juce::String(picture.number) + "  " + picture.caption,
                           letteringFont(Face::sans, 11.0f), (float)cell.getCentreX(),
                           (float)cell.getBottom() - 12.0f));
}

// The front panel and the bezel get three cells of a row, the rest one each.
int spanOf(const Picture& picture)
{
    return picture.image.getWidth() >= 1600 && picture.image.getHeight() < 800 ? 3 : 1;
}

} // namespace

juce::Image contactSheet(const std::vector<Picture>& pictures)
{
    std::vector<juce::Rectangle<int>> cells;
    int column = 0, row = 0;
    for (const auto& picture : pictures)
    {
        const int span = spanOf(picture);
        if (column + span > columns)
        {
            column = 0;
            ++row;
        }
        cells.push_back({column * cellW, row * cellH, span * cellW, cellH});
        column += span;
    }
    auto sheet = blankImage(columns * cellW, (row + 1) * cellH);
    juce::Graphics g(sheet);
    g.setImageResamplingQuality(juce::Graphics::highResamplingQuality);
    g.fillAll(juce::Colour(0xff202226));
    for (size_t i = 0; i < pictures.size(); ++i)
        drawCell(g, pictures[i], cells[i]);
    return sheet;
}
