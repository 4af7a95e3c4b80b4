#include "dicom/pixels/StoredSamples.h"

#include <cstring>

#include "dcmtk/dcmdata/dcdeftag.h"
#include "dcmtk/dcmdata/dcelem.h"
#include "dcmtk/dcmdata/dcxfer.h"
#include "guard/pixels/ImagePixelAttributes.h"

namespace radvex {

namespace {

/// Small enough to stay in the processor's cache while it is looked through; a slice of 512 x 512 is one block.
constexpr std::size_t kBlockBytes = std::size_t{512} * 1024;

/// The block that was read last, and whose it is. A picture is looked through twice, mostly at once.
struct LastBlock {
    std::vector<std::byte> bytes{};
    std::uint64_t owner = 0; ///< none
    std::uint64_t first = 0;
    std::uint64_t count = 0;
};
LastBlock lastBlock; // NOLINT: calls come one after the other

std::uint64_t numberOfOwners = 0; // NOLINT

/// The whole value in the byte order of this machine; null when it cannot be loaded.
const void* loadedValue(DcmElement& element) {
    if (element.getVR() == EVR_OW) {
        Uint16* words = nullptr;
        return element.getUint16Array(words).good() ? words : nullptr;
    }
    Uint8* bytes = nullptr;
    return element.getUint8Array(bytes).good() ? bytes : nullptr;
}

} // namespace

StoredSamples::StoredSamples(DcmElement& element, std::size_t size)
    : mElement(&element), mSize(size), mCount(element.getLength() / size), mOwner(++numberOfOwners) {}

std::optional<StoredSamples> StoredSamples::of(DcmDataset& dataset, SampleSource source) {
    DcmElement* element = nullptr;
    if (DcmXfer(dataset.getCurrentXfer()).isEncapsulated() ||
        dataset.findAndGetElement(DCM_PixelData, element, OFFalse, OFFalse).bad() ||
        element->ident() != EVR_PixelData) {
        return std::nullopt;
    }
    const Uint16 bits = ImagePixelAttributes(dataset).numberOr(0, DCM_BitsAllocated);
    const DcmEVR representation = element->getVR();
    if (!(bits == 8 && (representation == EVR_OB || representation == EVR_OW)) &&
        !(bits == 16 && representation == EVR_OW)) {
        return std::nullopt;
    }
    // Words in the other byte order are swapped when they are read, in pairs: a byte could be the wrong one of its
    // pair.
    const bool isInOurOrder = DcmXfer(dataset.getOriginalXfer()).getByteOrder() == gLocalByteOrder;
    if (source == SampleSource::file && bits == 8 && !isInOurOrder && !element->valueLoaded()) {
        return std::nullopt;
    }
    StoredSamples samples(*element, bits / 8);
    if (source == SampleSource::memory || element->valueLoaded()) {
        samples.mLoaded = static_cast<const std::byte*>(loadedValue(*element));
        if (samples.mLoaded == nullptr) {
            return std::nullopt;
        }
    }
    return samples;
}

std::uint64_t StoredSamples::longestBlock() const { return mLoaded != nullptr ? mCount : kBlockBytes / mSize; }

const void* StoredSamples::read(std::uint64_t first, std::uint64_t count) {
    if (mLoaded != nullptr) {
        return mLoaded + first * mSize;
    }
    if (lastBlock.owner != mOwner || lastBlock.first != first || lastBlock.count != count) {
        lastBlock.owner = 0;
        lastBlock.bytes.resize(kBlockBytes);
        if (!readInto(lastBlock.bytes.data(), first, count)) {
            return nullptr;
        }
        lastBlock.owner = mOwner;
        lastBlock.first = first;
        lastBlock.count = count;
    }
    return lastBlock.bytes.data();
}

bool StoredSamples::readInto(void* target, std::uint64_t first, std::uint64_t count) {
    if (mCache == nullptr) {
        mCache = std::make_unique<DcmFileCache>();
    }
    return mElement
        ->getPartialValue(target, static_cast<Uint32>(first * mSize), static_cast<Uint32>(count * mSize), mCache.get(),
                          gLocalByteOrder)
        .good();
}

bool StoredSamples::copy(std::uint64_t first, std::uint64_t count, void* target) {
    if (!holds(first, count)) {
        return false;
    }
    if (mLoaded != nullptr) {
        std::memcpy(target, mLoaded + first * mSize, static_cast<std::size_t>(count * mSize));
        return true;
    }
    const Reading reading(*this);
    return readInto(target, first, count);
}

} // namespace radvex
