#pragma once

#include <functional>
#include <span>
#include <vector>

#include "formats/volumes/VolumeFile.h"
#include "volume/VolumeType.h"
#include "workers/SharedMemory.h"

namespace radvex::volume {

/// The samples of the slices of one file, in the smallest element type that holds them.
struct StoredSlices {
    VolumeType wanted{};          ///< type() is the type of the samples
    std::size_t count = 0;        ///< slices
    std::byte* samples = nullptr; ///< slice by slice
};

/// Bytes of slices. @throws VolumeError  the number is not addressable
std::size_t storedBytes(std::size_t slices, std::size_t sliceSamples, vint type);

/// Allocates bytes, aligned for every type.
using Allocate = std::function<std::byte*(std::size_t bytes)>;

/// Converts an array from the library, of one or several slices, into modality values.
/// @param sliceSamples  samples of one slice
/// @param rules         one for each slice
/// @throws VolumeError  the array has another number of slices, or there is no memory
StoredSlices storeSlices(const Allocate& allocate, std::size_t sliceSamples, const VelmoraNumericArray& array,
                         std::span<const ModalityRule> rules);

/// The slices of a volume, file by file, in the smallest element type that holds them all. Only files stored in a
/// smaller type are copied; the others stay where they are. A file stored in f32 keeps that precision in a volume of
/// f64.
class VolumeBuffer {
  public:
    /// @param memory  for copies; it must outlive this object
    VolumeBuffer(workers::SharedMemory& memory, std::size_t sliceSamples)
        : mMemory(memory), mSliceSamples(sliceSamples) {}

    void add(const StoredSlices& slices);

    vint type() const { return mWanted.type(); }
    /// The bytes of each slice in that type, in the order of adding. @throws VolumeError  there is no memory
    std::vector<formats::SliceBytes> slices() const;

  private:
    const std::byte* inType(const StoredSlices& slices) const;

    workers::SharedMemory& mMemory;
    std::size_t mSliceSamples;
    VolumeType mWanted{};
    std::vector<StoredSlices> mFiles{};
};

} // namespace radvex::volume
