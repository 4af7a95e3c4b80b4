#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>

#include "dcmtk/config/osconfig.h"

#include "dcmtk/dcmdata/dcdatset.h"
#include "dcmtk/dcmdata/dcelem.h"
#include "dcmtk/dcmdata/dcfcache.h"

namespace radvex {

/// Where the values of uncompressed pixels are read from.
enum class SampleSource {
    memory, ///< they are loaded with the first look, and stay
    file    ///< what is not loaded by then is read in blocks, as often as it is asked for, and does not stay
};

/// The samples of uncompressed Pixel Data, of 8 or 16 bits each, as they lie: no bit is masked or moved.
class StoredSamples {
  public:
    /// @return nothing for compressed pixels, for samples of another size, and when they cannot be loaded
    static std::optional<StoredSamples> of(DcmDataset& dataset, SampleSource source);

    /// Bytes of a sample: 1 or 2.
    std::size_t size() const { return mSize; }
    /// All samples of the value.
    std::uint64_t count() const { return mCount; }
    /// The representation of the value: OB or OW.
    DcmEVR representation() const { return mElement->getVR(); }

    /// Calls `use(const Sample*, count)` with the samples from `first` on, block by block; `Sample` is of size() bytes.
    /// @return false when they are not all there, or cannot be read
    template <typename Sample, typename Use>
    bool forEachBlock(std::uint64_t first, std::uint64_t count, Use use) {
        if (!holds(first, count)) {
            return false;
        }
        const Reading reading(*this);
        while (count > 0) {
            const std::uint64_t samples = std::min<std::uint64_t>(count, longestBlock());
            const auto* block = static_cast<const Sample*>(read(first, samples));
            if (block == nullptr) {
                return false;
            }
            use(block, static_cast<std::size_t>(samples));
            first += samples;
            count -= samples;
        }
        return true;
    }

    /// Copies samples as they are. @return as forEachBlock
    bool copy(std::uint64_t first, std::uint64_t count, void* target);

  private:
    /// The file is open during one look at its samples, and not between two: many pictures may be open at once.
    class Reading {
      public:
        explicit Reading(StoredSamples& samples) : mSamples(samples) {}
        Reading(const Reading&) = delete;
        Reading& operator=(const Reading&) = delete;
        ~Reading() { mSamples.mCache.reset(); }

      private:
        StoredSamples& mSamples;
    };

    StoredSamples(DcmElement& element, std::size_t size);

    bool holds(std::uint64_t first, std::uint64_t count) const { return first <= mCount && count <= mCount - first; }
    std::uint64_t longestBlock() const;
    const void* read(std::uint64_t first, std::uint64_t count);
    bool readInto(void* target, std::uint64_t first, std::uint64_t count);

    DcmElement* mElement;
    std::size_t mSize;
    std::uint64_t mCount;
    const std::byte* mLoaded = nullptr; ///< the whole value, or null when it is read in blocks
    std::uint64_t mOwner;               ///< number of these samples, for the block that was read last
    std::unique_ptr<DcmFileCache> mCache{};
};

} // namespace radvex
