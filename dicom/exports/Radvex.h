#pragma once

#include "velmora/VelmoraLibrary.h"

// Declares the functions that the library exports, from the list in velmora/RadvexFunctions.h. The list says what they
// do and what their arguments mean. The first argument in it has the index 0.

#define RADVEX_EXPORT extern "C" __attribute__((visibility("default")))
#define RADVEX_ENTRY(name, result, parameters, meaning) RADVEX_EXPORT result name parameters;
#define RADVEX_FUNCTION(name, meaning)                                                                                 \
    RADVEX_EXPORT int name(VelmoraLibraryData libData, vint argc, VArgument* args, VArgument res);
#include "velmora/RadvexFunctions.h"
#undef RADVEX_EXPORT
