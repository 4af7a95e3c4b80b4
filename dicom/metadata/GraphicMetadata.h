#pragma once

#include "dicom/metadata/ElementConversion.h"

#include "dcmtk/dcmdata/dcitem.h"
#include "dcmtk/dcmdata/dctag.h"

namespace radvex {

/// Adds Pixel Data, or Overlay Data of group 6000, as one node with one unnamed numeric array for each frame. The
/// values are the stored ones: nothing is rendered or rescaled.
///
/// Pixels: u8 if BitsAllocated is 8, else u16; [row][column], [row][column][sample] or [sample][row][column].
/// Overlay pixels: s8, 0 or 1; [row][column].
///
/// Adds nothing when an attribute that tells the shape is missing, or when the shape promises over 256 MiB more than
/// the value holds. Elements that the value does not hold are 0.
/// @param numericName  the node is named by the tag's number, "(7fe0,0010)", else by its keyword
/// @throws std::invalid_argument, std::out_of_range  the number of frames is not a number
/// @throws GantryError  DimensionsError for a frame of more elements than `vint` counts; NumericArrayNewError;
///                      CreateFromNullError
void saveGraphicMetadataToDataList(ResultList& list, DcmItem* item, DcmTag tag, bool numericName);

} // namespace radvex
