#pragma once

#include <string>
#include <vector>

namespace radvex::cli {

/// A picture of 8 x 8 bytes in a compression that the library reads and does not write.
struct StoredPicture {
    std::string name{};           ///< "JPEG2000"
    std::string transferSyntax{}; ///< its UID
    std::string codestream{};
    std::vector<int> samples{}; ///< what it decodes to
};

const std::vector<StoredPicture>& storedPictures();

/// A DICOM file with that picture as its only frame.
std::string dicomFileOf(const StoredPicture& picture);

} // namespace radvex::cli
