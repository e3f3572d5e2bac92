// A preset file through the reader and the loop's reading stage, as a click in the browser
// would load it.
#include "FuzzSupport.h"
#include "GlobalData/GlobalData.h"
#include "PluginProcessor.h"
#include "Presets/PresetFile.h"
#include "TestEnvironment.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    static const std::string path = TestEnvironment::home() + "/fuzz.fxb";
    Fuzz::writeFile(path, Fuzz::bytes(data, size));
    (void)PresetFile::read(path, "Morvane");
    auto& processor = Fuzz::processor();
    auto* global = processor.getGlobalData();
    global->loadPath = path;
    global->loadRequest = true;
    processor.timerCallback();
    Fuzz::drainMessages();
    return 0;
}
