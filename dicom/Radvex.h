#pragma once

#include "velmora/VelmoraLibrary.h"

// The functions that the library exports. Their arguments are told at each; an index is a place in the argument
// cells, counted from 0. All return 0 or the id of a registered error.

#define RADVEX_EXPORT extern "C" __attribute__((visibility("default")))
#define RADVEX_FUNCTION(name) RADVEX_EXPORT int name(VelmoraLibraryData libData, vint argc, VArgument* args, VArgument res)

/// Stores the host table, registers the errors, silences DCMTK and registers its codecs. Returns 0.
RADVEX_EXPORT int VelmoraLibrary_initialize(VelmoraLibraryData libData);
/// Removes the codecs and closes all readers. The error table and the host table stay.
RADVEX_EXPORT void VelmoraLibrary_uninitialize(VelmoraLibraryData libData);

/// Answers an empty list on the link by an Association of all errors: name -> {id, message}.
RADVEX_EXPORT int sendRegisteredErrors(VelmoraLibraryData libData, TTLink link);

/// 0 text: what stands in front of the parameters' symbol. Result, text: the whole name of that symbol.
RADVEX_FUNCTION(setExceptionDetailsContext);

/// 0 text: path. Result, integer: NumberOfFrames, 0 when the file does not say.
RADVEX_FUNCTION(GetFrameCount);
/// 0 text: path. Result, integer: RepresentativeFrameNumber, 0 when the file does not say.
RADVEX_FUNCTION(GetRepresentativeFrameIndex);
/// 0 text: path. Result, integer: number of overlay planes with data of their own.
RADVEX_FUNCTION(GetOverlayCount);
/// 0 text: path. Forgets the reader of that path; one that is not open is no error.
RADVEX_FUNCTION(CloseReader);
/// Forgets all readers.
RADVEX_FUNCTION(ClearCache);
