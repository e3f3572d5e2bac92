// Maps the VST2 SDK header name onto Debian's free FST header (fst-dev).
#pragma once
#include <pluginterfaces/fst/aeffectx.h>
