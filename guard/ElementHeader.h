#pragma once

#include <array>
#include <cstdint>

#include "dcmtk/config/osconfig.h"
#include "guard/ByteSource.h"

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

inline std::uint32_t number16(const std::uint8_t* bytes, Encoding encoding) {
    return encoding.isBigEndian ? std::uint32_t{bytes[0]} << 8 | bytes[1] : std::uint32_t{bytes[1]} << 8 | bytes[0];
}

inline std::uint32_t number32(const std::uint8_t* bytes, Encoding encoding) {
    const std::uint32_t first = number16(bytes, encoding);
    const std::uint32_t second = number16(bytes + 2, encoding);
    return encoding.isBigEndian ? first << 16 | second : second << 16 | first;
}

/// A value representation as it is written.
struct WrittenVr {
    DcmEVR vr = EVR_UNKNOWN;
    bool hasLongHeader = false; ///< 12 bytes, not 8
};

/// What DCMTK makes of two characters. It searches a table; this remembers what it says of capital letters.
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

/// Value representations of the data dictionary. What it says of a tag is remembered for good: files repeat the same
/// attributes in item after item, and the library never changes the dictionary.
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
    const DcmDataDictionary& dictionary();

    const DcmDataDictionary* mDictionary = nullptr; ///< locked for reading from the first question to it on
};

struct ElementHeader {
    TagNumber tag = 0;
    DcmEVR vr = EVR_UNKNOWN;
    std::uint32_t length = 0;
};

/// Reads headers from a source and moves over them.
class HeaderReader {
  public:
    explicit HeaderReader(ByteSource& source) : mSource(source) {}

    /// The header of an element of an item. A delimiter has the VR EVR_na, and so has an element that claims this
    /// representation for itself.
    /// @return false when the bytes end before the header does
    bool readElement(Encoding encoding, ElementHeader& header);

    /// The header of an item or the delimiter of a sequence, without a VR.
    /// @return false when the bytes end before the header does
    bool readItem(Encoding encoding, ElementHeader& header);

    /// Asks the dictionary for the VR of a private element; without an answer the header keeps its own.
    void lookUpPrivate(ElementHeader& header, const char* creator) {
        header.vr = mDictionary.ofPrivate(header.tag, creator, header.vr);
    }
    bool isPrivatePixelData(TagNumber tag, const char* creator) {
        return mDictionary.ofPrivate(tag, creator, EVR_UNKNOWN) == EVR_px;
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
