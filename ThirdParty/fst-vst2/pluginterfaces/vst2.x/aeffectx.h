// Maps the VST2 interface header name onto Debian's free FST header (fst-dev).
#pragma once
#define FST2VST 1
#include "fst-layout.h"
