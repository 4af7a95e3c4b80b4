#pragma once

#include "dicom/metadata/ElementConversion.h"

#include "dcmtk/dcmdata/dcitem.h"
#include "dcmtk/dcmdata/dctag.h"

namespace radvex {

/// Adds Pixel Data or Overlay Data of group 6000 as one node with one unnamed numeric array for each frame: pixels as
/// u8 (BitsAllocated 8) or u16 of [row][column], [row][column][sample] or [sample][row][column]; overlay pixels as s8,
/// 0 or 1, of [row][column]. Stored values: nothing is rendered or rescaled.
///
/// Adds nothing when an attribute that tells the shape is missing, or when the shape promises over 256 MiB more than
/// the value holds. What the value does not hold is 0.
/// @throws std::invalid_argument, std::out_of_range  a number of frames that is no number
/// @throws GantryError  DimensionsError for a frame beyond `vint` elements; NumericArrayNewError, CreateFromNullError
void saveGraphicMetadataToDataList(ResultList& list, DcmItem* item, DcmTag tag, bool numericName);

} // namespace radvex
