#pragma once

#include <cstddef>
#include <span>
#include <string>
#include <vector>

#include "dcmtk/config/osconfig.h"

#include "dcmtk/ofstd/oftypes.h"

namespace radvex {

/// Looks at the marker segments of JPEG streams (ISO/IEC 10918-1 B.1) in fragments that follow each other, as a decoder
/// comes by them: from segment to segment, and through compressed data, in which the two bytes that open one do not
/// occur. Behind a segment that its fragment does not hold whole, every place counts that looks like one: a decoder may
/// go on from anywhere there.
class JpegSegments {
  public:
    /// The most memory that a frame asks for, in bytes: its coefficients, two bytes each.
    double largestFrame() const { return mLargestFrame; }
    /// DCMTK never comes to an end of the stream, takes hours for it, or reads or writes outside its own tables or the
    /// fragment:
    ///  - a table that codes differences of more than 16 bits, or in lossy processes 15, or has a number over 3;
    ///  - a frame of more than four components;
    ///  - a table or a frame's header in more than two fragments, since decoding goes on at the start of the second one
    ///    as if the segment began there;
    ///  - a segment that is skipped and goes on in another fragment, up to its very end;
    ///  - many scans of a large frame, each of which goes through all of it, however short;
    ///  - more places that look like segments than are worth going through.
    /// In a few words; empty when nothing of this is there.
    std::string problem() const;
    /// The most bits of a sample in any frame.
    int mostBits() const { return mMostBits; }

    void add(std::span<const Uint8> fragment);
    /// After the last fragment.
    void finish() { scanWindow(); }

  private:
    using Bytes = std::span<const Uint8>;

    std::size_t walk(Bytes fragment);
    void scanWindow();
    void note(bool isThere, const char* problem) { mProblem = mProblem == nullptr && isThere ? problem : mProblem; }
    bool isCutBadly(std::size_t place) const;
    std::size_t cutsBetween(std::size_t place, std::size_t end) const;
    void look(Bytes segment);
    void lookAtFrame(Uint8 kind, Bytes content);
    void countScan();
    void lookAtTables(Bytes content);

    bool mIsCut = false;            ///< a segment was not held whole by its fragment
    const char* mProblem = nullptr; ///< the first one that was found
    bool mHasLossyFrame = false;
    bool mHasWidestDifference = false; ///< a table codes differences of 16 bits
    int mMostBits = 0;
    double mLargestFrame = 0;
    double mSamples = 0;                ///< of the last frame
    double mScans = 0;                  ///< of it
    std::size_t mLookedAt = 0;          ///< bytes of all segments
    std::vector<Uint8> mWindow{};       ///< what is still to be looked at, from the first such segment on
    std::vector<std::size_t> mStarts{}; ///< where fragments start in it, but for the first one
};

} // namespace radvex
