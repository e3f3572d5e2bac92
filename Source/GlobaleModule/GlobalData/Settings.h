#pragma once

#include <array>
#include <string>

// The constant description of the front panel and the product. Filled once by the
// processor's constructor and only read afterwards.
struct Settings
{
    Settings();

    int height = 219;
    int width = 800;
    int knobCount = 20;

    std::array<int, 40> knobX{}, knobY{}, knobW{}, knobH{};
    std::array<std::string, 40> knobNames{};

    std::array<int, 20> labelX{}, labelY{}, labelW{}, labelH{};

    std::array<int, 5> statusX{}, statusY{}, statusW{}, statusH{};
    std::array<std::string, 20> statusTexts{};

    std::array<int, 4> ipFieldX{}, ipFieldY{}, ipFieldW{}, ipFieldH{};

    std::string productFolder = "Morvane";
    std::string deviceCode = "MORVAN";
    std::string maker = "Velmora Audio Works";
    std::string version = "2_3_10";
};

// The editor's signature calls the same record by this name.
using GlobalSettings = Settings;
