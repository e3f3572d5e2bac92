// Both names of the VST2 interface lead here. FST declares two structures shorter than the
// original interface: the speaker arrangement with a flexible array (eight bytes), and the
// pin properties without their reserved tail. The framework sizes and fills both like the
// original (room for eight speakers; a short label of eight characters plus its zero), and
// would write past the smaller blocks. Both get the original layout here; the bytes of
// every field FST knows stay where they are.
#pragma once
#define VstSpeakerArrangement VstSpeakerArrangementFlexible
#define VstPinProperties VstPinPropertiesShort
#include <pluginterfaces/fst/fst.h>
#undef VstSpeakerArrangement
#undef VstPinProperties

typedef struct
{
    int type;
    int numChannels;
    VstSpeakerProperties speakers[8];
} VstSpeakerArrangement;

typedef struct
{
    char label[64];
    int flags;
    int arrangementType;
    char shortLabel[8];
    char future[48];
} VstPinProperties;

#ifdef __cplusplus
static_assert(sizeof(VstPinProperties) == 128, "pin properties as the original interface lays them out");
#endif
