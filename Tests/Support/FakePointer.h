#pragma once

// The user's pointer on the test's X display, through the XTest extension: the server
// itself sees the button down, as the framework's real-time query will. Link X11 and Xtst.
namespace FakePointer
{
// Moves the pointer to (x, y) on the screen; false without a display or XTest.
bool moveTo(int x, int y);
// Presses (down) or releases a button: 1 left, 3 right.
bool button(int number, bool down);
} // namespace FakePointer
