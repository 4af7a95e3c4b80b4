#pragma once

#include <memory>
#include <vector>

#include "bridge/containers/Image.h"
#include "dcmtk/config/osconfig.h"
#include "dicom/pixels/ImageOptions.h"

#include "dcmtk/dcmimgle/dcmimage.h"

namespace radvex {

using OpenImages = std::vector<std::shared_ptr<DicomImage>>;
using Volume = GTU::VContainer<GTU::VArgumentType::Image, GTU::Passing::Manual>;

/// Puts a window into the options that spans the values of all images, so that grey values compare between them. A
/// colour image counts as the value 0. The width is that of the span, not of DICOM's convention minus one: hosts rely
/// on it.
/// @param images  not empty
void setWindowForSeries(const OpenImages& images, ImageReadOptions& options);

/// One frame of each image, rendered without overlays as a slice of a volume: u8 when the first image has 8 bits, else
/// u16; size and colour are those of the first image.
///
/// Each slice starts as many bytes behind the one before as that one has at its own depth, which in a series of mixed
/// depths need not be where the volume's slices are; hosts rely on it. When that would leave the volume, a slice takes
/// no more than it has at the volume's depth.
/// @throws GantryError  NoImagesError; ImageReadError when a slice does not fit or cannot be rendered; DimensionsError;
///                      ImageNewError
Volume consolidateImages(const OpenImages& images, const ImageReadOptions& options);

} // namespace radvex
