// Both names of the VST2 interface lead here. FST declares the speaker arrangement with a
// flexible array, so its size is eight bytes; the framework sizes its copies like the
// original interface, with room for eight speakers, and would write past a smaller block.
// The arrangement gets that layout here; the bytes of the first speakers are the same.
#pragma once
#define VstSpeakerArrangement VstSpeakerArrangementFlexible
#include <pluginterfaces/fst/fst.h>
#undef VstSpeakerArrangement
typedef struct
{
    int type;
    int numChannels;
    VstSpeakerProperties speakers[8];
} VstSpeakerArrangement;
