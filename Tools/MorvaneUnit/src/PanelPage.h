// The unit's web page: HTML, CSS and script in one text, made from web/panel.html when building.
#pragma once

namespace morvane::sim::pages
{
extern const char* const panelPage;
}
