#pragma once

#include <initializer_list>

#include "bridge/containers/Image.h"
#include "dicom/pixels/ImageOptions.h"
#include "dicom/pixels/Picture.h"

namespace radvex {

/// Product of an image's dimensions, which must not be negative.
/// @throws GantryError  DimensionsError when it exceeds `vint`
vint checkedProduct(std::initializer_list<long long> dimensions);

/// Sets the window of a monochrome image; a colour image is left alone. A window that DCMTK refuses, or an explicit one
/// without values, means no VOI transformation at all (PS3.3 C.11.2).
void setScalingWindow(DicomImage& image, const ImageReadOptions& options);

/// Burns all overlay planes in, or none.
void setOverlayVisibility(DicomImage& image, bool show);

/// The host's numeric array type for an image's rendered depth: u8 up to 8 bits, u16 up to 16, else u32.
vint dicomImageToNumericArrayType(const DicomImage& image);

/// Renders every frame of a picture into a new host image: [row][column], [slice][row][column] for several frames, with
/// three channels for colour.
///
/// `unsigned char` and `unsigned short`: 8 or 16 bits, over the whole range of the type, directly into the host's
/// memory. `float`: values from 0 to 1, DCMTK's 32 bits divided by their maximum; always interleaved.
/// @throws GantryError  ImageReadError when DCMTK gives no pixels; DimensionsError beyond `vint` elements;
///                      ImageNewError
template <typename T>
GTU::Image<T, GTU::Passing::Manual> getImage(Picture& picture, bool interleaved);

} // namespace radvex
