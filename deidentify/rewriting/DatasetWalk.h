#pragma once

#include <functional>
#include <string>
#include <vector>

#include "dcmtk/config/osconfig.h"

#include "dcmtk/dcmdata/dcelem.h"
#include "dcmtk/dcmdata/dcitem.h"

namespace radvex::deidentify {

/// An element of a dataset that is being walked.
struct Visit {
    DcmElement& element;
    DcmElement* partner;       ///< the element at the same place of the other dataset; null when there is none
    DcmItem& item;             ///< that the element stands in
    const std::string& prefix; ///< of the items around it: "ReferencedImageSequence[1]."

    /// "ReferencedImageSequence[1].ReferencedSOPInstanceUID"; items count from 1.
    std::string path() const;
};

/// Visits every element of a dataset, sequences themselves and all that is in them included; not the fragments of
/// compressed pixels. Values may be changed on the way, elements not be added or removed. No recursion.
/// @param other  a dataset to be walked side by side, sequence by sequence and item by item; may be null
void walkElements(DcmItem& dataset, DcmItem* other, const std::function<void(const Visit&)>& visit);

/// Keyword, or "gggg,eeee" where the dictionary has none.
std::string nameOf(const DcmTagKey& key);

/// The sequence that an element is; null for any other, compressed pixels included.
DcmSequenceOfItems* asSequence(DcmElement& element);

/// The value of a text, or of bytes that are used for one, with backslashes between its parts. Empty for all others.
std::string textOf(DcmElement& element);

/// Whether `textOf` reads the element: a string, or bytes of an unknown type.
bool holdsText(DcmElement& element);

/// Puts a text into an element that holdsText. @throws std::runtime_error  when it is refused
void putText(DcmElement& element, const std::string& text);

} // namespace radvex::deidentify
