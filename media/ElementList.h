#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>
#include <vector>

namespace radvex::media {

/// One data element of a file as it is stored.
struct Element {
    std::uint16_t group = 0;
    std::uint16_t number = 0; ///< the element number: 0x0010 of (0010,0010)
    std::string vr{};         ///< two letters of the standard's
    std::string keyword{};    ///< "PatientName"; empty when the dictionary does not know the tag
    std::string creator{};    ///< who reserved the block of a private element; empty when nobody did
    std::uint32_t length = 0; ///< bytes of the value; 0xFFFFFFFF when the file leaves it open
    bool isEmpty = false;     ///< has no value; a sequence without items is empty too
    std::string text{};       ///< the value as ElementValues says
    std::string bytes{};      ///< values of OB, OD, OF, OL, OV, OW and UN when asked for, little-endian; also those of
                              ///< texts that are in no known character set, which `text` takes for Latin 1
    std::vector<std::vector<Element>> items{}; ///< of a sequence

    bool isPrivate() const { return group % 2 != 0; }
    bool isSequence() const { return vr == "SQ"; }
    bool isMetaInformation() const { return group == 2; }
    /// Whether the value is bytes or words without a meaning of their own.
    bool isBinary() const { return vr == "UN" || (vr.size() == 2 && vr[0] == 'O'); }
};

enum class ElementValues {
    None, ///< what elements there are
    /// Texts in UTF-8 and without their padding, numbers in decimal, tags as (gggg,eeee); several values with a
    /// backslash between them. Empty for bytes and words.
    Text,
    Dump ///< the whole line that DCMTK's dump prints for an element, without those of the items of a sequence
};

struct ElementRequest {
    ElementValues values = ElementValues::None;
    /// Which elements need their value, by everything but the value; empty: all.
    std::function<bool(const Element& element)> wants{};
    /// Whether `bytes` are needed too.
    bool binary = false;
    /// Whether the lines of a dump show long values whole.
    bool whole = false;
};

/// The elements of the meta information and of the dataset in the order of the file; no group lengths but that of
/// the meta information.
/// @throws FileError  a sentence that does not name the file
std::vector<Element> listElements(const std::string& path, const ElementRequest& request);

/// Whether a value of this representation is one text, in which a backslash is a character like any other (PS3.5, 6.2).
inline bool isOneText(const std::string& vr) { return vr == "LT" || vr == "ST" || vr == "UR" || vr == "UT"; }

/// The key that attributes have in results: the keyword, or gggg_eeee for a tag that the dictionary does not know.
std::string keyOf(const Element& element);
/// gggg_eeee in lower-case hexadecimal.
std::string numberOf(const Element& element);

/// An attribute of the standard.
struct KnownAttribute {
    std::uint16_t group = 0;
    std::uint16_t number = 0; ///< the first one of a range, such as 6000,3000 for the data of overlays
    std::string vr{};
    std::string keyword{};
};

/// The dictionary without private attributes. Read once. @throws FileError
const std::vector<KnownAttribute>& knownAttributes();

// Entries of radvexDatasets.so, with the result in the last argument.

/// @throws std::runtime_error  a sentence
using ListElementsEntry = void (*)(const std::string& path, const ElementRequest& request,
                                   std::vector<Element>& elements);
using ListAttributesEntry = void (*)(std::vector<KnownAttribute>& attributes);

inline constexpr const char* kListElementsEntry = "radvexListElements";
inline constexpr const char* kListAttributesEntry = "radvexListAttributes";

} // namespace radvex::media
