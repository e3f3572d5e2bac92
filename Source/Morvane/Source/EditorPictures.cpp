#include "EditorPictures.h"

#include "BinaryData.h"

namespace Picture
{
namespace
{
struct Resource
{
    int number;
    const char* bytes;
    int size;
};

#define MORVANE_PICTURE(n)                                                                                   \
    {                                                                                                        \
        n, BinaryData::temp_binary_data_##n, BinaryData::temp_binary_data_##n##Size                          \
    }
const Resource resources[] = {
    MORVANE_PICTURE(9),  MORVANE_PICTURE(19), MORVANE_PICTURE(20), MORVANE_PICTURE(21), MORVANE_PICTURE(22),
    MORVANE_PICTURE(23), MORVANE_PICTURE(24), MORVANE_PICTURE(25), MORVANE_PICTURE(30), MORVANE_PICTURE(31),
    MORVANE_PICTURE(32), MORVANE_PICTURE(33), MORVANE_PICTURE(34), MORVANE_PICTURE(35), MORVANE_PICTURE(36),
    MORVANE_PICTURE(37), MORVANE_PICTURE(38), MORVANE_PICTURE(39), MORVANE_PICTURE(40), MORVANE_PICTURE(42),
    MORVANE_PICTURE(43), MORVANE_PICTURE(44), MORVANE_PICTURE(45), MORVANE_PICTURE(46), MORVANE_PICTURE(47),
    MORVANE_PICTURE(48), MORVANE_PICTURE(49), MORVANE_PICTURE(50), MORVANE_PICTURE(51), MORVANE_PICTURE(52),
    MORVANE_PICTURE(53), MORVANE_PICTURE(54), MORVANE_PICTURE(55), MORVANE_PICTURE(56), MORVANE_PICTURE(57),
    MORVANE_PICTURE(58), MORVANE_PICTURE(59), MORVANE_PICTURE(60), MORVANE_PICTURE(61), MORVANE_PICTURE(62),
    MORVANE_PICTURE(63), MORVANE_PICTURE(64), MORVANE_PICTURE(65), MORVANE_PICTURE(67), MORVANE_PICTURE(69),
    MORVANE_PICTURE(70), MORVANE_PICTURE(71), MORVANE_PICTURE(72), MORVANE_PICTURE(73), MORVANE_PICTURE(74),
    MORVANE_PICTURE(75), MORVANE_PICTURE(76), MORVANE_PICTURE(77), MORVANE_PICTURE(78), MORVANE_PICTURE(79),
    MORVANE_PICTURE(80), MORVANE_PICTURE(81), MORVANE_PICTURE(82), MORVANE_PICTURE(83), MORVANE_PICTURE(84),
    MORVANE_PICTURE(85), MORVANE_PICTURE(86), MORVANE_PICTURE(87), MORVANE_PICTURE(88), MORVANE_PICTURE(89),
    MORVANE_PICTURE(90), MORVANE_PICTURE(26), MORVANE_PICTURE(27), MORVANE_PICTURE(28),
};
#undef MORVANE_PICTURE
} // namespace

const void* data(int number, int& size)
{
    for (const auto& resource : resources)
        if (resource.number == number)
        {
            size = resource.size;
            return resource.bytes;
        }
    size = 0;
    return nullptr;
}

juce::Image decode(int number)
{
    int size = 0;
    const void* bytes = data(number, size);
    if (bytes == nullptr || size <= 0)
        return {};
    return juce::ImageFileFormat::loadFrom(bytes, (size_t)size);
}
} // namespace Picture

std::shared_ptr<EditorPictures> EditorPictures::acquire()
{
    static std::mutex guard;
    static std::weak_ptr<EditorPictures> current;
    std::lock_guard<std::mutex> lock(guard);
    auto shared = current.lock();
    if (shared == nullptr)
    {
        shared = std::make_shared<EditorPictures>();
        current = shared;
    }
    return shared;
}

EditorPictures::Slot& EditorPictures::slot(int key)
{
    std::lock_guard<std::mutex> guard(lock);
    auto& entry = slots[key];
    if (entry == nullptr)
        entry = std::make_unique<Slot>();
    return *entry;
}

juce::Image EditorPictures::get(int number)
{
    auto& entry = slot(number);
    std::call_once(entry.once, [&] { entry.image = Picture::decode(number); });
    return entry.image;
}

juce::Image EditorPictures::copyOf(int number)
{
    auto& entry = slot(-number);
    std::call_once(entry.once,
                   [&]
                   {
                       const auto original = get(number);
                       entry.image = original.isValid() ? original.createCopy() : juce::Image();
                   });
    return entry.image;
}
