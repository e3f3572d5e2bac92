#pragma once

#include <cstdint>
#include <vector>

// Reads a rectangle of the X screen named by DISPLAY as 0xAARRGGBB pixels, row by row.
// Empty when there is no display or the rectangle lies outside the screen.
std::vector<std::uint32_t> grabScreen(int x, int y, int width, int height);
