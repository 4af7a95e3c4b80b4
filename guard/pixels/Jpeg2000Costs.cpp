// What decoding a codestream of JPEG 2000 would cost, from its headers.

#include <algorithm>
#include <climits>

#include "guard/pixels/ImagePixelAttributes.h"
#include "guard/pixels/Jpeg2000Codestream.h"

namespace radvex {

namespace {

/// With by as a power of 2.
std::uint64_t shiftedUp(std::uint64_t value, unsigned by) { return (value + (std::uint64_t{1} << by) - 1) >> by; }

/// Parts of a size of a power of 2 between two coordinates.
double partsBetween(std::uint64_t first, std::uint64_t end, unsigned size) {
    return end > first ? static_cast<double>(shiftedUp(end, size) - (first >> size)) : 0.0;
}

} // namespace

void Jpeg2000Codestream::countCosts() {
    constexpr double kTileBytes = 10240; // what OpenJPEG reserves for each tile, whatever is in it
    constexpr double kSampleBytes = 16;  // so much a sample of an ordinary picture takes at most, several times over
    constexpr double kMaxSteps = 1.0e9;
    if (!mProblem.empty()) {
        return;
    }
    const double samples =
        static_cast<double>(columns()) * static_cast<double>(rows()) * static_cast<double>(mComponents.size());
    const std::size_t tiles = tileColumns() * tileRows();
    mMemory = static_cast<double>(tiles) * kTileBytes;
    for (std::size_t index = 0; index < tiles && mProblem.empty(); ++index) {
        countTile(index);
    }
    if (mPackets > static_cast<double>(mBytes.size())) {
        refuse("its JPEG 2000 codestream announces more packets than it has bytes");
    }
    if (mMemory - kSampleBytes * samples > kMaxMissingBytes || mSteps > kMaxSteps) {
        refuse("its JPEG 2000 codestream has too many parts for its size");
    }
}

void Jpeg2000Codestream::countTile(std::size_t index) {
    const std::uint64_t tileWidth = mFirstTile.right - mFirstTile.left;
    const std::uint64_t tileHeight = mFirstTile.bottom - mFirstTile.top;
    const std::uint64_t left = mFirstTile.left + index % tileColumns() * tileWidth;
    const std::uint64_t top = mFirstTile.top + index / tileColumns() * tileHeight;
    const Area tile{static_cast<std::uint32_t>(std::max<std::uint64_t>(left, mSize.left)),
                    static_cast<std::uint32_t>(std::max<std::uint64_t>(top, mSize.top)),
                    static_cast<std::uint32_t>(std::min<std::uint64_t>(left + tileWidth, mSize.right)),
                    static_cast<std::uint32_t>(std::min<std::uint64_t>(top + tileHeight, mSize.bottom))};
    const auto own = mTileCodings.find(index);
    const Codings& codings = own == mTileCodings.end() ? mCodings : own->second;
    unsigned width = UINT_MAX; // of the narrowest precinct, in log2
    unsigned height = UINT_MAX;
    double resolutions = 0;
    for (const Coding& coding : codings.ofComponents) {
        mPackets += countPrecincts(tile, coding) * codings.layers;
        for (unsigned resolution = 0; resolution <= coding.levels; ++resolution) {
            const unsigned below = coding.levels - resolution;
            width = std::min(width, coding.precincts[resolution][0] + below);
            height = std::min(height, coding.precincts[resolution][1] + below);
        }
        resolutions += coding.levels + 1.0;
    }
    // Every place where some precinct may begin is looked at for every resolution, and again for each change.
    if (codings.isByPosition) {
        const double places = partsBetween(tile.left, tile.right, width) * partsBetween(tile.top, tile.bottom, height);
        mSteps += places * resolutions * std::max(1.0, static_cast<double>(codings.changes));
    }
}

/// Adds the memory for a component of a tile. @return its precincts (B.6)
double Jpeg2000Codestream::countPrecincts(const Area& tile, const Coding& coding) {
    constexpr double kPrecinctBytes = 600; // with the trees of its three bands
    constexpr double kBlockBytes = 512;
    double precincts = 0;
    for (unsigned resolution = 0; resolution <= coding.levels; ++resolution) {
        const unsigned below = coding.levels - resolution;
        const auto [width, height] = coding.precincts[resolution];
        precincts += partsBetween(shiftedUp(tile.left, below), shiftedUp(tile.right, below), width) *
                     partsBetween(shiftedUp(tile.top, below), shiftedUp(tile.bottom, below), height);
    }
    const double samples = static_cast<double>(tile.right - tile.left) * static_cast<double>(tile.bottom - tile.top);
    // Precincts may cut blocks.
    const double blocks = samples / static_cast<double>(std::uint64_t{1} << coding.blockBits) + 3.0 * precincts;
    mMemory += precincts * kPrecinctBytes + blocks * kBlockBytes;
    return precincts;
}

} // namespace radvex
