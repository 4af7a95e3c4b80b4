#pragma once

#include <pybind11/pybind11.h>

#include <string>

#include "velmora/VelmoraLibrary.h"

// One DICOM file: its attributes and its pixels. Every function that takes a path raises the exception of what the
// library or the rooms above it throw, with a sentence about the file.

namespace radvex::python {

/// Opens the file, which stays open until it was closed as often as it was opened. A file that was written again
/// meanwhile is read anew.
void openReader(const std::string& path);
/// Does nothing when the interpreter ends.
void closeReader(const std::string& path);

/// An attribute: (True, value), or (False, None) when the file has none.
///
/// Values: int for IS, US, SS, UL, SL, UV, SV; float for DS, FL, FD; str for texts, tags as "(gggg,eeee)"; bytes,
/// little-endian, for OB, OW, OF, OD, OL, OV and UN; a list of dicts for a sequence; a list for several values; None
/// for an attribute without a value. Text that is not valid in its character set is bytes.
/// @param tag  a keyword, or eight hexadecimal digits
pybind11::tuple attributeOf(const std::string& path, const std::string& tag);

/// All attributes by key, but the pixels: the keyword, or gggg_eeee for a tag that the dictionary does not know.
pybind11::dict attributesOf(const std::string& path);

/// Value representation by key, as attributesOf gives them.
pybind11::dict representationsOf(const std::string& path);

/// (array, meaning as JSON text): modality values of `count` frames from `first` on (from 0; 0: all that follow).
pybind11::tuple valuesOf(const std::string& path, vint first, vint count);

/// (array, meaning as JSON text): pictures. @param request  JSON for renderingFrom
pybind11::tuple pictureOf(const std::string& path, vint first, vint count, const std::string& request);

} // namespace radvex::python
