#pragma once

#include <string>
#include <utility>
#include <vector>

namespace radvex {

/// Names and messages of the library's own errors, in the order of their registration after the bridge's errors.
inline const std::vector<std::pair<std::string, std::string>>& libraryErrors() {
    // clang-format off
    static const std::vector<std::pair<std::string, std::string>> errors{
        {"OpenFileError", "Error when opening file `fileName`: `reason`."},
        {"ImageReadError", "Error when reading image from file `f`."},
        {"InvalidTagName", "Attribute tag named `tag` does not exist."},
        {"NotImplementedError", "Not implemented."},
        {"RawPixelCountError", "Got `1` pixels, expected `2`."},
        {"RawPixelReadError", "Could not access pixel data in file `f`."},
        {"ImageOpenError", "Could not open DICOM image in file `f`. Operation status: `status`."},
        {"ImageDimensionsMismatch", "DICOM images from a single series have inconsistent dimensions."},
        {"NoImagesError", "Could not create Image3D from empty set of images."},
        {"NoFilesError", "No files found satisfying given criteria"},
        {"OverlayReadError", "Could not read overlays from `f`."},
        {"InvalidPixelScaling", "Pixel scaling method specification is invalid."},
        {"InvalidTagValue", "Could not write tag `tag` with value `value`."},
        {"ReservedTagError", "Could not write tag `tag` because it is exclusively written by Velmora Language."},
        {"ImageWriteError", "Error writing an Image(s) : `reason`."},
        {"TagWriteError", "Error writing tag `tag` : `reason`"},
        {"AnonymizationError", "Error occured while anonymizing the dataset : `reason`"},
        {"OverlayCountError", "Maximum number of overlay planes (16) exceeded."},
        {"SequenceTagVRError", "TagKeyword provided for sequence doesn't represent tag with value representation SQ."},
        {"VArgumentTypeError", "Unsupported VArgumentType passed."},
        {"OverlayIndexOutOfBounds", "DcmOverlay does not contain overlay at index `index`."},
        {"OverlayPropertyError", "Invalid value for overlay property `prop`."},
    };
    // clang-format on
    return errors;
}

} // namespace radvex
