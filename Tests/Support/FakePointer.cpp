#include "FakePointer.h"

#include <X11/Xlib.h>
#include <X11/extensions/XTest.h>

namespace
{
// A connection of its own, for the life of the test program.
Display* display()
{
    static Display* const own = XOpenDisplay(nullptr);
    return own;
}

bool usable()
{
    int event = 0, error = 0, major = 0, minor = 0;
    return display() != nullptr && XTestQueryExtension(display(), &event, &error, &major, &minor);
}
} // namespace

namespace FakePointer
{
bool moveTo(int x, int y)
{
    if (!usable())
        return false;
    XTestFakeMotionEvent(display(), -1, x, y, CurrentTime);
    XSync(display(), False);
    return true;
}

bool button(int number, bool down)
{
    if (!usable())
        return false;
    XTestFakeButtonEvent(display(), (unsigned)number, down ? True : False, CurrentTime);
    XSync(display(), False);
    return true;
}
} // namespace FakePointer
