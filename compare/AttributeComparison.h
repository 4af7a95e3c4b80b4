#pragma once

#include <string>
#include <tuple>
#include <vector>

namespace radvex::compare {

// What differs between the attributes of two files. The code behind this interface needs DCMTK and is in
// radvexDatasets.so: the library leaves out values whose type nobody tells (UN), and private creators.

enum class Presence { inBoth, onlyFirst, onlySecond };

struct AttributeDifference {
    std::string path{}; ///< "ReferencedImageSequence[1].ReferencedSOPInstanceUID", "0019,xx0C (SIEMENS MR HEADER)"
    Presence presence = Presence::inBoth;
    std::string first{}; ///< value as text; bytes as their number and the first of them
    std::string second{};

    template <typename Self>
    static auto fields(Self& self) {
        return std::tie(self.path, self.presence, self.first, self.second);
    }
};

/// What the Pixel Data of two files says before it is decoded.
enum class PixelBytes {
    none,       ///< neither file has any
    onlyFirst,  ///< the other file has none
    onlySecond, ///< the other file has none
    same,       ///< the same bytes in the same form: nothing has to be decoded
    unknown,    ///< the pixels have to be compared
};

struct AttributeSettings {
    /// Keywords, "gggg,eeee", "gggg,xxee" of private attributes, or paths of these with dots: "A.B", "A[2].B". A path
    /// stands for everything that ends like it; a sequence stands for all that it holds.
    std::vector<std::string> ignored{};
    bool hasPixels = true; ///< false: neither Pixel Data nor that of floats is looked at
};

struct AttributeComparison {
    std::vector<AttributeDifference> differences{}; ///< in the order of the files
    PixelBytes pixels = PixelBytes::none;
};

/// Compares the meta information and the dataset of two files, with all items of sequences, which are matched by their
/// number. Values are compared as they are stored, but for padding and character set: "1" and "1.0" are different
/// numbers in text, and a name in Latin-1 is the same in UTF-8. The value representation alone is no difference.
/// Private attributes are matched by their creator, whatever block it has. Left out are group lengths, the version
/// of the implementation that wrote the file (PS3.10 7.1), trailing padding, and Pixel Data, which says no more than
/// `pixels`.
/// @throws std::runtime_error  a sentence: a file cannot be read
AttributeComparison compareAttributes(const std::string& first, const std::string& second,
                                      const AttributeSettings& settings);

/// Entry of radvexDatasets.so that does this, with the result in its last argument.
using CompareAttributesEntry = void (*)(const std::string& first, const std::string& second,
                                        const AttributeSettings& settings, AttributeComparison& result);

inline constexpr const char* kCompareAttributesEntry = "radvexCompareAttributes";

} // namespace radvex::compare
