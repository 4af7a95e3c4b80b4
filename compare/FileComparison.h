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
    PixelComparison pixels{};   ///< where the bytes do not answer the question
    std::string pixelProblem{}; ///< a sentence: why the pixels cannot be compared; empty if they can

    template <typename Self>
    static auto fields(Self& self) {
        return std::tie(self.attributes, self.pixelBytes, self.pixels, self.pixelProblem);
    }

    /// Whether nothing differs, as far as it could be compared.
    bool areEqual() const;
};

/// Compares two files. Pixels are decoded only if their bytes differ.
/// @throws std::runtime_error  a sentence: a file cannot be read
FileComparison compareFiles(velmora::Host& host, const std::string& first, const std::string& second,
                            const ComparisonSettings& settings);

} // namespace radvex::compare
