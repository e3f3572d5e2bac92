// The alerts that ask which unit to use. Searches raise flags; the tick opens the alert.
#include "PluginEditor.h"

// The choice alerts open here; until they exist a raised flag waits.
void MorvaneEditor::checkAlert() {}
