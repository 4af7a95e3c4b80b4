#include "deidentify/pixels/OverlayBits.h"

#include <cstring>
#include <span>
#include <stdexcept>

#include "dcmtk/dcmdata/dcdeftag.h"
#include "deidentify/pixels/OverlayPlanes.h"
#include "deidentify/pixels/PixelCoding.h"
#include "deidentify/pixels/PixelLayout.h"

namespace radvex::deidentify {

namespace {

/// The bit of each pixel word that a group claims; 64 and more when it claims none.
unsigned claimedBit(DcmItem& dataset, Uint16 group) {
    constexpr Uint16 kBitsAllocated = 0x0100;
    constexpr Uint16 kBitPosition = 0x0102;
    constexpr unsigned kNone = 64;
    Uint16 allocated = 1;
    Uint16 position = 0;
    (void)dataset.findAndGetUint16(DcmTagKey(group, kBitsAllocated), allocated, 0, OFFalse);
    (void)dataset.findAndGetUint16(DcmTagKey(group, kBitPosition), position, 0, OFFalse);
    // A plane without data of its own can be nowhere else, also where it forgets to say how long the words are.
    const bool isClaim = allocated > 1 || position > 0;
    return isClaim ? position : kNone; // also beside a plane of its own: nothing says what the bit holds
}

template <typename Word>
void clearIn(std::span<Uint8> bytes, std::uint64_t mask) {
    const Word kept = static_cast<Word>(~mask);
    for (std::size_t at = 0; at + sizeof(Word) <= bytes.size(); at += sizeof(Word)) {
        Word word = 0;
        std::memcpy(&word, bytes.data() + at, sizeof word);
        word = static_cast<Word>(word & kept);
        std::memcpy(bytes.data() + at, &word, sizeof word);
    }
}

void clearWords(std::span<Uint8> bytes, unsigned bits, std::uint64_t mask) {
    switch (bits) {
    case 8: clearIn<std::uint8_t>(bytes, mask); break;
    case 16: clearIn<std::uint16_t>(bytes, mask); break;
    default: clearIn<std::uint32_t>(bytes, mask); break;
    }
}

std::uint64_t bitsOf(unsigned count) { return count >= 64 ? ~std::uint64_t{0} : (std::uint64_t{1} << count) - 1; }

} // namespace

std::uint64_t claimedOverlayBits(DcmItem& dataset, std::uint64_t* shared) {
    std::uint64_t claimed = 0;
    for (const Uint16 group : overlayGroups(dataset)) {
        const unsigned bit = claimedBit(dataset, group);
        claimed |= bit < 64 ? std::uint64_t{1} << bit : 0;
    }
    if (shared != nullptr) {
        *shared = 0;
    }
    if (claimed == 0) {
        return 0;
    }
    const PixelLayout layout = pixelLayoutOf(dataset);
    claimed &= bitsOf(layout.bitsAllocated);
    if (shared != nullptr) {
        *shared = claimed & layout.storedMask();
    }
    return claimed & ~layout.storedMask();
}

OverlayBits clearOverlayBits(DcmDataset& dataset) {
    OverlayBits result;
    DcmElement* pixels = nullptr;
    if (dataset.findAndGetElement(DCM_PixelData, pixels, OFFalse, OFFalse).bad() || pixels == nullptr) {
        return result;
    }
    try {
        std::uint64_t shared = 0;
        const std::uint64_t mask = claimedOverlayBits(dataset, &shared);
        if (shared != 0) {
            result.problem = "an overlay plane is said to lie inside the stored values";
        }
        if (mask != 0 && isCompressed(dataset)) {
            result.problem = "an overlay plane lies in compressed pixels, where it cannot be told what is left of it";
        } else if (mask != 0) {
            clearWords(rawBytes(*pixels), pixelLayoutOf(dataset).bitsAllocated, mask);
            result.cleared = mask;
        }
    } catch (const std::runtime_error& error) {
        result.problem =
            std::string("an overlay plane lies in pixels that cannot be searched, because ") + error.what();
    }
    return result;
}

} // namespace radvex::deidentify
