#include "guard/ElementWalk.h"

#include <algorithm>
#include <array>

namespace radvex {

namespace {

/// With less after the preamble DCMTK gives up.
constexpr std::size_t kShortestMeta = 12;

constexpr TagNumber kMetaLengthTag = 0x00020000;
constexpr TagNumber kTransferSyntaxTag = 0x00020010;
constexpr TagNumber kFirstRecordTag = 0x00041200;
constexpr TagNumber kDirectoryRecordsTag = 0x00041220;
constexpr TagNumber kNextRecordTag = 0x00041400;
constexpr TagNumber kLowerRecordTag = 0x00041420;
constexpr TagNumber kWaveformBitsTag = 0x54001004;

/// Sorts out almost all elements at once.
bool maySteer(TagNumber tag) {
    const TagNumber group = tag >> 16;
    return isPrivateCreator(tag) || group == 0x0002 || group == 0x0004 || group == 0x5400;
}

/// Whether DCMTK takes a number of 32 bits from a value. It makes an odd length even, with a zero behind.
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
    openUp(Kind::MetaInformation, encoding, 0, kUndefinedLength);
    const bool goesOn = (!hasMore(mOpen.front()) || readFirstOfMeta()) && run(0);
    mIsInMeta = false;
    return goesOn;
}

/// DCMTK takes many an error in the first element for a missing group length and reads on from wherever it stopped.
bool ElementWalk::readFirstOfMeta() {
    const std::uint64_t start = mOpen.front().start;
    const Step step = readElement(mOpen.front());
    if (mOpen.size() > 1 && !run(1) && !mRefusal) {
        refuse("meta information that begins with a broken sequence");
    }
    if (mRefusal || step == Step::IsLast) {
        return false;
    }
    if (mHasGroupLength) {
        mOpen.front().length = mGroupLength.value + static_cast<std::uint32_t>(mSource.position() - start);
    }
    return true;
}

void ElementWalk::walkDataset(Encoding encoding) {
    openUp(Kind::Dataset, encoding, 0, kUndefinedLength);
    run(0);
    while (!mOpen.empty()) { // a last record without an end is a record
        close();
    }
    if (!mRefusal && mDirectory.exceed(mLimits.directoryLevels, mFirstRecord.value)) {
        refuse("directory records nested over " + std::to_string(mLimits.directoryLevels) + " levels");
    }
}

/// Reads on until only `depth` items and sequences are open. @return false when DCMTK's parser ends before
bool ElementWalk::run(std::size_t depth) {
    while (mOpen.size() > depth) {
        Open& open = mOpen.back();
        if (!hasMore(open)) {
            close();
            continue;
        }
        const Step step = open.isSequence() ? readItem(open) : readElement(open);
        if (step == Step::EndsItem) {
            close();
        } else if (step != Step::GoesOn) {
            return false;
        }
    }
    return true;
}

bool ElementWalk::hasMore(const Open& open) {
    if (open.kind == Kind::MetaInformation && open.length == kUndefinedLength) {
        const auto group = mSource.peek(2);
        return group.size() == 2 && ((group[0] == 2 && group[1] == 0) || (group[0] == 0 && group[1] == 2));
    }
    // DCMTK counts in 32 bits, and an undefined length is a number to it.
    return static_cast<std::uint32_t>(mSource.position() - open.start) < open.length;
}

void ElementWalk::openUp(Kind kind, Encoding encoding, TagNumber tag, std::uint32_t length) {
    mOpen.emplace_back(kind, encoding, tag, mSource.position(), length);
    mSequences += mOpen.back().isSequence() ? 1U : 0U;
}

void ElementWalk::close() {
    const Open& open = mOpen.back();
    mSequences -= open.isSequence() ? 1U : 0U;
    // Only the records of the dataset's own sequence become a tree. An offset is that of the item's header.
    if (open.kind == Kind::DirectoryRecord && mOpen.size() == 3 && !mIsInMeta) {
        mDirectory.add(static_cast<std::uint32_t>(open.start) - 8, open.lowerRecord.value, open.nextRecord.value);
    }
    mOpen.pop_back();
}

ElementWalk::Step ElementWalk::refuse(const std::string& reason) {
    mRefusal = reason;
    return Step::IsLast;
}

ElementWalk::Step ElementWalk::readItem(Open& sequence) {
    ElementHeader header;
    if (!mHeaders.readItem(sequence.encoding, header)) {
        return Step::IsLast;
    }
    if (header.tag == kSequenceDelimiterTag) {
        return Step::EndsItem;
    }
    if (header.tag != kItemTag) {
        return Step::IsLast;
    }
    if (sequence.kind == Kind::PixelSequence) {
        return mSource.skip(header.length) ? Step::GoesOn : Step::IsLast;
    }
    const Kind kind = sequence.tag == kDirectoryRecordsTag ? Kind::DirectoryRecord : Kind::Item;
    openUp(kind, sequence.encoding, 0, header.length);
    return Step::GoesOn;
}

ElementWalk::Step ElementWalk::readElement(Open& item) {
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
        mHeaders.lookUpPrivate(header, creator);
    }
    const ElementContent content = contentIn(item, header, creator);
    switch (content) {
    case ElementContent::ItemEnd: return Step::EndsItem;
    case ElementContent::Refused: return Step::IsRefusedByDcmtk;
    case ElementContent::Misplaced: return Step::IsLast;
    default: break;
    }
    const bool isLast = item.order.isLargest(header.tag);
    if (!countElement(item, header.tag)) {
        return Step::IsLast;
    }
    return content == ElementContent::Value ? readValue(item, header, isLast) : openSequence(item, header, content);
}

