#include "ElementHeader.h"

#include "dcmtk/dcmdata/dcdicent.h"
#include "dcmtk/dcmdata/dcdict.h"

namespace radvex {

namespace {

constexpr std::size_t kLetters = 26;
constexpr std::size_t kLongHeader = 12;
constexpr std::size_t kShortHeader = 8;

struct WrittenVr {
    DcmEVR vr = EVR_UNKNOWN;
    bool hasLongHeader = false;
};

WrittenVr askDcmtk(std::uint8_t first, std::uint8_t second) {
    const std::array<char, 3> name{static_cast<char>(first), static_cast<char>(second), '\0'};
    const DcmVR vr(name.data());
    return {vr.getEVR(), vr.usesExtendedLengthEncoding() == OFTrue};
}

std::array<WrittenVr, kLetters * kLetters> upperCaseVrs() {
    std::array<WrittenVr, kLetters * kLetters> vrs{};
    for (std::size_t place = 0; place < vrs.size(); ++place) {
        vrs[place] = askDcmtk(static_cast<std::uint8_t>('A' + place / kLetters),
                              static_cast<std::uint8_t>('A' + place % kLetters));
    }
    return vrs;
}

/// DCMTK searches its table for every element; what files hold is two capital letters.
WrittenVr writtenVr(std::uint8_t first, std::uint8_t second) {
    static const auto upperCase = upperCaseVrs();
    if (first >= 'A' && first <= 'Z' && second >= 'A' && second <= 'Z') {
        return upperCase[(first - std::size_t{'A'}) * kLetters + (second - std::size_t{'A'})];
    }
    return askDcmtk(first, second);
}

TagNumber tagAt(const std::uint8_t* bytes, Encoding encoding) {
    return static_cast<TagNumber>(number16(bytes, encoding)) << 16 | number16(bytes + 2, encoding);
}

bool isDelimiter(TagNumber tag) { return tag == kItemTag || tag == kItemDelimiterTag || tag == kSequenceDelimiterTag; }

} // namespace

std::uint16_t number16(const std::uint8_t* bytes, Encoding encoding) {
    const auto first = static_cast<unsigned>(bytes[0]);
    const auto second = static_cast<unsigned>(bytes[1]);
    return static_cast<std::uint16_t>(encoding.isBigEndian ? first << 8 | second : second << 8 | first);
}

std::uint32_t number32(const std::uint8_t* bytes, Encoding encoding) {
    const std::uint32_t first = number16(bytes, encoding);
    const std::uint32_t second = number16(bytes + 2, encoding);
    return encoding.isBigEndian ? first << 16 | second : second << 16 | first;
}

DictionaryVrs::~DictionaryVrs() {
    if (mDictionary != nullptr) {
        dcmDataDict.rdunlock();
    }
}

const DcmDataDictionary& DictionaryVrs::dictionary() {
    if (mDictionary == nullptr) {
        mDictionary = &dcmDataDict.rdlock();
    }
    return *mDictionary;
}

DcmEVR DictionaryVrs::of(TagNumber tag) {
    Remembered& remembered = mRemembered[(tag ^ tag >> 8 ^ tag >> 16) % mRemembered.size()];
    if (remembered.tag != tag) {
        remembered = {tag, ofPrivate(tag, nullptr, EVR_UNKNOWN)};
    }
    return remembered.vr;
}

DcmEVR DictionaryVrs::ofPrivate(TagNumber tag, const char* creator, DcmEVR otherwise) {
    const DcmTagKey key(static_cast<Uint16>(tag >> 16), elementNumber(tag));
    const DcmDictEntry* entry = dictionary().findEntry(key, creator);
    return entry == nullptr ? otherwise : entry->getEVR();
}

bool readElementHeader(ByteSource& source, Encoding encoding, DictionaryVrs& dictionary, ElementHeader& header) {
    const auto bytes = source.peek(kLongHeader);
    if (bytes.size() < kShortHeader) {
        return false;
    }
    header.tag = tagAt(bytes.data(), encoding);
    if (!encoding.isExplicit || isDelimiter(header.tag)) {
        header.vr = encoding.isExplicit ? EVR_na : dictionary.of(header.tag);
        header.length = number32(&bytes[4], encoding);
        source.consume(kShortHeader);
        return true;
    }
    const WrittenVr written = writtenVr(bytes[4], bytes[5]);
    header.vr = written.vr;
    if (!written.hasLongHeader) {
        header.length = number16(&bytes[6], encoding);
        source.consume(kShortHeader);
        return true;
    }
    if (bytes.size() < kLongHeader) {
        return false;
    }
    header.length = number32(&bytes[8], encoding);
    source.consume(kLongHeader);
    return true;
}

bool readItemHeader(ByteSource& source, Encoding encoding, ElementHeader& header) {
    const auto bytes = source.peek(kShortHeader);
    if (bytes.size() < kShortHeader) {
        return false;
    }
    header.tag = tagAt(bytes.data(), encoding);
    header.length = number32(&bytes[4], encoding);
    source.consume(kShortHeader);
    return true;
}

} // namespace radvex
