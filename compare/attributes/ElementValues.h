#pragma once

#include <string>

#include "dcmtk/config/osconfig.h"

#include "dcmtk/dcmdata/dcelem.h"
#include "deidentify/rewriting/DatasetText.h"

namespace radvex::compare {

/// An element and what its text is read with.
struct ReadableElement {
    DcmElement& element;
    const std::string& characterSet; ///< that holds where the element stands
};

/// Compares values of elements and shows them.
class ElementValues {
  public:
    /// Whether two elements other than sequences hold the same value.
    /// @throws std::runtime_error  part of a sentence: a value cannot be read
    bool areSame(const ReadableElement& first, const ReadableElement& second);

    /// A value as one line, cut when it is long. Items of a sequence are counted.
    std::string shown(const ReadableElement& value);

  private:
    std::string textOf(const ReadableElement& value, DcmEVR vr);

    deidentify::TextDecoder mDecoder{};
};

/// Whether two elements hold the same bytes. Fragments of compressed pixels are compared one by one.
/// @throws std::runtime_error  part of a sentence: a value cannot be read
bool haveSameBytes(DcmElement& first, DcmElement& second);

} // namespace radvex::compare
