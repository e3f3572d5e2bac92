#include "GlobalData/Settings.h"

namespace
{
struct KnobRow
{
    int index;
    const char* name;
    int x, y, w, h;
    int lx, ly, lw, lh;
};

// Positions at size factor 1. Knobs 8 and 16 are the lamp slots and have no value lamp.
constexpr KnobRow knobRows[] = {
    {0, "Input L", 97, 40, 60, 60, 140, 100, 8, 8},
    {1, "Attack L", 214, 23, 60, 60, 257, 83, 8, 8},
    {2, "Mode L", 526, 23, 60, 60, 569, 83, 8, 8},
    {3, "Output L", 643, 40, 60, 60, 686, 99, 8, 8},
    {4, "Threshold", 97, 123, 60, 60, 142, 183, 8, 8},
    {5, "Release L", 214, 140, 60, 60, 258, 199, 8, 8},
    {6, "Sidechain L", 528, 140, 60, 60, 575, 199, 8, 8},
    {7, "Mix L", 642, 124, 60, 60, 686, 182, 8, 8},
    {8, "--------", 323, 26, 154, 89, 0, 0, 0, 0},
    {9, "Input R", 97, 259, 60, 60, 140, 319, 8, 8},
    {10, "Attack R", 214, 242, 60, 60, 257, 302, 8, 8},
    {11, "Output R", 643, 259, 60, 60, 686, 318, 8, 8},
    {12, "Threshold R", 97, 342, 60, 60, 142, 402, 8, 8},
    {13, "Release R", 214, 359, 60, 60, 258, 418, 8, 8},
    {14, "Sidechain R", 528, 359, 60, 60, 575, 418, 8, 8},
    {15, "Mix R", 642, 343, 60, 60, 686, 401, 8, 8},
    {16, "", 323, 245, 154, 89, 0, 0, 0, 0},
    {19, "", 526, 242, 60, 60, 0, 0, 0, 0},
};

struct StatusRow
{
    const char* text;
    int x, y, w, h;
};

constexpr StatusRow statusRows[] = {
    {"Connecting...", 250, 0, 350, 80},
    {"I found more then one Morvane", 250, 0, 350, 80},
    {"I couldn't find my best friend. Do you have the IP address?", 240, 140, 350, 50},
    {"", 350, 140, 350, 50},
    {"Connection lost, please turn on your device and press ok", 300, 0, 350, 80},
};
} // namespace

Settings::Settings()
{
    for (const auto& row : knobRows)
    {
        const auto i = (size_t)row.index;
        knobNames[i] = row.name;
        knobX[i] = row.x;
        knobY[i] = row.y;
        knobW[i] = row.w;
        knobH[i] = row.h;
        if (i < labelX.size())
        {
            labelX[i] = row.lx;
            labelY[i] = row.ly;
            labelW[i] = row.lw;
            labelH[i] = row.lh;
        }
    }

    for (size_t i = 0; i < std::size(statusRows); ++i)
    {
        statusTexts[i] = statusRows[i].text;
        statusX[i] = statusRows[i].x;
        statusY[i] = statusRows[i].y;
        statusW[i] = statusRows[i].w;
        statusH[i] = statusRows[i].h;
    }

    const int ipX[] = {280, 340, 400, 460};
    for (size_t i = 0; i < 4; ++i)
    {
        ipFieldX[i] = ipX[i];
        ipFieldY[i] = 190;
        ipFieldW[i] = 50;
        ipFieldH[i] = 20;
    }
}
