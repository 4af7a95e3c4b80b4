#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "guard/ByteSource.h"
#include "guard/DirectoryLevels.h"
#include "guard/ElementContent.h"
#include "guard/ElementHeader.h"
#include "guard/ElementOrder.h"
#include "guard/ParseLimits.h"

#include "dcmtk/dcmdata/dcxfer.h"

namespace radvex {

/// Goes through the element headers of meta information and dataset in the way that DCMTK's parser does, with a list
/// of what is open in place of its recursion, and counts what that parser has no bounds for. Values are passed over,
/// but for those that steer the parser. It follows DCMTK's global settings as they are by default.
class ElementWalk {
  public:
    ElementWalk(ByteSource& source, const ParseLimits& limits) : mSource(source), mHeaders(source), mLimits(limits) {}

    /// @return false when DCMTK reads no dataset after this, or a bound is exceeded
    bool walkMetaInformation(Encoding encoding);
    /// Walks until DCMTK ends, with success or an error, or a bound is exceeded.
    void walkDataset(Encoding encoding);

    /// The bound that was exceeded, as a sentence part.
    const std::optional<std::string>& refusal() const { return mRefusal; }
    /// What the meta information may state: broken ones hold more than one transfer syntax, and which DCMTK finds
    /// depends on their order.
    const std::vector<E_TransferSyntax>& syntaxes() const { return mSyntaxes; }

  private:
    enum class Kind { MetaInformation, Dataset, Item, DirectoryRecord, Sequence, PixelSequence };
    enum class Step { GoesOn, EndsItem, IsRefusedByDcmtk, IsLast };

    /// A number that steers the parser, 0 for none: the first element of its tag counts, whatever that holds.
    struct Number {
        bool isSeen = false;
        std::uint32_t value = 0;
    };

    struct Open {
        Open(Kind kindOf, Encoding encodingOf, TagNumber tagOf, std::uint64_t startOf, std::uint32_t lengthOf)
            : kind(kindOf), encoding(encodingOf), tag(tagOf), start(startOf), length(lengthOf) {}

        Kind kind;
        Encoding encoding;
        TagNumber tag;        ///< of a sequence
        std::uint64_t start;  ///< position of the content
        std::uint32_t length; ///< of the content, or kUndefinedLength
        ElementOrder order{};
        PrivateCreators creators{};
        std::uint64_t creatorsKept = 0; ///< how long DCMTK's list of them may be
        Number lowerRecord{};
        Number nextRecord{};
        Number waveformBits{}; ///< 1 when there are any

        bool isSequence() const { return kind == Kind::Sequence || kind == Kind::PixelSequence; }
    };

    bool run(std::size_t depth);
    bool hasMore(const Open& open);
    void openUp(Kind kind, Encoding encoding, TagNumber tag, std::uint32_t length);
    void close();
    Step refuse(const std::string& reason);

    Step readElement(Open& item);
    Step readItem(Open& sequence);
    Step openSequence(Open& item, const ElementHeader& header, ElementContent content);
    Step readValue(Open& item, const ElementHeader& header, bool isLast);
    bool isLargerThanItem(const Open& item, const ElementHeader& header) const;
    ElementContent contentIn(const Open& item, const ElementHeader& header, const char* creator);
    const char* creatorOf(const Open& item, TagNumber tag);
    bool countElement(Open& item, TagNumber tag);
    bool refuseOrder(const Open& item);
    void noteSteering(Open& item, const ElementHeader& header, bool isLast);
    void noteNumber(Number& number, Encoding encoding, const ElementHeader& header);
    bool readFirstOfMeta();

    ByteSource& mSource;
    HeaderReader mHeaders;
    const ParseLimits& mLimits;
    std::vector<Open> mOpen{};
    std::size_t mSequences = 0; ///< those that are open
    std::uint64_t mComparisons = 0;
    bool mIsInMeta = false;
    Number mGroupLength{};
    bool mHasGroupLength = false;
    std::vector<E_TransferSyntax> mSyntaxes{};
    DirectoryLevels mDirectory{};
    Number mFirstRecord{};
    std::optional<std::string> mRefusal{};
};

} // namespace radvex
