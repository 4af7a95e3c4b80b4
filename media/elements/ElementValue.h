#pragma once

#include <string>

#include "dcmtk/config/osconfig.h"

#include "dcmtk/dcmdata/dcitem.h"
#include "dcmtk/dcmdata/dcpixel.h"
#include "dcmtk/dcmdata/dcpixseq.h"
#include "text/TextDecoder.h"

namespace radvex::media {

/// The value as ElementValues::Text says; numbers are the shortest text that reads back as the same number.
/// @param characterSet  value of SpecificCharacterSet where the element stands; empty for the default
std::string textOf(DcmElement& element, const std::string& characterSet, text::TextDecoder& decoder);

/// The bytes of a text that is in no known character set, which textOf takes for Latin 1; empty for any other.
std::string unknownTextOf(DcmElement& element, const std::string& characterSet, text::TextDecoder& decoder);

/// The value of bytes or words, little-endian. The fragments of compressed pixels as they stand in the file, with the
/// headers of their items (PS3.5, A.4) and without the delimiter behind them.
std::string bytesOf(DcmElement& element);

/// The line that DCMTK's dump prints for an element, without its end; several lines for compressed pixels. For a
/// sequence only the part in front of its items. Characters that control a terminal are escaped.
/// @param whole  long values are not cut
std::string dumpLine(DcmElement& element, bool whole);

/// The fragments of compressed pixels; null when they are not compressed.
DcmPixelSequence* pixelSequenceOf(DcmPixelData& pixels);

} // namespace radvex::media
