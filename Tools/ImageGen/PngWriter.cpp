#include "PngWriter.h"

#include <zlib.h>

#include <array>
#include <cstdlib>
#include <stdexcept>
#include <vector>

namespace
{

using Bytes = std::vector<unsigned char>;

void putU32(Bytes& out, uint32_t v)
{
    for (int shift = 24; shift >= 0; shift -= 8)
        out.push_back(static_cast<unsigned char>(v >> shift));
}

void putChunk(Bytes& out, const char* type, const Bytes& data)
{
    putU32(out, static_cast<uint32_t>(data.size()));
    const size_t start = out.size();
    out.insert(out.end(), type, type + 4);
    out.insert(out.end(), data.begin(), data.end());
    const auto crc = crc32(0L, out.data() + start, static_cast<uInt>(out.size() - start));
    putU32(out, static_cast<uint32_t>(crc));
}

int paeth(int a, int b, int c)
{
    const int p = a + b - c;
    const int pa = std::abs(p - a), pb = std::abs(p - b), pc = std::abs(p - c);
    if (pa <= pb && pa <= pc)
        return a;
    return pb <= pc ? b : c;
}

// Filters one row with each of the five filters and keeps the one of least absolute sum,
// the usual heuristic that makes smooth pictures small.
void filterRow(const unsigned char* row, const unsigned char* above, size_t length, int bpp, Bytes& out)
{
    std::array<Bytes, 5> trial;
    long bestSum = -1;
    int best = 0;
    for (int f = 0; f < 5; ++f)
    {
        auto& t = trial[(size_t)f];
        t.resize(length);
        long sum = 0;
        for (size_t i = 0; i < length; ++i)
        {
            const int a = i >= (size_t)bpp ? row[i - (size_t)bpp] : 0;
            const int b = above[i];
            const int c = i >= (size_t)bpp ? above[i - (size_t)bpp] : 0;
            int predicted = 0;
            switch (f)
            {
            case 1:
                predicted = a;
                break;
            case 2:
                predicted = b;
                break;
            case 3:
                predicted = (a + b) / 2;
                break;
            case 4:
                predicted = paeth(a, b, c);
                break;
            default:
                break;
            }
            const auto v = static_cast<unsigned char>(row[i] - predicted);
            t[i] = v;
            sum += v < 128 ? v : 256 - v;
        }
        if (bestSum < 0 || sum < bestSum)
        {
            bestSum = sum;
            best = f;
        }
    }
    out.push_back(static_cast<unsigned char>(best));
    out.insert(out.end(), trial[(size_t)best].begin(), trial[(size_t)best].end());
}

// Filtered rows are best served by the filtered strategy; a middle level keeps the
// generator quick on the 45000-row strips for a few per cent of size.
Bytes deflateAll(const Bytes& raw)
{
    z_stream stream{};
    if (deflateInit2(&stream, 6, Z_DEFLATED, 15, 9, Z_FILTERED) != Z_OK)
        throw std::runtime_error("deflate failed");
    Bytes out(deflateBound(&stream, static_cast<uLong>(raw.size())));
    stream.next_in = const_cast<Bytef*>(raw.data());
    stream.avail_in = static_cast<uInt>(raw.size());
    stream.next_out = out.data();
    stream.avail_out = static_cast<uInt>(out.size());
    const int result = deflate(&stream, Z_FINISH);
    out.resize(stream.total_out);
    deflateEnd(&stream);
    if (result != Z_STREAM_END)
        throw std::runtime_error("deflate failed");
    return out;
}

// Rows of raw samples, unpremultiplied, in the order PNG wants them. Every picture is painted
// into an ARGB image; an opaque one leaves its alpha out.
Bytes rawRows(const juce::Image& image, PictureFormat format)
{
    const int w = image.getWidth(), h = image.getHeight();
    const int channels = format == PictureFormat::rgba ? 4 : (format == PictureFormat::greyAlpha ? 2 : 3);
    const juce::Image::BitmapData data(image, juce::Image::BitmapData::readOnly);
    Bytes rows((size_t)w * (size_t)h * (size_t)channels);
    size_t k = 0;
    for (int y = 0; y < h; ++y)
        for (int x = 0; x < w; ++x)
        {
            auto p = *reinterpret_cast<const juce::PixelARGB*>(data.getPixelPointer(x, y));
            p.unpremultiply();
            if (channels == 2)
            {
                rows[k++] =
                    (juce::uint8)((p.getRed() * 77 + p.getGreen() * 150 + p.getBlue() * 29 + 128) >> 8);
                rows[k++] = p.getAlpha();
                continue;
            }
            rows[k++] = p.getRed();
            rows[k++] = p.getGreen();
            rows[k++] = p.getBlue();
            if (channels == 4)
                rows[k++] = p.getAlpha();
        }
    return rows;
}

Bytes indexedRows(const juce::Image& image)
{
    const int w = image.getWidth(), h = image.getHeight();
    const juce::Image::BitmapData data(image, juce::Image::BitmapData::readOnly);
    const size_t stride = ((size_t)w + 1) / 2;
    Bytes rows(stride * (size_t)h, 0);
    for (int y = 0; y < h; ++y)
        for (int x = 0; x < w; ++x)
        {
            const int alpha =
                reinterpret_cast<const juce::PixelARGB*>(data.getPixelPointer(x, y))->getAlpha();
            const auto level = static_cast<unsigned char>((alpha * 15 + 127) / 255);
            rows[(size_t)y * stride + (size_t)x / 2] |=
                static_cast<unsigned char>(x % 2 == 0 ? level << 4 : level);
        }
    return rows;
}

Bytes encodePng(const juce::Image& image, PictureFormat format, juce::Colour tint)
{
    const int w = image.getWidth(), h = image.getHeight();
    const bool indexed = format == PictureFormat::indexed4;
    const Bytes raw = indexed ? indexedRows(image) : rawRows(image, format);
    const int bpp = indexed ? 1 : (int)(raw.size() / ((size_t)w * (size_t)h));
    const size_t stride = raw.size() / (size_t)h;

    Bytes filtered;
    filtered.reserve(raw.size() + (size_t)h);
    const Bytes zeros(stride, 0);
    for (int y = 0; y < h; ++y)
        filterRow(raw.data() + (size_t)y * stride,
                  y == 0 ? zeros.data() : raw.data() + (size_t)(y - 1) * stride, stride, bpp, filtered);

    Bytes png = {0x89, 'P', 'N', 'G', '\r', '\n', 0x1a, '\n'};
    Bytes header;
    putU32(header, (uint32_t)w);
    putU32(header, (uint32_t)h);
    header.push_back(indexed ? 4 : 8);
    header.push_back(
        indexed ? 3 : (format == PictureFormat::rgba ? 6 : (format == PictureFormat::greyAlpha ? 4 : 2)));
    header.insert(header.end(), {0, 0, 0});
    putChunk(png, "IHDR", header);
    if (indexed)
    {
        Bytes palette, alpha;
        for (int i = 0; i < 16; ++i)
        {
            palette.insert(palette.end(), {tint.getRed(), tint.getGreen(), tint.getBlue()});
            alpha.push_back(static_cast<unsigned char>(i * 17));
        }
        putChunk(png, "PLTE", palette);
        putChunk(png, "tRNS", alpha);
    }
    putChunk(png, "IDAT", deflateAll(filtered));
    putChunk(png, "IEND", {});
    return png;
}

} // namespace

juce::MemoryBlock encodePicture(const juce::Image& image, PictureFormat format, juce::Colour tint)
{
    if (format == PictureFormat::jpeg)
    {
        juce::MemoryOutputStream out;
        juce::JPEGImageFormat jpeg;
        jpeg.setQuality(0.82f);
        if (!jpeg.writeImageToStream(image, out))
            throw std::runtime_error("JPEG encoding failed");
        return out.getMemoryBlock();
    }
    const auto png = encodePng(image, format, tint);
    return juce::MemoryBlock(png.data(), png.size());
}
