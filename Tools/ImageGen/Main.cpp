// Paints the plug-in's built-in pictures and writes them, with the source that embeds them
// as BinaryData::temp_binary_data_N, into the folder given:
//     MorvaneImageGen <output folder>
#include "Catalogue.h"

#include <juce_graphics/juce_graphics.h>

#include <zlib.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <iostream>
#include <stdexcept>
#include <thread>

namespace
{

juce::String embeddingHeader(const std::vector<Picture>& pictures,
                             const std::vector<juce::MemoryBlock>& files)
{
    juce::String h =
        "// Written by MorvaneImageGen: the built-in pictures.\n#pragma once\n\nnamespace BinaryData\n{\n";
    for (size_t i = 0; i < pictures.size(); ++i)
    {
        const auto name = "temp_binary_data_" + juce::String(pictures[i].number);
        h << "    extern const char* " << name << ";\n";
        h << "    const int " << name << "Size = " << (int)files[i].getSize() << ";\n\n";
    }
    h << "    const int namedResourceListSize = " << (int)pictures.size() << ";\n";
    h << "    extern const char* namedResourceList[];\n    extern const char* originalFilenames[];\n";
    h << "    const char* getNamedResource(const char* resourceNameUTF8, int& dataSizeInBytes);\n";
    h << "    const char* getNamedResourceOriginalFilename(const char* resourceNameUTF8);\n}\n";
    return h;
}

// The bytes go in by the assembler's .incbin; the checksum in each block makes a compiler
// cache see a changed picture.
juce::String embeddingSource(const std::vector<Picture>& pictures,
                             const std::vector<juce::MemoryBlock>& files, const juce::File& folder)
{
    juce::String s = "// Written by MorvaneImageGen: the built-in pictures.\n#include "
                     "\"BinaryData.h\"\n\n#include <cstring>\n\n";
    for (size_t i = 0; i < pictures.size(); ++i)
    {
        const auto symbol = "morvane_picture_" + juce::String(pictures[i].number);
        const auto path = folder.getChildFile(fileNameOf(pictures[i])).getFullPathName();
        const auto sum = juce::String::toHexString(
            (int)crc32(0L, static_cast<const Bytef*>(files[i].getData()), (uInt)files[i].getSize()));
        s << "__asm__(\".section .rodata\\n.balign 16\\n.hidden " << symbol << "\\n.type " << symbol
          << ", @object\\n"
          << symbol << ":\\n.incbin \\\"" << path.replace("\\", "\\\\").replace("\"", "\\\"")
          << "\\\"\\n.byte 0\\n"
          << ".set " << symbol << "_sum_" << sum << ", 0\\n.previous\\n\");\n";
        s << "extern \"C\" __attribute__((visibility(\"hidden\"))) const char " << symbol << "[];\n";
    }
    s << "\nnamespace BinaryData\n{\n";
    for (const auto& p : pictures)
        s << "const char* temp_binary_data_" << p.number << " = morvane_picture_" << p.number << ";\n";
    s << "\nconst char* namedResourceList[] = {\n";
    for (const auto& p : pictures)
        s << "    \"temp_binary_data_" << p.number << "\",\n";
    s << "};\n\nconst char* originalFilenames[] = {\n";
    for (const auto& p : pictures)
        s << "    \"" << fileNameOf(p) << "\",\n";
    s << "};\n\nconst char* getNamedResource(const char* resourceNameUTF8, int& dataSizeInBytes)\n{\n";
    for (const auto& p : pictures)
    {
        const auto name = "temp_binary_data_" + juce::String(p.number);
        s << "    if (std::strcmp(resourceNameUTF8, \"" << name
          << "\") == 0)\n    {\n        dataSizeInBytes = " << name << "Size;\n        return " << name
          << ";\n    }\n";
    }
    s << "    dataSizeInBytes = 0;\n    return nullptr;\n}\n\n";
    s << "const char* getNamedResourceOriginalFilename(const char* resourceNameUTF8)\n{\n"
         "    for (int i = 0; i < namedResourceListSize; ++i)\n"
         "        if (std::strcmp(namedResourceList[i], resourceNameUTF8) == 0)\n"
         "            return originalFilenames[i];\n"
         "    return nullptr;\n}\n} // namespace BinaryData\n";
    return s;
}

// Encoding is most of the work and each picture stands alone: a few workers share it, the
// largest pictures first.
std::vector<juce::MemoryBlock> encodeAll(const std::vector<Picture>& pictures)
{
    std::vector<size_t> order(pictures.size());
    for (size_t i = 0; i < order.size(); ++i)
        order[i] = i;
    const auto pixels = [&pictures](size_t i)
    {
        return pictures[i].image.getWidth() * pictures[i].image.getHeight();
    };
    std::stable_sort(order.begin(), order.end(),
                     [&pixels](size_t a, size_t b) { return pixels(a) > pixels(b); });
    std::vector<juce::MemoryBlock> files(pictures.size());
    std::atomic<size_t> next{0};
    std::atomic<bool> failed{false};
    const auto work = [&]
    {
        for (size_t k = next++; k < order.size() && !failed; k = next++)
        {
            try
            {
                files[order[k]] = encoded(pictures[order[k]]);
            }
            catch (const std::exception& e)
            {
                std::cerr << "MorvaneImageGen: " << e.what() << "\n";
                failed = true;
            }
        }
    };
    std::vector<std::thread> workers;
    const unsigned count = juce::jlimit(1u, 4u, std::thread::hardware_concurrency());
    for (unsigned i = 0; i < count; ++i)
        workers.emplace_back(work);
    for (auto& worker : workers)
        worker.join();
    if (failed)
        throw std::runtime_error("encoding failed");
    return files;
}

bool writeFile(const juce::File& file, const void* data, size_t size)
{
    if (file.replaceWithData(data, size))
        return true;
    std::cerr << "MorvaneImageGen: cannot write " << file.getFullPathName() << "\n";
    return false;
}

bool writeText(const juce::File& file, const juce::String& text)
{
    return writeFile(file, text.toRawUTF8(), text.getNumBytesAsUTF8());
}

int run(const juce::File& folder)
{
    const auto start = std::chrono::steady_clock::now();
    if (!folder.createDirectory())
    {
        std::cerr << "MorvaneImageGen: cannot make " << folder.getFullPathName() << "\n";
        return 1;
    }
    const auto pictures = paintCatalogue();
    const auto painted = std::chrono::steady_clock::now();
    const auto files = encodeAll(pictures);
    size_t total = 0;
    for (size_t i = 0; i < pictures.size(); ++i)
    {
        total += files[i].getSize();
        if (!writeFile(folder.getChildFile(fileNameOf(pictures[i])), files[i].getData(), files[i].getSize()))
            return 1;
    }
    const auto sheet = encodePicture(contactSheet(pictures), PictureFormat::rgb);
    const auto preview = encodePicture(panelPreview(pictures), PictureFormat::rgb);
    if (!writeText(folder.getChildFile("BinaryData.h"), embeddingHeader(pictures, files)) ||
        !writeText(folder.getChildFile("BinaryData.cpp"), embeddingSource(pictures, files, folder)) ||
        !writeFile(folder.getChildFile("contact-sheet.png"), sheet.getData(), sheet.getSize()) ||
        !writeFile(folder.getChildFile("panel-preview.png"), preview.getData(), preview.getSize()))
        return 1;
    const auto ms = [](auto from, auto to)
    {
        return std::chrono::duration_cast<std::chrono::milliseconds>(to - from).count();
    };
    const auto end = std::chrono::steady_clock::now();
    std::cout << "MorvaneImageGen: " << pictures.size() << " pictures, " << total << " bytes, painted in "
              << ms(start, painted) << " ms, encoded and written in " << ms(painted, end) << " ms\n";
    return 0;
}

} // namespace

int main(int argc, char** argv)
{
    if (argc != 2)
    {
        std::cerr << "usage: MorvaneImageGen <output folder>\n";
        return 2;
    }
    try
    {
        return run(juce::File::getCurrentWorkingDirectory().getChildFile(argv[1]));
    }
    catch (const std::exception& e)
    {
        std::cerr << "MorvaneImageGen: " << e.what() << "\n";
        return 1;
    }
}
