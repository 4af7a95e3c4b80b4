#pragma once

#include <string>

#include "dcmtk/config/osconfig.h"

#include "dcmtk/dcmdata/dcitem.h"

namespace radvex::deidentify {

/// Replaces a value by one that is valid for its type and says nothing. Sequences and UIDs are left alone.
void putDummy(DcmElement& element);

/// A text that is valid for the type and says nothing; empty for types that hold no text.
std::string dummyText(DcmEVR vr);

/// Makes a sequence of content items a sequence of one, which says that there was more (PS3.3, C.17.3).
/// @throws std::runtime_error  part of a sentence
void putDummyContent(DcmItem& item, const DcmTagKey& sequence);

/// Replaces an encapsulated document by one that says that there was another, of the same kind where a few lines can be
/// one (PDF, CDA, text), and its length. @throws std::runtime_error  part of a sentence
void putDummyDocument(DcmItem& item);

} // namespace radvex::deidentify
