#pragma once

#include <cstddef>
#include <string>
#include <tuple>

#include "volume/samples/PixelValues.h"

namespace radvex::compare {

/// What the comparison of the pixels of two files found.
struct PixelComparison {
    bool areEqual = true;     ///< within the tolerance
    bool areCompared = false; ///< value by value; false: the bytes are the same, or there is a reason
    std::string reason{};     ///< why no value can be compared: "512 x 512 and 256 x 256 pixels"; empty otherwise
    volume::PixelKind kind = volume::PixelKind::stored;
    std::string note{};        ///< what differs in how values are stored: "12 and 16 bits"; may be empty
    std::size_t count = 0;     ///< of compared values
    std::size_t different = 0; ///< of values that differ by more than the tolerance
    double largest = 0;        ///< difference, of all values
    std::size_t frame = 0;     ///< of the first largest difference, from 1, as are the next two
    std::size_t row = 0;
    std::size_t column = 0;
    double first = 0; ///< both values there
    double second = 0;

    template <typename Self>
    static auto fields(Self& self) {
        return std::tie(self.areEqual, self.areCompared, self.reason, self.kind, self.note, self.count, self.different,
                        self.largest, self.frame, self.row, self.column, self.first, self.second);
    }
};

/// Compares the decoded pixels of two files: stored values if bits, sign and rescale are the same, otherwise modality
/// values; red, green and blue of colour. One file is in memory beside the other, and nothing is copied.
/// @param tolerance  a larger difference counts
/// @throws LibraryError, Error  a sentence: the pixels of a file cannot be decoded, or are fewer than promised
PixelComparison comparePixels(velmora::Host& host, const std::string& first, const std::string& second,
                              double tolerance);

} // namespace radvex::compare
