// Xlib's names clash with the framework's, so the grab lives in a file of its own.
#include "ScreenGrab.h"

#include <X11/Xlib.h>
#include <X11/Xutil.h>

std::vector<std::uint32_t> grabScreen(int x, int y, int width, int height)
{
    std::vector<std::uint32_t> pixels;
    Display* display = XOpenDisplay(nullptr);
    if (display == nullptr)
        return pixels;
    XImage* image = XGetImage(display, DefaultRootWindow(display), x, y, (unsigned)width, (unsigned)height,
                              AllPlanes, ZPixmap);
    if (image != nullptr)
    {
        pixels.reserve((size_t)width * (size_t)height);
        for (int row = 0; row < height; ++row)
            for (int column = 0; column < width; ++column)
                pixels.push_back(0xff000000u | ((std::uint32_t)XGetPixel(image, column, row) & 0xffffffu));
        XDestroyImage(image);
    }
    XCloseDisplay(display);
    return pixels;
}

void focusWindow(unsigned long window)
{
    Display* display = XOpenDisplay(nullptr);
    if (display == nullptr)
        return;
    XSetInputFocus(display, (Window)window, RevertToParent, CurrentTime);
    XSync(display, False);
    XCloseDisplay(display);
}
