// morvane-window: what the main job needs of an X display, from outside the program it shows.
//
//   morvane-window probe                     exit 0 when the display named by DISPLAY answers
//   morvane-window wait  TITLE SECONDS       waits until a window of that title is shown
//   morvane-window size  TITLE               prints its width and height
//   morvane-window where TITLE               prints its top left corner on the screen
//   morvane-window icon  TITLE               prints the width and height of its icon (0 0: none)
//   morvane-window shot  TITLE FILE.png      writes the window's pixels as a PNG
//   morvane-window click TITLE X Y           a left click at X, Y inside the window (XTest)
//
// Exit 0 on success, 1 when the window is not there or the work failed, 2 on wrong use.
#include <X11/Xatom.h>
#include <X11/Xlib.h>
#include <X11/Xutil.h>
#include <X11/extensions/XTest.h>
#include <png.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <thread>
#include <utility>
#include <vector>

namespace
{
// A window that goes away between finding it and reading it is an answer, not a crash.
int ignoreError(Display*, XErrorEvent*)
{
    return 0;
}

// The framework writes the title as UTF8_STRING, which XFetchName does not return: compare bytes.
bool hasTitle(Display* display, Window window, const std::string& title)
{
    XTextProperty name{};
    if (XGetWMName(display, window, &name) == 0 || name.value == nullptr)
        return false;
    const bool same = name.format == 8 && std::string((const char*)name.value, name.nitems) == title;
    XFree(name.value);
    return same;
}

bool isShown(Display* display, Window window)
{
    XWindowAttributes attributes{};
    return XGetWindowAttributes(display, window, &attributes) != 0 && attributes.map_state == IsViewable;
}

// Depth first below `from`, a few levels deep: a window manager puts a frame around it.
Window findWindow(Display* display, Window from, const std::string& title, int depth = 0)
{
    Window rootReturn = 0, parent = 0, *children = nullptr;
    unsigned int count = 0;
    if (depth > 4 || XQueryTree(display, from, &rootReturn, &parent, &children, &count) == 0)
        return 0;
    Window found = 0;
    for (unsigned int i = 0; i < count && found == 0; ++i)
        if (hasTitle(display, children[i], title) && isShown(display, children[i]))
            found = children[i];
    for (unsigned int i = 0; i < count && found == 0; ++i)
        found = findWindow(display, children[i], title, depth + 1);
    if (children != nullptr)
        XFree(children);
    return found;
}

bool writePng(const std::string& file, int width, int height, const std::vector<unsigned char>& rgb)
{
    png_image image{};
    image.version = PNG_IMAGE_VERSION;
    image.width = (png_uint_32)width;
    image.height = (png_uint_32)height;
    image.format = PNG_FORMAT_RGB;
    return png_image_write_to_file(&image, file.c_str(), 0, rgb.data(), width * 3, nullptr) != 0;
}

bool shoot(Display* display, Window window, const std::string& file)
{
    XWindowAttributes attributes{};
    if (XGetWindowAttributes(display, window, &attributes) == 0 || attributes.width <= 0 ||
        attributes.height <= 0)
        return false;
    XImage* image = XGetImage(display, window, 0, 0, (unsigned)attributes.width, (unsigned)attributes.height,
                              AllPlanes, ZPixmap);
    if (image == nullptr)
        return false;
    std::vector<unsigned char> rgb;
    rgb.reserve((size_t)attributes.width * (size_t)attributes.height * 3);
    for (int y = 0; y < attributes.height; ++y)
        for (int x = 0; x < attributes.width; ++x)
        {
            const unsigned long pixel = XGetPixel(image, x, y);
            rgb.push_back((unsigned char)((pixel & image->red_mask) >> 16));
            rgb.push_back((unsigned char)((pixel & image->green_mask) >> 8));
            rgb.push_back((unsigned char)(pixel & image->blue_mask));
        }
    XDestroyImage(image);
    return writePng(file, attributes.width, attributes.height, rgb);
}

bool click(Display* display, Window window, int x, int y)
{
    int eventBase = 0, errorBase = 0, major = 0, minor = 0;
    if (!XTestQueryExtension(display, &eventBase, &errorBase, &major, &minor))
        return false;
    int screenX = 0, screenY = 0;
    Window child = 0;
    XTranslateCoordinates(display, window, DefaultRootWindow(display), x, y, &screenX, &screenY, &child);
    XTestFakeMotionEvent(display, -1, screenX, screenY, CurrentTime);
    XSync(display, False);
    std::this_thread::sleep_for(std::chrono::milliseconds(100));
    XTestFakeButtonEvent(display, 1, True, CurrentTime);
    XSync(display, False);
    std::this_thread::sleep_for(std::chrono::milliseconds(60));
    XTestFakeButtonEvent(display, 1, False, CurrentTime);
    XSync(display, False);
    return true;
}

// The first picture of _NET_WM_ICON: width and height lead its data.
std::pair<long, long> iconSize(Display* display, Window window)
{
    Atom type = 0;
    int format = 0;
    unsigned long count = 0, after = 0;
    unsigned char* data = nullptr;
    std::pair<long, long> size{0, 0};
    const Atom icon = XInternAtom(display, "_NET_WM_ICON", False);
    if (XGetWindowProperty(display, window, icon, 0, 2, False, XA_CARDINAL, &type, &format, &count, &after,
                           &data) == Success &&
        data != nullptr && format == 32 && count == 2)
    {
        const long* values = reinterpret_cast<const long*>(data); // format 32 comes as longs
        size = {values[0], values[1]};
    }
    if (data != nullptr)
        XFree(data);
    return size;
}

std::pair<int, int> screenPosition(Display* display, Window window)
{
    int x = 0, y = 0;
    Window child = 0;
    XTranslateCoordinates(display, window, DefaultRootWindow(display), 0, 0, &x, &y, &child);
    return {x, y};
}

Window waitForWindow(Display* display, const std::string& title, double seconds)
{
    const auto end = std::chrono::steady_clock::now() + std::chrono::duration<double>(seconds);
    for (;;)
    {
        if (const Window window = findWindow(display, DefaultRootWindow(display), title))
            return window;
        if (std::chrono::steady_clock::now() >= end)
            return 0;
        std::this_thread::sleep_for(std::chrono::milliseconds(100));
    }
}

int usage()
{
    std::fprintf(stderr,
                 "usage: morvane-window probe | wait TITLE SECONDS | size TITLE | shot TITLE FILE.png | "
                 "click TITLE X Y\n");
    return 2;
}

int run(Display* display, const std::vector<std::string>& args)
{
    const std::string& command = args[0];
    if (command == "probe")
        return 0;
    if (args.size() < 2)
        return usage();
    const bool waiting = command == "wait";
    if (waiting && args.size() != 3)
        return usage();
    const Window window = waitForWindow(display, args[1], waiting ? std::atof(args[2].c_str()) : 0.0);
    if (window == 0)
    {
        std::fprintf(stderr, "morvane-window: no window \"%s\" shown\n", args[1].c_str());
        return 1;
    }
    if (waiting)
        return 0;
    if (command == "size" && args.size() == 2)
    {
        XWindowAttributes attributes{};
        XGetWindowAttributes(display, window, &attributes);
        std::printf("%d %d\n", attributes.width, attributes.height);
        return 0;
    }
    if (command == "where" && args.size() == 2)
    {
        const auto [x, y] = screenPosition(display, window);
        std::printf("%d %d\n", x, y);
        return 0;
    }
    if (command == "icon" && args.size() == 2)
    {
        const auto [width, height] = iconSize(display, window);
        std::printf("%ld %ld\n", width, height);
        return 0;
    }
    if (command == "shot" && args.size() == 3)
        return shoot(display, window, args[2]) ? 0 : 1;
    if (command == "click" && args.size() == 4)
        return click(display, window, std::atoi(args[2].c_str()), std::atoi(args[3].c_str())) ? 0 : 1;
    return usage();
}
} // namespace

int main(int argc, char** argv)
{
    if (argc < 2)
        return usage();
    const std::vector<std::string> args(argv + 1, argv + argc);
    Display* display = XOpenDisplay(nullptr);
    if (display == nullptr)
    {
        if (args[0] != "probe")
            std::fprintf(stderr, "morvane-window: cannot open the display \"%s\"\n",
                         std::getenv("DISPLAY") != nullptr ? std::getenv("DISPLAY") : "");
        return 1;
    }
    XSetErrorHandler(ignoreError);
    const int result = run(display, args);
    XCloseDisplay(display);
    return result;
}
