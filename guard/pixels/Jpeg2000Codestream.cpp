#include "guard/pixels/Jpeg2000Codestream.h"

#include <algorithm>
#include <cstring>

#include "guard/pixels/BigEndian.h"
#include "guard/pixels/Jp2File.h"

namespace radvex {

namespace {

using StreamBytes = std::span<const Uint8>;

// Markers (table A.2)
constexpr unsigned kStartOfCodestream = 0xFF4F;
constexpr unsigned kSize = 0xFF51;
constexpr unsigned kCodingDefault = 0xFF52;
constexpr unsigned kCodingOfComponent = 0xFF53;
constexpr unsigned kProgressionOrderChange = 0xFF5F;
constexpr unsigned kWithSegment[] = {kCodingDefault,
                                     kCodingOfComponent,
                                     kProgressionOrderChange,
                                     0xFF55,
                                     0xFF57,
                                     0xFF58, // lengths of tile parts and packets
                                     0xFF5C,
                                     0xFF5D,
                                     0xFF5E, // quantization, region of interest
                                     0xFF60,
                                     0xFF61,
                                     0xFF63, // packet headers, registration of components
                                     0xFF64, // comments
                                     0xFF74,
                                     0xFF75,
                                     0xFF77,
                                     0xFF78}; // transformation of components, in 15444-2
constexpr unsigned kStartOfTilePart = 0xFF90;
constexpr unsigned kStartOfData = 0xFF93;
constexpr unsigned kEndOfCodestream = 0xFFD9;

constexpr const char* kDamaged = "its JPEG 2000 codestream is damaged";
constexpr const char* kCut = "its JPEG 2000 codestream ends too early";

constexpr unsigned kMaxLevels = 32;
constexpr unsigned kLargestPrecinct = 15; // log2, where a codestream names none
constexpr std::size_t kMaxComponents = 4;

std::uint32_t number(StreamBytes bytes, std::size_t offset, std::size_t size) {
    return static_cast<std::uint32_t>(bigEndian(bytes, offset, size));
}

std::uint64_t dividedUp(std::uint64_t value, std::uint64_t by) { return (value + by - 1) / by; }

/// Whether OpenJPEG goes on behind a segment, too. Behind a marker that it does not know it takes two bytes after the
/// other, until they are a marker that it knows, and not the length.
bool isSkippedAlike(unsigned marker, StreamBytes segment) {
    if (std::find(std::begin(kWithSegment), std::end(kWithSegment), marker) != std::end(kWithSegment)) {
        return true;
    }
    bool hasMarker = false;
    for (std::size_t at = 0; at + 2 <= segment.size(); at += 2) {
        hasMarker = hasMarker || segment[at] == 0xFF;
    }
    return !hasMarker && segment.size() % 2 == 0;
}

/// Of a marker in a header.
bool hasLength(unsigned marker) {
    constexpr unsigned kFirst = 0xFF01;
    const bool isBare = (marker >= 0xFF30 && marker <= 0xFF3F) || marker == kStartOfCodestream ||
                        marker == kStartOfTilePart || marker == kStartOfData || marker == kEndOfCodestream;
    return marker >= kFirst && !isBare;
}

} // namespace

Jpeg2000Codestream::Jpeg2000Codestream(std::span<const Uint8> frame) {
    const Jp2Content content = contentOfJp2(frame);
    mBytes = content.codestream;
    if (content.rearrangesComponents) {
        refuse("its JP2 file has channels of its own");
        return;
    }
    constexpr std::size_t kSizeSegment = 4; // its marker and length, behind the first marker
    if (mBytes.size() < 2 + kSizeSegment || number(mBytes, 0, 2) != kStartOfCodestream ||
        number(mBytes, 2, 2) != kSize) {
        refuse("it has no JPEG 2000 codestream");
        return;
    }
    const std::size_t length = number(mBytes, 4, 2);
    if (length < 2 || length > mBytes.size() - 4) {
        refuse(kCut);
        return;
    }
    readSize(mBytes.subspan(4, length));
    if (!mProblem.empty()) {
        return;
    }
    requirePlainComponents();
    const std::size_t firstTilePart = readMarkers(4 + length, std::nullopt);
    if (mCodings.layers == 0 || mCodings.ofComponents.empty()) {
        refuse(kDamaged);
    }
    readTileParts(firstTilePart);
    requireHarmlessData();
    countCosts();
}

int Jpeg2000Codestream::precision() const {
    int bits = 0;
    for (const Component& component : mComponents) {
        bits = std::max(bits, (component.kind & 0x7F) + 1);
    }
    return bits;
}

/// @param segment  from its length on (A.5.1)
void Jpeg2000Codestream::readSize(Bytes segment) {
    constexpr std::size_t kFixed = 38;
    constexpr std::size_t kOfComponent = 3;
    if (segment.size() < kFixed) {
        return refuse(kDamaged);
    }
    const std::size_t components = number(segment, 36, 2);
    mSize = {number(segment, 12, 4), number(segment, 16, 4), number(segment, 4, 4), number(segment, 8, 4)};
    const std::uint32_t tileWidth = number(segment, 20, 4);
    const std::uint32_t tileHeight = number(segment, 24, 4);
    const std::uint32_t tileLeft = number(segment, 28, 4);
    const std::uint32_t tileTop = number(segment, 32, 4);
    const auto isWithin = [](std::uint64_t first, std::uint64_t size, std::uint64_t start, std::uint64_t end) {
        return first <= start && first + size > start && first + size <= UINT32_MAX && start < end;
    };
    // Encoders of a single tile may make it larger than numbers go.
    const auto sizeUpTo = [](std::uint64_t first, std::uint64_t size) { return std::min(size, UINT32_MAX - first); };
    if (components > kMaxComponents) {
        mSize = {};
        return refuse("its JPEG 2000 codestream has more components than a picture");
    }
    if (components == 0 || segment.size() != kFixed + kOfComponent * components ||
        !isWithin(tileLeft, sizeUpTo(tileLeft, tileWidth), mSize.left, mSize.right) ||
        !isWithin(tileTop, sizeUpTo(tileTop, tileHeight), mSize.top, mSize.bottom)) {
        mSize = {};
        return refuse(kDamaged);
    }
    mFirstTile = {tileLeft, tileTop, static_cast<std::uint32_t>(tileLeft + sizeUpTo(tileLeft, tileWidth)),
                  static_cast<std::uint32_t>(tileTop + sizeUpTo(tileTop, tileHeight))};
    for (std::size_t index = 0; index < components; ++index) {
        const std::size_t at = kFixed + kOfComponent * index;
        mComponents.push_back({segment[at], segment[at + 1], segment[at + 2]});
    }
}

void Jpeg2000Codestream::requirePlainComponents() {
    constexpr int kMaxBits = 16;
    for (const Component& component : mComponents) {
        if (component.horizontalStep != 1 || component.verticalStep != 1 || component.kind != mComponents[0].kind) {
            refuse("its JPEG 2000 codestream has components of different kinds");
        }
    }
    if (precision() > kMaxBits) {
        refuse("its JPEG 2000 codestream has samples of over 16 bits");
    }
}

/// Reads marker segments of the main header up to the first tile part, or those of a tile part up to its data.
/// @return the offset of what ended them
std::size_t Jpeg2000Codestream::readMarkers(std::size_t offset, std::optional<std::size_t> tile) {
    while (mProblem.empty()) {
        const std::size_t left = mBytes.size() - offset;
        const unsigned marker = left < 2 ? 0 : number(mBytes, offset, 2);
        if (marker == (tile ? kStartOfData : kStartOfTilePart)) {
            break;
        }
        const std::size_t length = left < 4 ? 0 : number(mBytes, offset + 2, 2);
        if (length < 2 || length > left - 2) {
            refuse(kCut);
        } else if (!hasLength(marker)) {
            refuse(kDamaged);
        } else if (!isSkippedAlike(marker, mBytes.subspan(offset + 2, length))) {
            refuse("its JPEG 2000 codestream has an unknown segment");
        } else {
            const bool isOfInterest =
                marker == kCodingDefault || marker == kCodingOfComponent || marker == kProgressionOrderChange;
            if (isOfInterest) {
                readMarker(marker, mBytes.subspan(offset + 2, length),
                           tile ? mTileCodings.try_emplace(*tile, mCodings).first->second : mCodings);
            }
            offset += 2 + length;
        }
    }
    return offset;
}

/// @param segment  from its length on
void Jpeg2000Codestream::readMarker(unsigned marker, Bytes segment, Codings& codings) {
    if (marker == kCodingDefault) {
        readDefault(segment, codings);
    } else if (marker == kCodingOfComponent) {
        readOfComponent(segment, codings);
    } else {
        constexpr std::size_t kChange = 7; // bytes of each
        codings.isByPosition = true;       // it may be, and costs no ordinary picture anything
        codings.changes += segment.size() / kChange;
    }
}

/// A.6.1
void Jpeg2000Codestream::readDefault(Bytes segment, Codings& codings) {
    constexpr std::size_t kCommon = 7;
    constexpr unsigned kFirstByPosition = 2; // RPCL, PCRL and CPRL (table A.16)
    const auto coding =
        segment.size() < kCommon ? std::nullopt : codingOf(segment.subspan(kCommon), (segment[2] & 1U) != 0);
    if (!coding) {
        return refuse(kDamaged);
    }
    codings.isByPosition = codings.isByPosition || segment[3] >= kFirstByPosition;
    codings.layers = number(segment, 4, 2);
    constexpr unsigned kMarkers = 6; // SOP and EPH
    mIsDataInPieces = mIsDataInPieces || codings.layers > 1 || (segment[2] & kMarkers) != 0;
    codings.ofComponents.assign(mComponents.size(), *coding);
}

/// A.6.2
void Jpeg2000Codestream::readOfComponent(Bytes segment, Codings& codings) {
    constexpr std::size_t kCommon = 4;
    const auto coding =
        segment.size() < kCommon ? std::nullopt : codingOf(segment.subspan(kCommon), (segment[3] & 1U) != 0);
    if (!coding || segment[2] >= mComponents.size()) {
        return refuse(kDamaged);
    }
    codings.ofComponents.resize(mComponents.size());
    codings.ofComponents[segment[2]] = *coding;
}

/// @param parameters  from the number of decomposition levels on (table A.15)
std::optional<Jpeg2000Codestream::Coding> Jpeg2000Codestream::codingOf(Bytes parameters, bool hasPrecincts) {
    constexpr std::size_t kFixed = 5;
    constexpr unsigned kMaxBlockBits = 12;
    if (parameters.size() < kFixed) {
        return std::nullopt;
    }
    Coding coding;
    coding.levels = parameters[0];
    coding.blockBits = (parameters[1] & 0xFU) + (parameters[2] & 0xFU) + 4U;
    constexpr unsigned kHighThroughput = 0x40;
    mIsHighThroughput = mIsHighThroughput || (parameters[3] & kHighThroughput) != 0;
    if (coding.levels > kMaxLevels || coding.blockBits > kMaxBlockBits ||
        (hasPrecincts && parameters.size() < kFixed + coding.levels + 1)) {
        return std::nullopt;
    }
    for (std::size_t resolution = 0; resolution <= coding.levels; ++resolution) {
        const unsigned sizes = hasPrecincts ? parameters[kFixed + resolution] : 0xFFU;
        coding.precincts[resolution] = {sizes & kLargestPrecinct, sizes >> 4U};
    }
    return coding;
}

std::size_t Jpeg2000Codestream::tileColumns() const {
    const std::uint64_t width = mFirstTile.right - mFirstTile.left;
    return static_cast<std::size_t>(dividedUp(mSize.right - mFirstTile.left, width));
}

std::size_t Jpeg2000Codestream::tileRows() const {
    const std::uint64_t height = mFirstTile.bottom - mFirstTile.top;
    return static_cast<std::size_t>(dividedUp(mSize.bottom - mFirstTile.top, height));
}

void Jpeg2000Codestream::readTileParts(std::size_t offset) {
    if (!mProblem.empty()) {
        return;
    }
    constexpr std::size_t kMaxTiles = 65535;
    constexpr std::size_t kSmallestTilePart = 14;
    const double tiles = static_cast<double>(tileColumns()) * static_cast<double>(tileRows());
    if (tiles > static_cast<double>(kMaxTiles)) {
        return refuse(kDamaged);
    }
    if (tiles * kSmallestTilePart > static_cast<double>(mBytes.size())) {
        return refuse(kCut);
    }
    while (mProblem.empty() && offset + 2 <= mBytes.size() && number(mBytes, offset, 2) == kStartOfTilePart) {
        offset = readTilePart(offset);
    }
    const bool endsWithMark = offset + 2 <= mBytes.size() && number(mBytes, offset, 2) == kEndOfCodestream;
    requireAllParts(static_cast<std::size_t>(tiles), endsWithMark);
    // A fragment has an even length: a zero at its end may stand for a byte that is missing.
    if (!endsWithMark && offset == mBytes.size() && mBytes.back() == 0) {
        refuse(kCut);
    }
    mBytes = mBytes.first(offset); // what is behind the last tile part does not matter
}

/// @param endsWithMark  nothing is missing at the end
void Jpeg2000Codestream::requireAllParts(std::size_t tiles, bool endsWithMark) {
    std::size_t counted = 0;
    std::size_t ofOneMore = 0;
    for (const auto& [index, tile] : mTiles) {
        counted += tile.statedParts != 0 ? 1U : 0U;
        ofOneMore += tile.hasOneMore() ? 1U : 0U;
        if (tile.parts < tile.statedParts || (tile.statedParts == 0 && !endsWithMark)) {
            refuse(kCut);
        } else if (tile.statedParts != 0 && tile.parts > tile.statedParts && !tile.hasOneMore()) {
            refuse(kDamaged);
        }
    }
    if (mTiles.size() < tiles) {
        refuse(kCut);
    }
    if (ofOneMore != 0 && ofOneMore != counted) { // OpenJPEG looks at one tile, and corrects all or none
        refuse(kDamaged);
    }
}

/// @return the offset behind it (A.4.2)
std::size_t Jpeg2000Codestream::readTilePart(std::size_t offset) {
    constexpr std::size_t kHeader = 12;
    if (mBytes.size() - offset < kHeader) {
        refuse(kCut);
        return offset;
    }
    const std::size_t index = number(mBytes, offset + 4, 2);
    const std::size_t length = number(mBytes, offset + 6, 4);
    if (number(mBytes, offset + 2, 2) != kHeader - 2 || index >= tileColumns() * tileRows()) {
        refuse(kDamaged);
        return offset;
    }
    Tile& tile = mTiles[index];
    const unsigned part = mBytes[offset + 10];
    const unsigned statedParts = mBytes[offset + 11];
    // OpenJPEG stops when it has as many parts as it was told first.
    if (part != tile.parts || (statedParts != 0 && tile.statedParts != 0 && statedParts != tile.statedParts)) {
        refuse(kDamaged);
        return offset;
    }
    ++tile.parts;
    tile.statedParts = std::max(tile.statedParts, statedParts);
    const std::size_t data = readMarkers(offset + kHeader, index);
    if (!mProblem.empty()) {
        return offset;
    }
    if (length == 0) { // up to the end of the codestream, so without its mark nobody knows whether it is whole
        std::size_t end = mBytes.size();
        while (end > data && mBytes[end - 1] == 0) { // padding
            --end;
        }
        if (end < data + 4 || number(mBytes, end - 2, 2) != kEndOfCodestream) {
            refuse(kCut);
            return offset;
        }
        noteData(mBytes.subspan(data + 2, end - data - 4));
        return end - 2;
    }
    if (length > mBytes.size() - offset) {
        refuse(kCut);
        return offset;
    }
    if (offset + length < data + 2) {
        refuse(kDamaged);
        return offset;
    }
    noteData(mBytes.subspan(data + 2, offset + length - data - 2));
    return offset + length;
}

/// @param data  of a tile part
void Jpeg2000Codestream::noteData(Bytes data) {
    constexpr Uint8 kMarkerByte = 0xFF;
    constexpr Uint8 kHighestBehind = 0x8F;
    while (!data.empty() && !mHasMarkersInData) {
        const void* found = std::memchr(data.data(), kMarkerByte, data.size());
        if (found == nullptr) {
            return;
        }
        data = data.subspan(static_cast<std::size_t>(static_cast<const Uint8*>(found) - data.data()) + 1);
        mHasMarkersInData =
            data.empty() || data.front() > kHighestBehind; // another part may go on behind the last byte
    }
}

void Jpeg2000Codestream::requireHarmlessData() {
    if (mIsHighThroughput && mIsDataInPieces) {
        refuse("its HTJ2K codestream has layers or markers in its data");
    } else if (mIsHighThroughput && mHasMarkersInData) {
        refuse(kDamaged);
    }
}

} // namespace radvex
