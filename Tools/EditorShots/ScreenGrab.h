#pragma once

#include <cstdint>
#include <vector>

// Reads a rectangle of the X screen named by DISPLAY as 0xAARRGGBB pixels, row by row.
// Empty when there is no display or the rectangle lies outside the screen.
std::vector<std::uint32_t> grabScreen(int x, int y, int width, int height);
// Gives a window the keyboard focus, as a window manager would on a click: a popup menu of a
// program without focus closes at once.
void focusWindow(unsigned long window);
