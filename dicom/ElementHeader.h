#pragma once

#include <array>
#include <cstdint>

#include "ByteSource.h"
#include "dcmtk/config/osconfig.h"

#include "dcmtk/dcmdata/dcvr.h"

class DcmDataDictionary;

namespace radvex {

/// How elements are written. The default is that of values of unknown representation.
struct Encoding {
    bool isExplicit = false;
    bool isBigEndian = false;
};

inline constexpr std::uint32_t kUndefinedLength = 0xFFFFFFFF;

/// Group and element in one number, which orders tags as DCMTK does.
using TagNumber = std::uint32_t;

inline constexpr TagNumber kItemTag = 0xFFFEE000;
inline constexpr TagNumber kItemDelimiterTag = 0xFFFEE00D;
inline constexpr TagNumber kSequenceDelimiterTag = 0xFFFEE0DD;

inline bool isPrivate(TagNumber tag) { return ((tag >> 16) & 1) != 0; }
inline std::uint16_t elementNumber(TagNumber tag) { return static_cast<std::uint16_t>(tag & 0xFFFF); }
/// True for (gggg,0010) to (gggg,00FF) of an odd group, which reserve a block of elements for their maker.
inline bool isPrivateCreator(TagNumber tag) {
    return isPrivate(tag) && elementNumber(tag) >= 0x10 && elementNumber(tag) <= 0xFF;
}

std::uint16_t number16(const std::uint8_t* bytes, Encoding encoding);
std::uint32_t number32(const std::uint8_t* bytes, Encoding encoding);

/// Value representations of the data dictionary, which stays locked for reading from the first question on.
class DictionaryVrs {
  public:
    DictionaryVrs() = default;
    DictionaryVrs(const DictionaryVrs&) = delete;
    DictionaryVrs& operator=(const DictionaryVrs&) = delete;
    ~DictionaryVrs();

    /// EVR_UNKNOWN for a tag that the dictionary does not have.
    DcmEVR of(TagNumber tag);
    /// The one of a private element, or `otherwise`.
    DcmEVR ofPrivate(TagNumber tag, const char* creator, DcmEVR otherwise);

  private:
    struct Remembered {
        std::uint64_t tag = ~std::uint64_t{0};
        DcmEVR vr = EVR_UNKNOWN;
    };

    const DcmDataDictionary& dictionary();

    const DcmDataDictionary* mDictionary = nullptr;
    std::array<Remembered, 256> mRemembered{}; ///< files repeat the same attributes in item after item
};

struct ElementHeader {
    TagNumber tag = 0;
    DcmEVR vr = EVR_UNKNOWN;
    std::uint32_t length = 0;
};

/// Reads the header of an element of an item and moves over it. A delimiter has the VR EVR_na, and so has an element
/// that claims this representation for itself.
/// @return false when the bytes end before the header does
bool readElementHeader(ByteSource& source, Encoding encoding, DictionaryVrs& dictionary, ElementHeader& header);

/// Reads the header of an item or the delimiter of a sequence. There is no VR.
/// @return false when the bytes end before the header does
bool readItemHeader(ByteSource& source, Encoding encoding, ElementHeader& header);

} // namespace radvex
