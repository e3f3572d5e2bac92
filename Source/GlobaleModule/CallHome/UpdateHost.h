#pragma once

// The update server's host: one name for the daily check and for the manual check of the
// context menu. Set at build time with -DMORVANE_UPDATE_HOST=<name>; the reserved .example
// name stands until the maker gives the real one.
#ifndef MORVANE_UPDATE_HOST
#define MORVANE_UPDATE_HOST "updates.velmora-audio-works.example"
#endif

namespace UpdateHost
{
inline constexpr const char* name = MORVANE_UPDATE_HOST;
} // namespace UpdateHost
