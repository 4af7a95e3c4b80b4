#pragma once

#include "dcmtk/config/osconfig.h"

#include "dcmtk/dcmdata/dcfilefo.h"
#include "deidentify/pixels/MaskRules.h"

namespace radvex::deidentify {

/// Blanks parts of the image in a loaded file, in all frames and overlay planes. To be called while the attributes
/// still say what the original said, because the rules are chosen by them.
///
/// Raw pixels are changed in place: only the bits of stored values, and of overlay planes in the same words, inside the
/// rectangles; pixels that share their colours are blanked in pairs. Bytes behind the last frame become 0: they belong
/// to no pixel, so no rule reaches them. Compressed pixels are decoded and compressed again without loss; the
/// transfer syntax in the meta information follows. All other pixels stay what they were, or were decoded to.
/// IconImageSequence is removed at every depth, because it shows the image before. BurnedInAnnotation becomes NO when
/// one of the rules says so.
///
/// @return whether a rule matched; false for a file without pixels, which stays as it is
/// @throws std::runtime_error  a part of a sentence: a rule matched and could not be applied. The file may then be half
/// done and must not be written.
bool mask(DcmFileFormat& file, const MaskRules& rules);

} // namespace radvex::deidentify
