#pragma once

#include <cstddef>
#include <span>
#include <string>
#include <vector>

#include "dcmtk/config/osconfig.h"

#include "dcmtk/ofstd/oftypes.h"

namespace radvex {

/// Inspects the marker segments of JPEG streams (ISO/IEC 10918-1 B.1), fragment by fragment, in the way that a decoder
/// reaches them: from segment to segment, and through compressed data, which never holds the two bytes that open one.
/// Once a fragment holds a segment only in part, every offset behind its start that looks like a segment counts: a
/// decoder may go on at any of them. But a comment, or what an application stored, is skipped wherever it ends, and an
/// FF of compressed data may be the last byte of a fragment.
class JpegSegments {
  public:
    /// The most memory that a frame asks for, in bytes: its coefficients, two bytes each.
    double largestFrame() const { return mLargestFrame; }
    /// Why DCMTK never comes to an end of the stream, takes hours for it, or reads or writes outside its own tables or
    /// the fragment, in a few words; empty when it does not. Because of
    ///  - a table for differences of more than 16 bits (15 in lossy processes), or with a number over 3;
    ///  - a frame of more than four components;
    ///  - a table or a frame's header in more than two fragments: decoding goes on at the start of the second one, as
    ///    if the segment began there;
    ///  - a segment that is skipped, reaches into another fragment and ends with it;
    ///  - many scans of a large frame, since even a short one goes through the whole frame;
    ///  - too many offsets that look like segments.
    std::string problem() const;
    /// The most bits of a sample in any frame.
    int mostBits() const { return mMostBits; }

    void add(std::span<const Uint8> fragment);
    /// To be called after the last fragment.
    void finish() { scanWindow(); }

  private:
    using Bytes = std::span<const Uint8>;

    void resume(Bytes fragment, std::size_t skipped);
    std::size_t skippedBehind(Bytes segment) const;
    std::size_t walk(Bytes fragment, std::size_t first);
    void scanWindow();
    void note(bool isThere, const char* problem) { mProblem = mProblem == nullptr && isThere ? problem : mProblem; }
    bool isCutHarmfully(std::size_t offset) const;
    std::size_t startsBetween(std::size_t offset, std::size_t end) const;
    void inspect(Bytes segment);
    void inspectFrame(Uint8 kind, Bytes content);
    void countScan();
    void inspectTables(Bytes content);

    bool mHasCutSegment = false;    ///< a fragment held a segment only in part
    bool mHasHalfMarker = false;    ///< the last fragment ended with the first byte of a marker
    bool mHasEnd = false;           ///< the last fragment held the end of a frame
    std::size_t mToSkip = 0;        ///< bytes of the next fragments that belong to a segment that is skipped
    const char* mProblem = nullptr; ///< the first one that was found
    bool mHasLossyFrame = false;
    bool mHasWidestDifference = false; ///< a table is for differences of 16 bits
    int mMostBits = 0;
    double mLargestFrame = 0;           ///< in bytes
    double mSamples = 0;                ///< of the last frame
    double mScans = 0;                  ///< of the last frame
    std::size_t mInspectedBytes = 0;    ///< of all segments
    std::vector<Uint8> mWindow{};       ///< the bytes that are still to be scanned, once a segment was cut
    std::vector<std::size_t> mStarts{}; ///< offsets in it at which fragments start, without the first one
};

} // namespace radvex
