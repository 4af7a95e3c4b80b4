#pragma once

#include <functional>
#include <map>
#include <span>
#include <utility>
#include <vector>

#include "formats/volumes/VolumeFile.h"
#include "host/Value.h"
#include "volume/samples/VolumeType.h"
#include "workers/SharedMemory.h"

namespace radvex::volume {

/// The samples of the slices of one file, in the smallest element type that holds them.
struct StoredSlices {
    VolumeType wanted{};          ///< type() is the type of the samples
    std::size_t sliceSamples = 0; ///< samples of a slice, with those of all channels
    std::size_t count = 0;        ///< slices
    bool isPicture = false;       ///< grey levels over the whole range of the type, not values
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

/// Joins pictures of the library, one array for each frame: [row][column], or colour with the channels last or first,
/// which becomes interleaved. Grey levels are u8 or, if any picture has more, u16.
/// @throws VolumeError  the pictures have other sizes than `rows` and `columns`, or there is no memory
StoredSlices storePictures(const Allocate& allocate, vint rows, vint columns, velmora::StoreView pictures);

/// Writes the samples of slices in another type, which holds them. @param target  storedBytes() of that type
void convertSlices(const StoredSlices& slices, vint type, std::byte* target);

/// The slices of a series, file by file. Slices of a volume that are stored in a smaller type than the volume has are
/// copied; the others stay where they are.
class VolumeBuffer {
  public:
    /// @param memory  for copies; it must outlive this object
    explicit VolumeBuffer(workers::SharedMemory& memory) : mMemory(memory) {}

    /// Adds slices, which are numbered on.
    void add(const StoredSlices& slices);

    std::size_t size() const { return mSlices.size(); }
    /// The type for a volume of these slices.
    VolumeType typeOf(std::span<const std::size_t> slices) const;
    /// The bytes of slices in a type that holds them. @throws VolumeError  there is no memory
    std::vector<formats::SliceBytes> bytesOf(std::span<const std::size_t> slices, vint type);
    /// The samples of a slice are grey levels or colour.
    bool isPicture(std::size_t slice) const { return mFiles[mSlices[slice].file].isPicture; }
    /// Whether two slices have the same type and samples.
    bool isSame(std::size_t one, std::size_t other) const;

  private:
    struct Location {
        std::size_t file;
        std::size_t index; ///< of the slice in its file
    };
    formats::SliceBytes storedBytesOf(std::size_t slice) const;
    const std::byte* inType(std::size_t file, vint type);

    workers::SharedMemory& mMemory;
    std::vector<StoredSlices> mFiles{};
    std::vector<Location> mSlices{};
    std::map<std::pair<std::size_t, vint>, const std::byte*> mWidened{}; ///< by file and type
};

} // namespace radvex::volume
