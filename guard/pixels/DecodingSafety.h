#pragma once

#include <string>

#include "dcmtk/config/osconfig.h"

#include "dcmtk/dcmdata/dcdatset.h"

namespace radvex {

/// Why compressed pixels, those of nested items too, must not be decoded, in a few words; empty when they may. DCMTK
///  - reserves memory for all promised pixels before it decodes the first: over 256 MiB more than a thousand times the
///    stored bytes (JPEG-LS and JPEG 2000: ten thousand times), or, where a JPEG frame has another size than its
///    attributes, over 256 MiB more than these promise;
///  - counts the decoded bytes in 32 bits and writes beyond its buffer when there are more than 4 GiB;
///  - reads outside its own tables or a fragment, or never comes to an end, because of what a JPEG stream holds
///    (JpegSegments.h);
///  - or a codestream of JPEG 2000 has another size than the image, or problems of its own (Jpeg2000Codestream.h);
///  - goes through very many fragments for each of very many frames.
std::string reasonNotToDecode(DcmDataset& dataset);

/// True when decoding may change an attribute of a dataset with compressed pixels, or add it: the attributes that
/// DCMTK's decoders write, pixels, overlays, and sequences whose items have pixels of their own.
bool isChangedByDecoding(DcmDataset& dataset, const DcmTagKey& key);

} // namespace radvex
