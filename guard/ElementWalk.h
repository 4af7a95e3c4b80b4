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
#include "guard/ParseGuard.h"

#include "dcmtk/dcmdata/dcxfer.h"

namespace radvex {

/// Walks through the element headers of meta information and dataset as DCMTK's parser does, but without its recursion,
/// and counts what that parser does not bound. Values are skipped, except for those that steer the parser. The walk
/// assumes the defaults of DCMTK's global settings.
class ElementWalk {
  public:
    ElementWalk(ByteSource& source, const ParseLimits& limits) : mSource(source), mHeaders(source), mLimits(limits) {}

    /// @return false when DCMTK would not read a dataset after it, or when a bound is exceeded
    bool walkMetaInformation(Encoding encoding);
    /// Walks until DCMTK would end, with success or an error, or until a bound is exceeded.
    void walkDataset(Encoding encoding);

    /// The bound that was exceeded, as a part of a sentence.
    const std::optional<std::string>& refusal() const { return mRefusal; }
    /// The transfer syntaxes that the meta information states. Broken meta information has several, and DCMTK's choice
    /// depends on their order.
    const std::vector<E_TransferSyntax>& syntaxes() const { return mSyntaxes; }
    /// One of them is HTJ2K.
    bool statesHtj2k() const { return mStatesHtj2k; }

  private:
    enum class Kind { MetaInformation, Dataset, Item, DirectoryRecord, Sequence, PixelSequence };
    enum class Step { GoesOn, EndsScope, IsRefusedByDcmtk, IsLast };

    /// A number that steers the parser. Only the first element of its tag counts; 0 if that holds no number.
    struct SteeringNumber {
        bool isSeen = false;
        std::uint32_t value = 0;
    };

    /// A dataset, item or sequence whose end has not been reached.
    struct Scope {
        Scope(Kind kindOf, Encoding encodingOf, TagNumber tagOf, std::uint64_t startOf, std::uint32_t lengthOf)
            : kind(kindOf), encoding(encodingOf), tag(tagOf), start(startOf), length(lengthOf) {}

        Kind kind;
        Encoding encoding;
        TagNumber tag;        ///< of the sequence
        std::uint64_t start;  ///< offset of the content
        std::uint32_t length; ///< of the content, or kUndefinedLength
        ElementOrder order{};
        PrivateCreators creators{};
        std::uint64_t creatorsKept = 0; ///< upper bound for the length of DCMTK's list of them
        SteeringNumber lowerRecord{};
        SteeringNumber nextRecord{};
        SteeringNumber waveformBits{}; ///< 1 for any number of bits

        bool isSequence() const { return kind == Kind::Sequence || kind == Kind::PixelSequence; }
    };

    /// Reads on until only `depth` scopes are open. @return false when DCMTK's parser would end before
    bool run(std::size_t depth);
    bool hasMore(const Scope& scope);
    void open(Kind kind, Encoding encoding, TagNumber tag, std::uint32_t length);
    void close();
    Step refuse(const std::string& reason);
    /// Counts an element, an item or a fragment, each of which becomes an object. @return false beyond the limit
    bool countObject();

    Step readElement(Scope& item);
    Step readItem(Scope& sequence);
    Step openSequence(Scope& item, const ElementHeader& header, ElementContent content);
    Step readValue(Scope& item, const ElementHeader& header, bool isLast);
    bool isLargerThanItem(const Scope& item, const ElementHeader& header) const;
    ElementContent contentIn(const Scope& item, const ElementHeader& header, const char* creator);
    const char* creatorOf(const Scope& item, TagNumber tag);
    bool countElement(Scope& item, TagNumber tag);
    void noteSteering(Scope& item, const ElementHeader& header, bool isLast);
    void noteNumber(SteeringNumber& number, Encoding encoding, const ElementHeader& header);
    bool readFirstOfMeta();

    ByteSource& mSource;
    HeaderReader mHeaders;
    const ParseLimits& mLimits;
    std::vector<Scope> mScopes{}; ///< outermost first
    std::size_t mOpenSequences = 0;
    std::uint64_t mComparisons = 0;
    std::uint64_t mObjects = 0;
    bool mIsInMeta = false;
    SteeringNumber mGroupLength{};
    bool mHasGroupLength = false;
    std::vector<E_TransferSyntax> mSyntaxes{};
    bool mStatesHtj2k = false;
    DirectoryLevels mDirectory{};
    SteeringNumber mFirstRecord{};
    std::optional<std::string> mRefusal{};
};

} // namespace radvex
