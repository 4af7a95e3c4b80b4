#include "media/scan/DatasetScan.h"

#include <algorithm>
#include <array>
#include <cstdlib>
#include <string_view>
#include <vector>

#include "media/scan/FileStart.h"
#include "media/scan/ScannedBytes.h"

namespace radvex::media {

namespace {

constexpr std::uint32_t kItem = 0xFFFEE000;
constexpr std::uint32_t kItemEnd = 0xFFFEE00D;
constexpr std::uint32_t kSequenceEnd = 0xFFFEE0DD;
constexpr std::uint32_t kUndefined = 0xFFFFFFFF;
constexpr std::size_t kHeader = 8;
constexpr std::size_t kLongHeader = 12;
/// A file within these bounds is looked through in about a second.
constexpr std::uint64_t kMostObjects = 20'000'000;
constexpr std::size_t kMostLevels = 10'000;

struct Form {
    bool isExplicit = true;
    bool isBigEndian = false;

    std::uint32_t number16(const std::uint8_t* bytes) const {
        return isBigEndian ? std::uint32_t{bytes[0]} << 8 | bytes[1] : std::uint32_t{bytes[1]} << 8 | bytes[0];
    }
    std::uint32_t number32(const std::uint8_t* bytes) const {
        const std::uint32_t first = number16(bytes);
        const std::uint32_t second = number16(bytes + 2);
        return isBigEndian ? first << 16 | second : second << 16 | first;
    }
    std::uint32_t tag(const std::uint8_t* bytes) const { return number16(bytes) << 16 | number16(bytes + 2); }
};

bool isOneOf(const std::uint8_t* vr, std::string_view list) {
    for (std::size_t at = 0; at + 1 < list.size(); at += 3) {
        if (list[at] == static_cast<char>(vr[0]) && list[at + 1] == static_cast<char>(vr[1])) {
            return true;
        }
    }
    return false;
}

// PS3.5 7.1.2: the length has two bytes or, behind two reserved ones, four.
bool isShortVr(const std::uint8_t* vr) {
    return isOneOf(vr, "AE AS AT CS DA DS DT FD FL IS LO LT PN SH SL SS ST TM UI UL US");
}
bool isLongVr(const std::uint8_t* vr) { return isOneOf(vr, "OB OD OF OL OV OW SQ SV UC UN UR UT UV"); }

struct Scope {
    enum class Kind { item, sequence, fragments };
    Kind kind;
    Form form;
};

struct Header {
    std::uint32_t tag = 0;
    std::uint32_t length = 0;
    std::size_t size = 0; ///< of the header
    bool isUnknownVr = false;
    bool isSequence = false; ///< may have an undefined length and then holds items
};

/// One look through a file. `step` returns false when the end is known.
class Scanner {
  public:
    explicit Scanner(const std::string& path) : mBytes(path), mStart(path) { mScan.size = mBytes.size(); }

    DatasetScan scan() {
        if (!mBytes.isGood() || (!mStart.hasMark() && !mStart.mayBeBareDataset())) {
            return mScan;
        }
        mAt = mStart.hasMark() ? 132 : 0;
        if (scanMeta() && chooseForm()) {
            mScan.datasetOffset = mAt;
            while (step()) {
            }
        }
        if (!mBytes.isGood()) { // no sentence about a file that changed or failed meanwhile
            mScan.end = DatasetScan::End::unknown;
        }
        return mScan;
    }

  private:
    bool scanMeta();
    bool chooseForm();
    bool step();
    bool stepElement(const Form& form);
    bool stepItem(const Scope& scope);
    bool readHeader(const Form& form, Header& header);
    bool skip(const Header& header, bool isFragment);
    bool descend(const Header& header, const Form& form);
    void note(const Header& header);
    std::string textOf(std::uint64_t offset, std::uint32_t length);

    bool finish(DatasetScan::End end) {
        mScan.end = end;
        return false;
    }
    bool endCut(std::uint64_t needed, bool isAtLeast) {
        if (!mIsInOrder) { // other bytes may look like an element that is long, but seldom like the next one
            mScan.damagedAt = mScan.last.offset;
            return finish(DatasetScan::End::damaged);
        }
        mScan.needed = needed;
        // Mostly nothing follows the pixels; other elements are followed by more.
        const bool isLast = mScopes.empty() && !mScan.isInMeta && mScan.last.tag == kPixelDataTag;
        mScan.isAtLeast = isAtLeast || !isLast;
        return finish(DatasetScan::End::cut);
    }
    bool endDamaged() {
        mScan.damagedAt = mAt;
        return finish(DatasetScan::End::damaged);
    }

