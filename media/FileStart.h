#pragma once

#include <array>
#include <string>
#include <vector>

namespace radvex::media {

/// The first bytes of a file, enough to tell whether it may be DICOM without parsing it.
class FileStart {
  public:
    /// Not to hang, a pipe or device is not waited for.
    explicit FileStart(const std::string& path);

    bool isRead() const { return mReason == 0; }
    /// The system's number for why it cannot be read.
    int reason() const { return mReason; }

    /// The mark "DICM" behind the preamble.
    bool hasMark() const;
    /// A dataset without the mark begins with an element of one of the first groups, in either byte order.
    bool mayBeBareDataset() const;
    /// The meta information says that the file is a directory of a medium.
    bool isDirectory() const;

  private:
    std::vector<unsigned char> mBytes{};
    int mReason = 0;
};

} // namespace radvex::media
