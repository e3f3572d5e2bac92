// "GuiSettings.txt" as an instance reads it at start: positional cutting and application.
#include "FuzzSupport.h"
#include "SafeAndLoad/SafeAndLoad.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    static const std::string path = Fuzz::store().makeInstanceFolder() + "/GuiSettings.txt";
    const auto text = Fuzz::bytes(data, size);
    (void)SafeAndLoad::positionalValues(text);
    Fuzz::writeFile(path, text);
    Fuzz::store().ReadGuiSettings();
    return 0;
}
