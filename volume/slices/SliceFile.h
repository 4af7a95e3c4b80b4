#pragma once

#include <string>
#include <tuple>
#include <vector>

#include "host/Host.h"
#include "media/Rendering.h"
#include "volume/samples/VolumeBuffer.h"
#include "volume/slices/SliceRecord.h"

namespace radvex::volume {

/// What the samples of a volume are.
enum class SampleKind {
    modality, ///< values after the modality transformation (HU for CT)
    stored,   ///< values as they are stored, with the slope and intercept that all slices have in common
    rendered, ///< grey levels of windowed pictures; colour has nothing else
    none,     ///< not read: slices of no bytes, as many as the attributes promise
};

/// What a file contributes to a volume.
struct SliceFile {
    std::string reason{};        ///< why the library cannot read it; empty if it can
    std::string refusal{};       ///< why there can be no volume with this file; empty if there can
    bool isKnown = false;        ///< the attributes were read
    std::string mosaicProblem{}; ///< why the tiles of its picture cannot be told apart; empty if they are slices now
    bool isShort = false;        ///< it is too short for the pixels that its attributes promise
    std::string seriesNumber{};
    vint rows = 0; ///< of the whole picture; below 1 in a file without one
    vint columns = 0;
    StoredSlices samples{};
    std::vector<SliceRecord> slices{}; ///< one for each slice of the samples
    std::vector<ModalityRule> rules{}; ///< of stored values, one for each slice; empty for the others
    std::size_t offset = 0;            ///< of the samples in shared memory, while another process sends the file

    template <typename Self>
    static auto fields(Self& self) {
        return std::tie(self.reason, self.refusal, self.isKnown, self.mosaicProblem, self.isShort, self.seriesNumber,
                        self.rows, self.columns, self.samples.wanted, self.samples.sliceSamples, self.samples.count,
                        self.samples.isPicture, self.slices, self.rules, self.offset);
    }

    std::size_t bytes() const { return storedBytes(samples.count, samples.sliceSamples, samples.wanted.type()); }
};

/// How the files of a series are read.
struct SliceReading {
    SampleKind kind = SampleKind::modality;
    media::Rendering rendering{}; ///< of pictures; a window by name becomes that of each file
};

/// Reads a file with all its frames. Colour gives pictures, whatever the kind.
SliceFile readSliceFile(velmora::Host& host, const std::string& path, const SliceReading& reading,
                        const Allocate& allocate);

/// Lowest and highest modality value of a grey file; nothing for colour, or if the file cannot be read.
std::optional<ValueRange> rangeOfFile(velmora::Host& host, const std::string& path);

/// Serialises a file for another process, which shares the memory of the samples.
std::string toParcel(SliceFile file, const workers::SharedMemory& memory);
/// @param name  of the file, which the parcel does not contain
/// @throws Error, std::runtime_error  the parcel is malformed, or the memory has no such samples
SliceFile fromParcel(const std::string& parcel, const std::string& name, const workers::SharedMemory& memory);

} // namespace radvex::volume
