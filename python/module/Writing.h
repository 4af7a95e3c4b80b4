#pragma once

#include <pybind11/numpy.h>
#include <pybind11/pybind11.h>

#include <string>

namespace radvex::python {

/// What is written into a new file beside its pixels.
struct NewFile {
    pybind11::dict attributes{};        ///< keyword -> text, or a list of such dicts for a sequence
    pybind11::list overlays{};          ///< planes as arrays [row][column]; every value but 0 is set
    pybind11::dict overlayProperties{}; ///< "1" and on -> property -> text
    std::string compression{};          ///< NAME[:P1[,P2]]
};

/// Writes an image as a new DICOM file, under another name first.
/// @param array  see imageFromArray
void writeImage(const std::string& path, const pybind11::array& array, bool isColour, const NewFile& file,
                bool mayReplace);

/// The texts in the character sets that the attributes name, or all in UTF-8: see media::encodeTexts.
/// @param attributes         as in NewFile
/// @param overlayProperties  as in NewFile
/// @return (attributes, overlay properties), with bytes for texts that are not UTF-8
pybind11::tuple encodeTexts(const pybind11::dict& attributes, const pybind11::dict& overlayProperties);

} // namespace radvex::python
