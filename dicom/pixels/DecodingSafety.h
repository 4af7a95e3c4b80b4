#pragma once

#include "dcmtk/config/osconfig.h"

#include "dcmtk/dcmdata/dcdatset.h"

namespace radvex {

/// Prepares compressed JPEG-LS frames, those of nested items too, for DCMTK's decoder: at the end of a complete scan it
/// reads on, which would be behind the frame. In memory, each frame gets another marker for the end of an image
/// (ISO/IEC 14495-1, EOI) and two bytes. Where frames have several fragments, the offset table is emptied, since it may
/// hold anything.
void endJpegLsFrames(DcmDataset& dataset);

/// False when compressed pixels, those of nested items too, must not be decoded, because DCMTK
///  - reserves memory for all promised pixels before it decodes the first: over 256 MiB more than a thousand times the
///    stored bytes, or, where a JPEG frame has another size than its attributes, over 256 MiB more than these promise;
///  - counts the decoded bytes in 32 bits and writes beyond its buffer when there are more than 4 GiB;
///  - reads outside its own tables or a fragment, or never comes to an end, because of what a JPEG or JPEG-LS stream
///    holds (JpegSegments.h, JpegLsPresets.h);
///  - counts through the list of fragments for each fragment, and there are over 8,192 more fragments than frames.
bool isSafeToDecode(DcmDataset& dataset);

/// True when decoding may change an attribute of a dataset with compressed pixels, or add it: the attributes that
/// DCMTK's decoders write, pixels, overlays, and sequences whose items have pixels of their own.
bool isChangedByDecoding(DcmDataset& dataset, const DcmTagKey& key);

} // namespace radvex
