#include "formats/json/LeftOut.h"

#include <algorithm>
#include <array>
#include <string_view>

namespace radvex::formats {

namespace {

/// What the library makes from the pictures, and refuses to take from anywhere else.
bool comesFromPictures(const std::string& keyword) {
    static constexpr std::array<std::string_view, 22> kKeywords{"SOPClassUID",
                                                                "SOPInstanceUID",
                                                                "StudyInstanceUID",
                                                                "SeriesInstanceUID",
                                                                "ConversionType",
                                                                "SamplesPerPixel",
                                                                "PhotometricInterpretation",
                                                                "PlanarConfiguration",
                                                                "Rows",
                                                                "Columns",
                                                                "BitsAllocated",
                                                                "BitsStored",
                                                                "HighBit",
                                                                "PixelRepresentation",
                                                                "PixelData",
                                                                "FloatPixelData",
                                                                "DoubleFloatPixelData",
                                                                "OverlayRows",
                                                                "OverlayColumns",
                                                                "OverlayBitsAllocated",
                                                                "OverlayBitPosition",
                                                                "OverlayData"};
    return std::ranges::find(kKeywords, keyword) != kKeywords.end();
}

/// Why an attribute is left out; null for one that is not.
const char* reasonFor(const std::string& keyword, int level, Dictionary& dictionary) {
    if (keyword.empty() || dictionary.isPrivate(keyword)) {
        return "only standard attributes with a keyword of their own can be written";
    }
    if (dictionary.isFileMetaInformation(keyword)) {
        return "the library alone writes the file's meta information";
    }
    // The library takes a number of frames, and the file would promise pictures that it does not have.
    if (comesFromPictures(keyword) || (level == 0 && keyword == "NumberOfFrames")) {
        return "the pictures determine them";
    }
    return nullptr;
}

std::string listed(const std::vector<std::string>& names) {
    constexpr std::size_t kMostNamed = 24;
    std::string list;
    for (std::size_t index = 0; index < std::min(names.size(), kMostNamed); ++index) {
        list.append(index == 0 ? "" : ", ").append(names[index]);
    }
    if (names.size() > kMostNamed) {
        list.append(" and ").append(std::to_string(names.size() - kMostNamed)).append(" more");
    }
    return list;
}

} // namespace

bool LeftOut::holds(const std::string& keyword, const std::string& shown, int level) {
    const char* const reason = reasonFor(keyword, level, mDictionary);
    if (reason == nullptr) {
        return false;
    }
    std::vector<std::string>& names = mNames[reason];
    if (std::ranges::find(names, shown) == names.end()) {
        names.push_back(shown);
    }
    return true;
}

std::vector<std::string> LeftOut::remarks(const std::string& name) const {
    std::vector<std::string> sentences;
    for (const auto& [reason, names] : mNames) {
        std::string& sentence = sentences.emplace_back(name);
        sentence.append(": left out, because ").append(reason).append(": ").append(listed(names)).append(".");
    }
    return sentences;
}

} // namespace radvex::formats
