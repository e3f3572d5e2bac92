// "GuiSettings.txt" as an instance reads it at start: positional cutting and application.
#include "FuzzSupport.h"
#include "GlobalData.h"
#include "SafeAndLoad.h"

extern "C" int LLVMFuzzerInitialize(int*, char***)
{
    Fuzz::setUp();
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    static Settings settings;
    static GlobalData global(&settings);
    static SafeAndLoad store(&settings, &global);
    static const std::string path = store.makeInstanceFolder() + "/GuiSettings.txt";
    const auto text = Fuzz::bytes(data, size);
    (void)SafeAndLoad::positionalValues(text);
    Fuzz::writeFile(path, text);
    store.ReadGuiSettings();
    return 0;
}
