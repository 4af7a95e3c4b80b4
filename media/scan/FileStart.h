#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace radvex::media {

/// The first bytes of a file, enough to tell whether it may be DICOM without parsing it.
class FileStart {
  public:
    /// Does not wait for a pipe or device.
    explicit FileStart(const std::string& path);

    bool isRead() const { return mReason == 0; }
    /// The errno of the failure to read it.
    int reason() const { return mReason; }

    /// At most 4096 bytes; fewer of a shorter file.
    const std::vector<unsigned char>& bytes() const { return mBytes; }

    /// The preamble is followed by "DICM".
    bool hasMark() const;
    /// It begins with an element of group 2 or 8, in either byte order, as a dataset without preamble does.
    bool mayBeBareDataset() const;
    /// Why a file is not DICOM although its name (.dcm, .ima, .dicom) or its first bytes say so, as part of a sentence;
    /// empty for a file that does not claim to be. An interrupted copy is such a file.
    std::string brokenPromise(std::string_view name) const;
    /// The meta information says that the file is a DICOMDIR.
    bool isDirectory() const;
    /// TransferSyntaxUID of the meta information; empty if there is none.
    std::string transferSyntax() const;
    /// Whether that is one of compressed pixels.
    bool isCompressed() const;

  private:
    /// The value of a UI element of the meta information.
    std::string uidOf(std::string_view element) const;

    std::vector<unsigned char> mBytes{};
    int mReason = 0;
};

/// Name of a transfer syntax that is in use and that nothing here decodes, such as "JPEG XL"; empty for others.
std::string undecodedSyntaxName(std::string_view uid);

} // namespace radvex::media