ElementWalk::Step ElementWalk::openSequence(Open& item, const ElementHeader& header, ElementContent content) {
    if (mSequences == mLimits.levels) {
        return refuse("sequences nested over " + std::to_string(mLimits.levels) + " levels");
    }
    if (isPrivateCreator(header.tag)) {
        item.creators.add(header.tag, std::nullopt, true);
    }
    // What is in a sequence of unknown representation is written as if by the default transfer syntax.
    const Encoding encoding =
        header.vr == EVR_SQ || content == ElementContent::PixelSequence ? item.encoding : Encoding{};
    openUp(content == ElementContent::Sequence ? Kind::Sequence : Kind::PixelSequence, encoding, header.tag,
           header.length);
    return Step::GoesOn;
}

ElementWalk::Step ElementWalk::readValue(Open& item, const ElementHeader& header, bool isLast) {
    const std::uint64_t end = mSource.position() + header.length;
    if (maySteer(header.tag)) {
        noteSteering(item, header, isLast);
    }
    return mSource.skip(end - mSource.position()) ? Step::GoesOn : Step::IsLast;
}

/// DCMTK refuses such an element in items of defined length; directory records are no items to it.
bool ElementWalk::isLargerThanItem(const Open& item, const ElementHeader& header) const {
    if (item.kind != Kind::Item || item.length == kUndefinedLength) {
        return false;
    }
    const std::uint64_t read = mSource.position() - item.start;
    return read <= item.length && header.length > item.length - read;
}

ElementContent ElementWalk::contentIn(const Open& item, const ElementHeader& header, const char* creator) {
    if (header.length != kUndefinedLength) {
        return isLargerThanItem(item, header) ? ElementContent::Refused : contentOf(header);
    }
    ElementSurroundings surroundings;
    surroundings.isPrivatePixelData = isPrivate(header.tag) && mHeaders.isPrivatePixelData(header.tag, creator);
    surroundings.isCheckedForVr = !item.encoding.isExplicit && item.kind != Kind::MetaInformation;
    surroundings.hasWaveformBits = item.waveformBits.value != 0;
    return contentOfUndefined(header, surroundings);
}

const char* ElementWalk::creatorOf(const Open& item, TagNumber tag) {
    mComparisons += item.creatorsKept;
    if (mComparisons > mLimits.comparisons) {
        refuse("too many private creators");
    }
    return item.creators.of(tag);
}

bool ElementWalk::countElement(Open& item, TagNumber tag) {
    mComparisons += item.order.add(tag);
    const TagNumber largest = item.order.largest();
    item.creatorsKept += isPrivateCreator(tag) || (tag < largest && isPrivateCreator(largest)) ? 1U : 0U;
    return (item.order.outOfOrder() <= mLimits.outOfOrder && mComparisons <= mLimits.comparisons) || refuseOrder(item);
}

bool ElementWalk::refuseOrder(const Open& item) {
    if (item.order.outOfOrder() > mLimits.outOfOrder) {
        refuse("over " + std::to_string(mLimits.outOfOrder) + " elements of one item out of order");
    } else {
        refuse("too many elements out of order");
    }
    return false;
}

/// Takes note of values that decide how DCMTK goes on. Moves over some of them, in part or as a whole.
void ElementWalk::noteSteering(Open& item, const ElementHeader& header, bool isLast) {
    const TagNumber tag = header.tag;
    if (isPrivateCreator(tag)) {
        item.creators.add(tag, readText(mSource, header), isLast);
    } else if (tag == kWaveformBitsTag && !item.waveformBits.isSeen) {
        item.waveformBits = {true, header.length > 0 ? 1U : 0U}; // one byte is made two
    } else if (mIsInMeta && tag == kTransferSyntaxTag) {
        const auto uid = header.vr == EVR_UI ? readText(mSource, header) : std::nullopt;
        // To DCMTK no value is none, and one of nothing but spaces is the UID of an unofficial syntax.
        mSyntaxes.push_back(uid ? DcmXfer(uid->c_str()).getXfer() : EXS_Unknown);
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

void ElementWalk::noteNumber(Number& number, Encoding encoding, const ElementHeader& header) {
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
