#pragma once

#include <atomic>

// Xlib's own header clashes with the framework's names; this one call is all a host needs.
extern "C"
{
    using XErrorHandler = int (*)(void* display, void* event);
    XErrorHandler XSetErrorHandler(XErrorHandler handler);
}

// The host's part, which the framework leaves to the program that loads a plug-in: a
// harmless X error (a window manager's property missing under Xvfb, a window gone a moment
// early) is counted, and does not end the program. Link X11.
namespace XErrors
{
inline std::atomic<int> count{0};

inline int countError(void*, void*)
{
    ++count;
    return 0;
}

inline void survive()
{
    XSetErrorHandler(countError);
}
} // namespace XErrors
