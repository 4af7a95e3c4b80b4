#pragma once

#include <string>
#include <tuple>

#include "compare/AttributeComparison.h"
#include "compare/PixelComparison.h"
#include "host/Host.h"

namespace radvex::compare {

/// What two files are compared by.
struct ComparisonSettings {
    AttributeSettings attributes{};
    double tolerance = 0; ///< of pixel values
};

/// What differs between two files.
struct FileComparison {
    std::vector<AttributeDifference> attributes{};
    PixelBytes pixelBytes = PixelBytes::none;
    PixelComparison pixels{}; ///< where the bytes do not answer the question

    template <typename Self>
    static auto fields(Self& self) {
        return std::tie(self.attributes, self.pixelBytes, self.pixels);
    }

    bool areEqual() const;
};

/// Compares two files. Pixels are decoded only if their bytes differ.
/// @throws LibraryError, std::runtime_error  a sentence: a file cannot be read or decoded
FileComparison compareFiles(velmora::Host& host, const std::string& first, const std::string& second,
                            const ComparisonSettings& settings);

} // namespace radvex::compare
