#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <map>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "dcmtk/config/osconfig.h"

#include "dcmtk/ofstd/oftypes.h"

namespace radvex {

/// What the headers of one frame of JPEG 2000 say (ISO/IEC 15444-1, annexes A and B; the same in HTJ2K, 15444-15), from
/// marker to marker, without decoding anything.
class Jpeg2000Codestream {
  public:
    /// @param frame  all fragments of a frame, joined; they have to outlive this
    explicit Jpeg2000Codestream(std::span<const Uint8> frame);

    /// The codestream up to its last tile part: without its end mark, which may be missing, without padding, and
    /// without the boxes of a JP2 file around it, which PS3.5 8.2.4 does not allow and some writers leave there.
    std::span<const Uint8> bytes() const { return mBytes; }

    // 0 when there is no header
    std::uint32_t columns() const { return mSize.right - mSize.left; }
    std::uint32_t rows() const { return mSize.bottom - mSize.top; }
    std::size_t components() const { return mComponents.size(); }
    /// Bits of a sample, of the widest component.
    int precision() const;
    bool isSigned() const { return !mComponents.empty() && (mComponents.front().kind & 0x80U) != 0; }

    /// Why it must not be decoded, in a few words; empty when it may. Because
    ///  - its markers cannot be followed to the last tile, parts of tiles are missing, or OpenJPEG would miss them: it
    ///    would leave zeros, or a picture of less quality;
    ///  - OpenJPEG would find other segments in it than this does;
    ///  - it is of HTJ2K, and its data may hold pairs of bytes that do not occur there: Debian's OpenJPEG ends the
    ///    process when a code block begins with one. Where several layers or markers between the packets are, nobody
    ///    can tell without decoding;
    ///  - it has over four components, components of different sizes, kinds or precision, or of over 16 bits;
    ///  - it announces more packets than there are bytes, although each takes at least one: OpenJPEG counts through
    ///    them all;
    ///  - its tiles, precincts and code blocks cost much more memory than its samples, or finding the next packet much
    ///    more time.
    std::string problem() const { return mProblem; }

  private:
    using Bytes = std::span<const Uint8>;

    /// On the reference grid (B.2).
    struct Area {
        std::uint32_t left = 0;
        std::uint32_t top = 0;
        std::uint32_t right = 0;
        std::uint32_t bottom = 0;
    };
    struct Component {
        std::uint8_t kind = 0; ///< the sign in the highest bit, the precision less one in the others
        std::uint8_t horizontalStep = 0;
        std::uint8_t verticalStep = 0;
    };
    /// How a component of a tile is coded (A.6.1).
    struct Coding {
        unsigned levels = 0;
        unsigned blockBits = 0; ///< log2 of the samples of a code block
        /// log2 of width and height of the precincts of each resolution
        std::array<std::array<unsigned, 2>, 33> precincts{};
    };
    /// The coding of a tile, or of all tiles without one of their own. Of several markers the last one counts, as for
    /// OpenJPEG.
    struct Codings {
        std::uint32_t layers = 0;
        bool isByPosition = false; ///< some progression goes by the positions of precincts
        std::size_t changes = 0;   ///< of the progression
        std::vector<Coding> ofComponents{};
    };
    struct Tile {
        unsigned parts = 0;       ///< seen
        unsigned statedParts = 0; ///< 0: unknown

        /// Some encoders count from 0, which OpenJPEG corrects.
        bool hasOneMore() const { return statedParts != 0 && parts == statedParts + 1; }
    };

    void refuse(const char* problem) { mProblem = mProblem.empty() ? problem : mProblem; }
    void readSize(Bytes segment);
    void requirePlainComponents();
    std::size_t readMarkers(std::size_t offset, std::optional<std::size_t> tile);
    void readMarker(unsigned marker, Bytes segment, Codings& codings);
    void readDefault(Bytes segment, Codings& codings);
    void readOfComponent(Bytes segment, Codings& codings);
    std::optional<Coding> codingOf(Bytes parameters, bool hasPrecincts);
    void readTileParts(std::size_t offset);
    void requireEndWithoutMark(std::size_t offset);
    void requireAllParts(std::size_t tiles, bool endsWithMark);
    std::size_t readTilePart(std::size_t offset);
    void noteData(Bytes data);
    void requireHarmlessData();
    void countCosts();
    void countTile(std::size_t index);
    double countPrecincts(const Area& tile, const Coding& coding);

    std::size_t tileColumns() const;
    std::size_t tileRows() const;

    Bytes mBytes{};
    std::string mProblem{};
    Area mSize{};
    Area mFirstTile{};
    std::vector<Component> mComponents{};
    Codings mCodings{};
    std::map<std::size_t, Tile> mTiles{};
    std::map<std::size_t, Codings> mTileCodings{};
    bool mIsHighThroughput = false; ///< in some tile
    bool mIsDataInPieces = false;   ///< in some tile, by layers or markers
    bool mHasMarkersInData = false; ///< where there ought to be none
    double mPackets = 0;
    double mMemory = 0;
    double mSteps = 0;
};

} // namespace radvex
