#include "guard/ElementWalk.h"

#include <algorithm>
#include <array>

#include "guard/TransferSyntaxes.h"

namespace radvex {

namespace {

/// DCMTK fails when fewer bytes follow the preamble.
constexpr std::size_t kShortestMeta = 12;

constexpr TagNumber kMetaLengthTag = 0x00020000;
constexpr TagNumber kTransferSyntaxTag = 0x00020010;
constexpr TagNumber kFirstRecordTag = 0x00041200;
constexpr TagNumber kDirectoryRecordsTag = 0x00041220;
constexpr TagNumber kNextRecordTag = 0x00041400;
constexpr TagNumber kLowerRecordTag = 0x00041420;
constexpr TagNumber kWaveformBitsTag = 0x54001004;

/// False for almost all elements: a quick check before the exact ones.
bool maySteer(TagNumber tag) {
    const TagNumber group = tag >> 16;
    return isPrivateCreator(tag) || group == 0x0002 || group == 0x0004 || group == 0x5400;
}

/// True when DCMTK reads a number of 32 bits from the value. It pads an odd length with a zero byte.
bool holdsNumber(const ElementHeader& header) {
    constexpr std::uint32_t kShortest = 3;
    return (header.vr == EVR_UL || header.vr == EVR_up || header.vr == EVR_OL) && header.length >= kShortest;
}

} // namespace

bool ElementWalk::walkMetaInformation(Encoding encoding) {
    if (mSource.peek(kShortestMeta).size() < kShortestMeta) {
        return false;
    }
    mIsInMeta = true;
    open(Kind::MetaInformation, encoding, 0, kUndefinedLength);
    const bool goesOn = (!hasMore(mScopes.front()) || readFirstOfMeta()) && run(0);
    mIsInMeta = false;
    return goesOn;
}

/// DCMTK takes most errors in the first element for a missing group length, and reads on from where it stopped.
bool ElementWalk::readFirstOfMeta() {
    const std::uint64_t start = mScopes.front().start;
    const Step step = readElement(mScopes.front());
    if (mScopes.size() > 1 && !run(1) && !mRefusal) {
        refuse("meta information that begins with a broken sequence");
    }
    if (mRefusal || step == Step::IsLast) {
        return false;
    }
    if (mHasGroupLength) {
        mScopes.front().length = mGroupLength.value + static_cast<std::uint32_t>(mSource.offset() - start);
    }
    return true;
}

void ElementWalk::walkDataset(Encoding encoding) {
    open(Kind::Dataset, encoding, 0, kUndefinedLength);
    run(0);
    while (!mScopes.empty()) { // a record that the file cuts off still counts
        close();
    }
    if (!mRefusal && mDirectory.exceed(mLimits.directoryLevels, mFirstRecord.value)) {
        refuse("directory records nested over " + std::to_string(mLimits.directoryLevels) + " levels");
    }
}

bool ElementWalk::run(std::size_t depth) {
    while (mScopes.size() > depth) {
        Scope& scope = mScopes.back();
        if (!hasMore(scope)) {
            close();
            continue;
        }
        const Step step = scope.isSequence() ? readItem(scope) : readElement(scope);
        if (step == Step::EndsScope) {
            close();
        } else if (step != Step::GoesOn) {
            return false;
        }
    }
    return true;
}

bool ElementWalk::hasMore(const Scope& scope) {
    if (scope.kind == Kind::MetaInformation && scope.length == kUndefinedLength) {
        const auto group = mSource.peek(2);
        return group.size() == 2 && ((group[0] == 2 && group[1] == 0) || (group[0] == 0 && group[1] == 2));
    }
    // DCMTK counts in 32 bits, and compares with an undefined length as with any other.
    return static_cast<std::uint32_t>(mSource.offset() - scope.start) < scope.length;
}

void ElementWalk::open(Kind kind, Encoding encoding, TagNumber tag, std::uint32_t length) {
    mScopes.emplace_back(kind, encoding, tag, mSource.offset(), length);
    mOpenSequences += mScopes.back().isSequence() ? 1U : 0U;
}

void ElementWalk::close() {
    const Scope& scope = mScopes.back();
    mOpenSequences -= scope.isSequence() ? 1U : 0U;
    // Only the records of the dataset's own sequence become a tree. Their offsets are those of the item headers.
    if (scope.kind == Kind::DirectoryRecord && mScopes.size() == 3 && !mIsInMeta) {
        mDirectory.add(static_cast<std::uint32_t>(scope.start) - 8, scope.lowerRecord.value, scope.nextRecord.value);
    }
    mScopes.pop_back();
}

ElementWalk::Step ElementWalk::refuse(const std::string& reason) {
    mRefusal = reason;
    return Step::IsLast;
}

ElementWalk::Step ElementWalk::readItem(Scope& sequence) {
    ElementHeader header;
    if (!mHeaders.readItem(sequence.encoding, header)) {
        return Step::IsLast;
    }
    if (header.tag == kSequenceDelimiterTag) {
        return Step::EndsScope;
    }
    if (header.tag != kItemTag || !countObject()) {
        return Step::IsLast;
    }
    if (sequence.kind == Kind::PixelSequence) {
        return mSource.skip(header.length) ? Step::GoesOn : Step::IsLast;
    }
    const Kind kind = sequence.tag == kDirectoryRecordsTag ? Kind::DirectoryRecord : Kind::Item;
    open(kind, sequence.encoding, 0, header.length);
    return Step::GoesOn;
}

ElementWalk::Step ElementWalk::readElement(Scope& item) {
    ElementHeader header;
    if (!mHeaders.readElement(item.encoding, header)) {
        return Step::IsLast;
    }
    const char* creator = nullptr;
    if (isPrivate(header.tag) && elementNumber(header.tag) >= 0x1000) {
        creator = creatorOf(item, header.tag);
        if (mRefusal) {
            return Step::IsLast;
        }
    }
    if (creator != nullptr && !item.encoding.isExplicit) {
        header.vr = mHeaders.privateVr(header.tag, creator, header.vr);
    }
    const ElementContent content = contentIn(item, header, creator);
    switch (content) {
    case ElementContent::ItemEnd: return Step::EndsScope;
    case ElementContent::Refused: return Step::IsRefusedByDcmtk;
    case ElementContent::Misplaced: return Step::IsLast;
    default: break;
    }
    const bool isLast = item.order.isLargest(header.tag);
    if (!countObject() || !countElement(item, header.tag)) {
        return Step::IsLast;
    }
    return content == ElementContent::Value ? readValue(item, header, isLast) : openSequence(item, header, content);
}

ElementWalk::Step ElementWalk::openSequence(Scope& item, const ElementHeader& header, ElementContent content) {
    if (mOpenSequences == mLimits.levels) {
        return refuse("sequences nested over " + std::to_string(mLimits.levels) + " levels");
    }
    if (isPrivateCreator(header.tag)) {
        item.creators.add(header.tag, std::nullopt, true);
    }
    // The content of a sequence of unknown representation is encoded as in the default transfer syntax.
    const Encoding encoding =
        header.vr == EVR_SQ || content == ElementContent::PixelSequence ? item.encoding : Encoding{};
    open(content == ElementContent::Sequence ? Kind::Sequence : Kind::PixelSequence, encoding, header.tag,
         header.length);
    return Step::GoesOn;
}

ElementWalk::Step ElementWalk::readValue(Scope& item, const ElementHeader& header, bool isLast) {
    const std::uint64_t end = mSource.offset() + header.length;
    if (maySteer(header.tag)) {
        noteSteering(item, header, isLast);
    }
    return mSource.skip(end - mSource.offset()) ? Step::GoesOn : Step::IsLast;
}

/// DCMTK refuses such an element, but only in an item of defined length that is not a directory record.
bool ElementWalk::isLargerThanItem(const Scope& item, const ElementHeader& header) const {
    if (item.kind != Kind::Item || item.length == kUndefinedLength) {
        return false;
    }
    const std::uint64_t read = mSource.offset() - item.start;
    return read <= item.length && header.length > item.length - read;
}

ElementContent ElementWalk::contentIn(const Scope& item, const ElementHeader& header, const char* creator) {
    if (header.length != kUndefinedLength) {
        return isLargerThanItem(item, header) ? ElementContent::Refused : contentOf(header);
    }
    ElementContext context;
    context.isPrivatePixelData =
        isPrivate(header.tag) && mHeaders.privateVr(header.tag, creator, EVR_UNKNOWN) == EVR_px;
    context.isCheckedForVr = !item.encoding.isExplicit && item.kind != Kind::MetaInformation;
    context.hasWaveformBits = item.waveformBits.value != 0;
    return contentOfUndefined(header, context);
}

const char* ElementWalk::creatorOf(const Scope& item, TagNumber tag) {
    mComparisons += item.creatorsKept;
    if (mComparisons > mLimits.comparisons) {
        refuse("too many private creators");
    }
    return item.creators.of(tag);
}

bool ElementWalk::countObject() {
    if (++mObjects > mLimits.objects) {
        refuse("over " + std::to_string(mLimits.objects) + " elements");
    }
    return !mRefusal;
}

bool ElementWalk::countElement(Scope& item, TagNumber tag) {
    mComparisons += item.order.add(tag);
    const TagNumber largest = item.order.largest();
    item.creatorsKept += isPrivateCreator(tag) || (tag < largest && isPrivateCreator(largest)) ? 1U : 0U;
    if (item.order.outOfOrder() > mLimits.outOfOrder) {
        refuse("over " + std::to_string(mLimits.outOfOrder) + " elements of one item out of order");
    } else if (mComparisons > mLimits.comparisons) {
        refuse("too many elements out of order");
    }
    return !mRefusal;
}

/// Notes a value that decides how DCMTK reads on. Consumes a part of the value, or all of it.
void ElementWalk::noteSteering(Scope& item, const ElementHeader& header, bool isLast) {
    const TagNumber tag = header.tag;
    if (isPrivateCreator(tag)) {
        item.creators.add(tag, readText(mSource, header), isLast);
    } else if (tag == kWaveformBitsTag && !item.waveformBits.isSeen) {
        item.waveformBits = {true, header.length > 0 ? 1U : 0U}; // DCMTK pads one byte to two
    } else if (mIsInMeta && tag == kTransferSyntaxTag) {
        const auto uid = header.vr == EVR_UI ? readText(mSource, header) : std::nullopt;
        // To DCMTK an empty value is an unknown syntax, and one of spaces the UID of a private syntax.
        const E_TransferSyntax known = uid ? DcmXfer(uid->c_str()).getXfer() : EXS_Unknown;
        mSyntaxes.push_back(known);
        if (uid && isHtj2k(*uid)) { // unknown to DCMTK, unless GuardedLoad tells it better
            mSyntaxes.push_back(transferSyntaxOf(*uid));
            mStatesHtj2k = true;
        }
    } else if (item.kind == Kind::MetaInformation && tag == kMetaLengthTag) {
        noteNumber(mGroupLength, item.encoding, header);
        mHasGroupLength = holdsNumber(header);
    } else if (item.kind == Kind::Dataset && tag == kFirstRecordTag) {
        noteNumber(mFirstRecord, item.encoding, header);
    } else if (item.kind == Kind::DirectoryRecord && tag == kLowerRecordTag) {
        noteNumber(item.lowerRecord, item.encoding, header);
    } else if (item.kind == Kind::DirectoryRecord && tag == kNextRecordTag) {
        noteNumber(item.nextRecord, item.encoding, header);
    }
}

void ElementWalk::noteNumber(SteeringNumber& number, Encoding encoding, const ElementHeader& header) {
    std::array<std::uint8_t, 4> padded{};
    const std::size_t size = std::min<std::size_t>(header.length, padded.size());
    const auto bytes = mSource.peek(size);
    if (!number.isSeen && holdsNumber(header) && bytes.size() == size) {
        std::copy(bytes.begin(), bytes.end(), padded.begin());
        number.value = number32(padded.data(), encoding);
    }
    number.isSeen = true;
}

} // namespace radvex
