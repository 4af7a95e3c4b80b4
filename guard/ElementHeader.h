#pragma once

#include <array>
#include <cstdint>

#include "dcmtk/config/osconfig.h"
#include "guard/ByteSource.h"

#include "dcmtk/dcmdata/dcvr.h"

class DcmDataDictionary;

namespace radvex {

/// How elements are encoded. The default is the encoding of values of unknown representation.
struct Encoding {
    bool isExplicit = false;
    bool isBigEndian = false;
};

inline constexpr std::uint32_t kUndefinedLength = 0xFFFFFFFF;

/// Group and element as one number; tags then have the order of DCMTK.
using TagNumber = std::uint32_t;

inline constexpr TagNumber kItemTag = 0xFFFEE000;
inline constexpr TagNumber kItemDelimiterTag = 0xFFFEE00D;
inline constexpr TagNumber kSequenceDelimiterTag = 0xFFFEE0DD;

inline bool isPrivate(TagNumber tag) { return ((tag >> 16) & 1) != 0; }
inline std::uint16_t elementNumber(TagNumber tag) { return static_cast<std::uint16_t>(tag & 0xFFFF); }
/// True for (gggg,0010) to (gggg,00FF) of an odd group, which reserve a block of elements for a manufacturer.
inline bool isPrivateCreator(TagNumber tag) {
    return isPrivate(tag) && elementNumber(tag) >= 0x10 && elementNumber(tag) <= 0xFF;
}

inline std::uint32_t number16(const std::uint8_t* bytes, Encoding encoding) {
    return encoding.isBigEndian ? std::uint32_t{bytes[0]} << 8 | bytes[1] : std::uint32_t{bytes[1]} << 8 | bytes[0];
}

inline std::uint32_t number32(const std::uint8_t* bytes, Encoding encoding) {
    const std::uint32_t first = number16(bytes, encoding);
    const std::uint32_t second = number16(bytes + 2, encoding);
    return encoding.isBigEndian ? first << 16 | second : second << 16 | first;
}

/// A value representation as the file states it.
struct WrittenVr {
    DcmEVR vr = EVR_UNKNOWN;
    bool hasLongHeader = false; ///< 12 bytes, not 8
};

/// DCMTK's value representation for two characters. DCMTK searches a table; this class remembers its answers for
/// capital letters.
class WrittenVrs {
  public:
    WrittenVr of(std::uint8_t first, std::uint8_t second) const {
        const unsigned row = first - unsigned{'A'};
        const unsigned column = second - unsigned{'A'};
        if (row >= kLetters || column >= kLetters) {
            return askDcmtk(first, second);
        }
        const unsigned packed = mUpperCase[row * kLetters + column];
        return {static_cast<DcmEVR>(packed >> 1), (packed & 1) != 0};
    }

  private:
    static constexpr unsigned kLetters = 26;
    using Table = std::array<std::uint8_t, std::size_t{kLetters} * kLetters>;

    static WrittenVr askDcmtk(std::uint8_t first, std::uint8_t second);
    static const Table& upperCase();

    const Table& mUpperCase = upperCase();
};

/// Value representations from the data dictionary. Answers are remembered for the whole process: files repeat the same
/// attributes in many items, and the library never changes the dictionary.
class DictionaryVrs {
  public:
    DictionaryVrs() = default;
    DictionaryVrs(const DictionaryVrs&) = delete;
    DictionaryVrs& operator=(const DictionaryVrs&) = delete;
    ~DictionaryVrs();

    /// EVR_UNKNOWN for a tag that is not in the dictionary.
    DcmEVR of(TagNumber tag);
    /// For a private element; `otherwise` if it is not in the dictionary.
    DcmEVR ofPrivate(TagNumber tag, const char* creator, DcmEVR otherwise);

  private:
    const DcmDataDictionary* mDictionary = nullptr; ///< null until first used; then locked for reading
};

struct ElementHeader {
    TagNumber tag = 0;
    DcmEVR vr = EVR_UNKNOWN;
    std::uint32_t length = 0;
};

/// Reads headers from a source and consumes them.
class HeaderReader {
  public:
    explicit HeaderReader(ByteSource& source) : mSource(source) {}

    /// Reads the header of an element of an item. A delimiter gets the VR EVR_na, like an element that states it.
    /// @return false when the bytes end before the header does
    bool readElement(Encoding encoding, ElementHeader& header);

    /// Reads the header of an item, or the delimiter of a sequence. They have no VR.
    /// @return false when the bytes end before the header does
    bool readItem(Encoding encoding, ElementHeader& header);

    /// The VR that the dictionary has for a private element; `otherwise` if it has none.
    DcmEVR privateVr(TagNumber tag, const char* creator, DcmEVR otherwise) {
        return mDictionary.ofPrivate(tag, creator, otherwise);
    }

  private:
    static constexpr std::size_t kShortHeader = 8;
    static constexpr std::size_t kLongHeader = 12;

    ByteSource& mSource;
    WrittenVrs mWritten{};
    DictionaryVrs mDictionary{};
};

inline bool HeaderReader::readElement(Encoding encoding, ElementHeader& header) {
    const auto bytes = mSource.peek(kLongHeader);
    if (bytes.size() < kShortHeader) {
        return false;
    }
    header.tag = number16(bytes.data(), encoding) << 16 | number16(&bytes[2], encoding);
    const bool isDelimiter =
        header.tag == kItemTag || header.tag == kItemDelimiterTag || header.tag == kSequenceDelimiterTag;
    if (!encoding.isExplicit || isDelimiter) {
        header.vr = encoding.isExplicit ? EVR_na : mDictionary.of(header.tag);
        header.length = number32(&bytes[4], encoding);
        mSource.consume(kShortHeader);
        return true;
    }
    const WrittenVr written = mWritten.of(bytes[4], bytes[5]);
    header.vr = written.vr;
    if (!written.hasLongHeader) {
        header.length = number16(&bytes[6], encoding);
        mSource.consume(kShortHeader);
        return true;
    }
    if (bytes.size() < kLongHeader) {
        return false;
    }
    header.length = number32(&bytes[8], encoding);
    mSource.consume(kLongHeader);
    return true;
}

inline bool HeaderReader::readItem(Encoding encoding, ElementHeader& header) {
    const auto bytes = mSource.peek(kShortHeader);
    if (bytes.size() < kShortHeader) {
        return false;
    }
    header.tag = number16(bytes.data(), encoding) << 16 | number16(&bytes[2], encoding);
    header.length = number32(&bytes[4], encoding);
    mSource.consume(kShortHeader);
    return true;
}

} // namespace radvex
