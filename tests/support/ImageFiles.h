#pragma once

#include <string>
#include <vector>

#include "tests/support/DicomFiles.h"

namespace radvex::test {

/// A file with pixels. Numbers below 0 and empty texts are left out of it.
struct ImageFile {
    int rows = 1;
    int columns = 1;
    int samples = 1;
    int bitsAllocated = 16;
    int bitsStored = 16;
    int pixelRepresentation = 0;
    std::string photometric = "MONOCHROME2";
    int planarConfiguration = -1;
    std::string frames{};
    std::string slope{};
    std::string intercept{};
    std::vector<Uint16> words{}; ///< Pixel Data; none when empty
    Fill more{};
};

std::string writeImageFile(const std::string& path, const ImageFile& file,
                           E_TransferSyntax syntax = EXS_LittleEndianExplicit);

} // namespace radvex::test