    ScannedBytes mBytes;
    FileStart mStart;
    DatasetScan mScan{};
    Form mForm{}; ///< of the dataset
    std::uint64_t mAt = 0;
    std::uint64_t mObjects = 0;
    std::uint32_t mLastTag = 0;
    bool mIsInOrder = true;       ///< the tag of the last element of the top level is above that of the one before
    std::vector<Scope> mScopes{}; ///< of undefined length, outermost first
    bool mIsFirstFragment = false;
};

std::string Scanner::textOf(std::uint64_t offset, std::uint32_t length) {
    constexpr std::uint32_t kLongest = 64; // of a UID (PS3.5 9.1)
    const std::uint32_t count = std::min(length, kLongest);
    const std::uint8_t* bytes = mBytes.at(offset, count);
    if (bytes == nullptr) {
        return "";
    }
    const std::string_view text(reinterpret_cast<const char*>(bytes), count);
    const std::size_t end = text.find_last_not_of(std::string_view(" \0", 2));
    return std::string(text.substr(0, end == std::string_view::npos ? 0 : end + 1));
}

bool Scanner::scanMeta() {
    constexpr std::uint32_t kTransferSyntax = 0x00020010;
    const Form form{};
    mScan.isInMeta = true;
    while (true) {
        if (mAt == mBytes.size()) {
            return endCut(mAt + kHeader, true); // a dataset has to follow
        }
        const std::uint8_t* group = mBytes.at(mAt, 2);
        if (group != nullptr && form.number16(group) != 2) {
            mScan.isInMeta = false;
            return true;
        }
        Header header;
        if (!readHeader(form, header)) {
            return false;
        }
        mScan.last = {header.tag, mAt, mAt + header.size, header.length, false};
        const std::uint64_t value = mAt + header.size;
        if (++mObjects > kMostObjects || header.length == kUndefined) {
            return endDamaged();
        }
        if (!skip(header, false)) {
            return false;
        }
        if (header.tag == kTransferSyntax) {
            mScan.transferSyntax = textOf(value, header.length);
        }
    }
}

bool Scanner::chooseForm() {
    const std::string& syntax = mScan.transferSyntax;
    if (syntax == "1.2.840.10008.1.2.1.99") {
        mScan.isDeflated = true;
        return finish(DatasetScan::End::unknown);
    }
    if (!syntax.empty()) {
        mForm = {syntax != "1.2.840.10008.1.2", syntax == "1.2.840.10008.1.2.2"};
    } else if (const std::uint8_t* bytes = mBytes.at(mAt, kHeader); bytes != nullptr) {
        mForm = {isShortVr(bytes + 4) || isLongVr(bytes + 4), bytes[0] == 0};
    }
    mScan.isBigEndian = mForm.isBigEndian;
    return true;
}

bool Scanner::step() {
    if (mAt == mBytes.size()) {
        return mScopes.empty() ? finish(DatasetScan::End::whole) : endCut(mAt + kHeader, true);
    }
    if (++mObjects > kMostObjects || mScopes.size() > kMostLevels) {
        return finish(DatasetScan::End::unknown);
    }
    if (mScopes.empty() || mScopes.back().kind == Scope::Kind::item) {
        return stepElement(mScopes.empty() ? mForm : mScopes.back().form);
    }
    return stepItem(mScopes.back());
}

/// Reads a header at the current offset and does not move.
bool Scanner::readHeader(const Form& form, Header& header) {
    const std::uint8_t* bytes = mBytes.at(mAt, kHeader);
    if (bytes == nullptr) {
        return endCut(mAt + kHeader, true);
    }
    header.tag = form.tag(bytes);
    header.size = kHeader;
    const bool isDelimiter = header.tag >> 16 == 0xFFFE;
    if (isDelimiter || !form.isExplicit) {
        header.length = form.number32(bytes + 4);
        header.isSequence = true;
    } else if (isShortVr(bytes + 4)) {
        header.length = form.number16(bytes + 6);
    } else if (isLongVr(bytes + 4)) {
        header.isUnknownVr = isOneOf(bytes + 4, "UN");
        header.isSequence = header.isUnknownVr || isOneOf(bytes + 4, "SQ");
        header.size = kLongHeader;
        bytes = mBytes.at(mAt, kLongHeader);
        if (bytes == nullptr) {
            return endCut(mAt + kLongHeader, true);
        }
        header.length = form.number32(bytes + 8);
    } else {
        return endDamaged();
    }
    return true;
}

bool Scanner::stepElement(const Form& form) {
    Header header;
    if (mScopes.empty()) { // an unfinished header is part of what is incomplete
        mScan.last = {0, mAt, mAt, 0, false};
    }
    if (!readHeader(form, header)) {
        return false;
    }
    if (header.tag == kItemEnd && !mScopes.empty()) {
        mScopes.pop_back();
        mAt += kHeader;
        return true;
    }
    if (header.tag >> 16 == 0xFFFE) {
        return endDamaged();
    }
    const bool isUndefined = header.length == kUndefined;
    if (mScopes.empty()) {
        mIsInOrder = header.tag > mLastTag && (mLastTag != 0 || !mScan.transferSyntax.empty() || header.tag >> 16 <= 8);
        mLastTag = header.tag;
        mScan.last = {header.tag, mAt, mAt + header.size, isUndefined ? 0 : header.length, isUndefined};
        note(header);
    }
    return isUndefined ? descend(header, form) : skip(header, false);
}

bool Scanner::descend(const Header& header, const Form& form) {
    const bool isPixels = header.tag == kPixelDataTag;
    if (!isPixels && !header.isSequence) {
        return endDamaged();
    }
    // A sequence of unknown representation is implicit inside (PS3.5 6.2.2, note 2).
    const Form inner = header.isUnknownVr ? Form{false, false} : form;
    mScopes.push_back({isPixels ? Scope::Kind::fragments : Scope::Kind::sequence, inner});
    mAt += header.size;
    if (mScopes.size() == 1) {
        mScan.fragmentsEnd = mAt;
        mIsFirstFragment = true;
    }
    return true;
}

bool Scanner::stepItem(const Scope& scope) {
    Header header;
    const bool isFragment = scope.kind == Scope::Kind::fragments;
    if (!readHeader({false, scope.form.isBigEndian}, header)) {
        return false;
    }
    if (header.tag == kSequenceEnd) {
        mScopes.pop_back();
        mAt += kHeader;
        return true;
    }
    if (header.tag != kItem || (isFragment && header.length == kUndefined)) {
        return endDamaged();
    }
    if (header.length != kUndefined) {
        return skip(header, isFragment && mScopes.size() == 1);
    }
    mScopes.push_back({Scope::Kind::item, scope.form});
    mAt += kHeader;
    return true;
}

bool Scanner::skip(const Header& header, bool isFragment) {
    const std::uint64_t end = mAt + header.size + header.length; // no overflow: offsets of files have 63 bits
    if (end > mBytes.size()) {
        return endCut(end, false);
    }
    mAt = end;
    if (isFragment) {
        mScan.fragmentsEnd = end;
        mScan.fragments += mIsFirstFragment ? 0 : 1; // the first is the offset table
        mIsFirstFragment = false;
    }
    return true;
}

void Scanner::note(const Header& header) {
    ScannedFacts& facts = mScan.facts;
    const std::uint64_t value = mAt + header.size;
    const auto number = [&] {
        const std::uint8_t* bytes = header.length >= 2 ? mBytes.at(value, 2) : nullptr;
        return bytes == nullptr ? 0 : mForm.number16(bytes);
    };
    switch (header.tag) {
    case 0x00080016: facts.sopClass = textOf(value, header.length); break;
    case 0x00280002: facts.samples = number(); break;
    case 0x00280006: facts.planarConfiguration = number(); break;
    case 0x00280008:
        facts.framesElement = mScan.last;
        facts.frames = static_cast<std::uint32_t>(
            std::clamp(std::strtol(textOf(value, header.length).c_str(), nullptr, 10), 0L, 0x7FFFFFFFL));
        break;
    case 0x00280010: facts.rows = number(); break;
    case 0x00280011: facts.columns = number(); break;
    case 0x00280100: facts.bitsAllocated = number(); break;
    case 0x7FE00008: // FloatPixelData
    case 0x7FE00009: // DoubleFloatPixelData
    case kPixelDataTag: facts.hasPixels = true; break;
    default: break;
    }
}

} // namespace

bool DatasetScan::isCutInPixels() const { return end == End::cut && !isInMeta && last.tag == kPixelDataTag; }

DatasetScan scanDataset(const std::string& path) { return Scanner(path).scan(); }

} // namespace radvex::media
