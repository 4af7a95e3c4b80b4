#pragma once

#include <functional>
#include <string>
#include <vector>

#include "dcmtk/config/osconfig.h"

#include "dcmtk/dcmdata/dcelem.h"
#include "dcmtk/dcmdata/dcitem.h"

namespace radvex::deidentify {

/// An element of a dataset during a walk.
struct Visit {
    DcmElement& element;
    DcmElement* partner;       ///< the element at the same path of the other dataset; null when there is none
    DcmItem& item;             ///< the item or dataset that holds the element
    const std::string& prefix; ///< path of that item: "ReferencedImageSequence[1]."; empty for the dataset

    /// "ReferencedImageSequence[1].ReferencedSOPInstanceUID", with item numbers from 1.
    std::string path() const;
};

/// Visits every element of a dataset, sequences and all elements in them included, but no fragments of compressed
/// pixels. The visit may change values but must not add or remove elements. Deep nesting takes no call stack.
/// @param other  a dataset to walk side by side, sequence by sequence and item by item; may be null
void walkElements(DcmItem& dataset, DcmItem* other, const std::function<void(const Visit&)>& visit);

/// The keyword, or "gggg,eeee" when the dictionary has none.
std::string nameOf(const DcmTagKey& key);

/// The element as a sequence; null for all other elements and for compressed pixels.
DcmSequenceOfItems* asSequence(DcmElement& element);

/// The value of an element that holds text, with backslashes between its parts. Empty for all other elements.
std::string textOf(DcmElement& element);

/// Whether nobody tells the type of the value: the file says UN, or says nothing and the dictionary does not know the
/// attribute.
bool isOfUnknownType(DcmElement& element);

/// Whether the element is a string, or bytes of an unknown type.
bool holdsText(DcmElement& element);

/// Sets the value of an element that holds text. @throws std::runtime_error  DCMTK refuses the value
void putText(DcmElement& element, const std::string& text);

/// Refuses what the attribute may not hold, such as a date that is none: DCMTK puts any text into an element.
/// @throws std::runtime_error
void requireFitting(const DcmTagKey& key, const std::string& text);

} // namespace radvex::deidentify
