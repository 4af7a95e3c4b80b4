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
    VolumeType wanted{};          ///< what the type was found from
    std::size_t count = 0;        ///< slices
    std::byte* samples = nullptr; ///< slice by slice
};

/// Bytes of slices. @throws VolumeError  no memory has that many
std::size_t storedBytes(std::size_t slices, std::size_t sliceSamples, vint type);

/// Makes room for so many bytes, aligned for every type.
using Allocate = std::function<std::byte*(std::size_t bytes)>;

/// Turns an array of the library's, one or several slices, frames first, into modality values.
/// @param sliceSamples  samples of one slice
/// @param rules         one for each slice; they say how the samples become modality values
/// @throws VolumeError  the array is not of that many slices, or there is no memory
StoredSlices storeSlices(const Allocate& allocate, std::size_t sliceSamples, const VelmoraNumericArray& array,
                         std::span<const ModalityRule> rules);

/// The slices of a volume, file by file, in the smallest element type that holds them all. Only those of files that can
/// do with a smaller one are copied; the others stay where they are stored. A file in f32 has no more than its
/// precision in a volume of f64, wherever it stands among the others.
class VolumeBuffer {
  public:
    /// @param memory  where the slices are stored, which must outlive this object
    VolumeBuffer(workers::SharedMemory& memory, std::size_t sliceSamples)
        : mMemory(memory), mSliceSamples(sliceSamples) {}

    void add(const StoredSlices& slices);

    vint type() const { return mWanted.type(); }
    /// The bytes of each slice in the order in which they came, in that type. @throws VolumeError  there is no memory
    std::vector<formats::SliceBytes> slices() const;

  private:
    const std::byte* inType(const StoredSlices& slices) const;

    workers::SharedMemory& mMemory;
    std::size_t mSliceSamples;
    VolumeType mWanted{};
    std::vector<StoredSlices> mFiles{};
};

} // namespace radvex::volume
