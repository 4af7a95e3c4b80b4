#pragma once

#include <cstdint>
#include <string>

namespace radvex::media {

/// A value at the top level of a dataset, as its header announces it.
struct ScannedElement {
    std::uint32_t tag = 0;         ///< group and element as one number
    std::uint64_t offset = 0;      ///< of the header
    std::uint64_t valueOffset = 0; ///< of the value
    std::uint64_t length = 0;      ///< of the value, in bytes; 0 if undefined
    bool isUndefined = false;      ///< the value ends with a delimiter (PS3.5 7.1.1, 7.5.1)
};

/// What the attributes at the top level say about the pixels. 0 or empty for an attribute that is not there.
struct ScannedFacts {
    std::string sopClass{};
    std::uint32_t rows = 0;
    std::uint32_t columns = 0;
    std::uint32_t samples = 0;
    std::uint32_t bitsAllocated = 0;
    std::uint32_t planarConfiguration = 0;
    std::uint32_t frames = 0;
    ScannedElement framesElement{}; ///< NumberOfFrames
    bool hasPixels = false;         ///< an element of pixels begins, whole or not
};

/// How far the elements of a file reach. It reads the headers of the elements and no pixels, does not recurse, and
/// needs no memory that grows with the file, other than for nested sequences.
struct DatasetScan {
    enum class End {
        whole,   ///< the last element ends with the file
        cut,     ///< the file ends inside an element
        damaged, ///< at `damagedAt` stands what cannot begin an element
        unknown, ///< it cannot be read, is deflated, or costs too much to look through
    };

    End end = End::unknown;
    std::uint64_t size = 0;      ///< of the file, in bytes
    std::uint64_t needed = 0;    ///< if cut: the bytes up to the end of what is incomplete
    bool isAtLeast = false;      ///< more must follow, but nothing says how much
    bool isInMeta = false;       ///< cut or damaged in the meta information (PS3.10 7.1)
    std::uint64_t damagedAt = 0; ///< an offset
    ScannedElement last{};       ///< the last element of the top level; the incomplete one if cut

    std::string transferSyntax{}; ///< of the meta information; empty if there is none
    bool isBigEndian = false;
    bool isDeflated = false;
    std::uint64_t datasetOffset = 0;
    ScannedFacts facts{};

    std::uint32_t fragments = 0;    ///< whole ones of encapsulated pixels, without the offset table (PS3.5 A.4)
    std::uint64_t fragmentsEnd = 0; ///< offset behind the last whole one

    bool isCutInPixels() const;
};

inline constexpr std::uint32_t kPixelDataTag = 0x7FE00010;

/// Scans a file with or without preamble and meta information, in every uncompressed form of a dataset.
DatasetScan scanDataset(const std::string& path);

} // namespace radvex::media
