// The processor's preset stages: reading a picked preset, writing a saved one.
#include "PluginProcessor.h"

void MorvaneProcessor::presetReadingStage() {}

void MorvaneProcessor::presetSavingStage() {}
