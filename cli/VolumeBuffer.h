#pragma once

#include <cstdlib>
#include <memory>
#include <span>

#include "Objects.h"
#include "VolumeFile.h"
#include "VolumeType.h"

namespace radvex::cli {

/// The samples of a volume while its slices come in, in the smallest element type that holds them all so far. A slice
/// that needs another type turns those before it in place, so that memory stays at the volume itself.
class VolumeBuffer {
  public:
    /// @param sliceSamples    samples of one slice
    /// @param expectedSlices  room that is made at once; more slices make more
    /// @throws VolumeError  there is no memory
    VolumeBuffer(std::size_t sliceSamples, std::size_t expectedSlices);

    /// Adds slices: arrays of the library's hold one or several, frames first.
    /// @param rules  one for each slice; they say how the samples become modality values
    /// @throws VolumeError  the array is not of that many slices, or there is no memory
    void add(const VelmoraNumericArray& array, std::span<const ModalityRule> rules);

    vint type() const { return mType; }
    std::size_t sliceCount() const { return mSlices; }
    /// The bytes of a slice, in the order in which they came.
    SliceBytes slice(std::size_t index) const;

  private:
    struct Free {
        void operator()(std::byte* memory) const { std::free(memory); }
    };

    void resize(std::size_t slices, std::size_t elementSize);
    void turnInto(vint type);
    void addSlice(const VelmoraNumericArray& array, std::size_t first, const ModalityRule& rule);
    std::size_t sliceBytes() const;

    std::size_t mSliceSamples;
    std::size_t mCapacity; ///< slices
    std::size_t mSlices = 0;
    std::size_t mAllocated = 0; ///< bytes
    vint mType = VNumericArray_U8;
    VolumeType mWanted{};
    std::unique_ptr<std::byte[], Free> mSamples{};
};

} // namespace radvex::cli
