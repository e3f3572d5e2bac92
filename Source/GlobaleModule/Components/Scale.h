#pragma once

// The one size rule of the window: a length d of the layout at size factor 1 is drawn as
// trunc(d * s + d), in float, where s is the size factor minus one.
inline int scaledLength(int d, float s)
{
    return (int)((float)d * s + (float)d);
}

// The few x coordinates whose two terms differ: trunc(a * s + b).
inline int scaledPair(int a, int b, float s)
{
    return (int)((float)a * s + (float)b);
}
