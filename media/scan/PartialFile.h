#pragma once

#include <cstdint>
#include <string>

#include "media/scan/DatasetScan.h"

namespace radvex::media {

/// What can be kept of a file that ends too early, and what is put in place of the rest.
struct PartialPlan {
    bool isPossible = false;     ///< the file is cut, and at least one element of its dataset is whole
    std::uint64_t keptBytes = 0; ///< of the file, from its beginning
    std::uint64_t zeroBytes = 0; ///< behind them, for pixels that are missing
    bool endsFragments = false;  ///< a delimiter ends the encapsulated pixels
    std::uint32_t frames = 0;    ///< new NumberOfFrames; 0: it stays
    bool hasPixels = false;      ///< some of them are kept
    std::string missing{};       ///< a sentence about what is not there: "Rows 33 to 64 are missing and shown as 0."
};

/// Keeps whole elements of the top level. Uncompressed pixels keep the bytes that are there, and the others become 0;
/// of compressed pixels the whole fragments are kept. Pixels of which very few are there are not made up.
PartialPlan planPartial(const DatasetScan& scan);

/// A whole DICOM file with what a cut one still holds. It goes with this object. The cut file stays as it is.
class PartialFile {
  public:
    /// @param copy  path of the file to make, in a folder that nobody else can read: it holds what the patient's does
    /// @throws FileError  the file cannot be read, or the copy not written
    PartialFile(const std::string& path, const DatasetScan& scan, const PartialPlan& plan, std::string copy);
    ~PartialFile();
    PartialFile(const PartialFile&) = delete;
    PartialFile& operator=(const PartialFile&) = delete;

    const std::string& path() const { return mCopy; }

  private:
    std::string mCopy;
};

} // namespace radvex::media
