#pragma once

#include <string>

#include "dcmtk/config/osconfig.h"

#include "dcmtk/dcmdata/dcdatset.h"

namespace radvex {

/// Why compressed pixels, those of nested items too, are not to be decoded, in a few words; empty when they may be.
/// DCMTK
///  - reserves what they promise before it decodes the first of them: 256 MiB more than a thousand times what they
///    hold (JPEG-LS: ten thousand times), or, for a JPEG frame that has a size of its own, than their attributes
///    promise;
///  - counts them in 32 bits and writes beyond a buffer that came out too small: more than 4 GiB in all;
///  - would read outside its own tables or a fragment, or never come to an end, at a JPEG stream (JpegSegments.h);
///  - would go through very many fragments for each of very many frames.
std::string reasonNotToDecode(DcmDataset& dataset);

/// True when an attribute of compressed pixels may be another one once they are decoded: those that DCMTK's decoders
/// write, sequences whose items have pixels of their own, pixels and overlays. Of an attribute that the dataset does
/// not have too, if decoders make it.
bool isChangedByDecoding(DcmDataset& dataset, const DcmTagKey& key);

} // namespace radvex
