#pragma once

#include "dcmtk/config/osconfig.h"

#include "dcmtk/dcmdata/dccodec.h"

namespace radvex {

inline constexpr unsigned short kJpeg2000Failed = 1; ///< its text is the reason, for people
inline constexpr unsigned short kJpeg2000OutOfMemory = 2;

/// Adds decoders of JPEG 2000 to DCMTK, which has none; the same ones decode HTJ2K, which goes by their transfer
/// syntaxes (guard/TransferSyntaxes.h). Pixels and attributes come out as those of DCMTK's own decoders:
///  - words or bytes, by pixel or by plane, as BitsAllocated and PlanarConfiguration say; but words for a codestream of
///    more than 8 bits;
///  - BitsStored and HighBit become those of a codestream with fewer bits, and of one whose samples need more;
///  - PhotometricInterpretation becomes "RGB" where the codestream has transformed the colours ("YBR_RCT", "YBR_ICT"),
///    and "YBR_FULL" where it names subsampled ones, which a codestream has not;
///  - LossyImageCompression becomes "01" for the transfer syntaxes that may lose something (PS3.5 A.4.4).
/// What cannot be decoded as a whole is an error of the module OFM_dcmjp2k, with one of the codes below.
///
/// Each is registered once: a library may be initialized again.
void registerJpeg2000Decoders();
void cleanupJpeg2000Decoders();

} // namespace radvex
