#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <string>

#include "dcmtk/config/osconfig.h"

#include "dcmtk/ofstd/oftypes.h"

struct opj_image;

namespace radvex {

/// One frame of JPEG 2000 or HTJ2K, decoded by OpenJPEG.
class Jpeg2000Picture {
  public:
    /// @param codestream  that may be decoded, up to its last tile part (Jpeg2000Codestream::bytes)
    explicit Jpeg2000Picture(std::span<const Uint8> codestream);
    ~Jpeg2000Picture();
    Jpeg2000Picture(const Jpeg2000Picture&) = delete;
    Jpeg2000Picture& operator=(const Jpeg2000Picture&) = delete;

    /// Why there is none, in OpenJPEG's words; empty when there is one. A picture that OpenJPEG gives with zeros or
    /// guesses for what it could not read is none.
    const std::string& problem() const { return mProblem; }
    /// True when that is why there is none.
    bool hasRunOutOfMemory() const { return mHasRunOutOfMemory && !mProblem.empty(); }

    std::size_t components() const;
    /// The samples of a component, line by line; empty where the picture is not of this size.
    std::span<const std::int32_t> samples(std::size_t component, std::size_t columns, std::size_t rows) const;

  private:
    void decode(std::span<const Uint8> codestream);

    std::string mProblem{};
    bool mHasRunOutOfMemory = false;
    struct Deleter {
        void operator()(opj_image* image) const;
    };
    std::unique_ptr<opj_image, Deleter> mImage{};
};

} // namespace radvex
