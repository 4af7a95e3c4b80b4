#include "media/StoredAttributes.h"

#include <algorithm>
#include <array>

namespace radvex::media {

bool isChangedByDecoding(std::string_view keyword) {
    constexpr std::array<std::string_view, 8> kChanged{
        "SamplesPerPixel", "PhotometricInterpretation", "PlanarConfiguration", "BitsAllocated", "BitsStored", "HighBit",
        "NumberOfFrames",  "LossyImageCompression"};
    return std::ranges::find(kChanged, keyword) != kChanged.end();
}

std::vector<Element> storedAttributes(const std::string& path, const std::vector<std::string>& keywords) {
    const auto isWanted = [&](const Element& element) {
        return !element.isMetaInformation() && std::ranges::find(keywords, element.keyword) != keywords.end();
    };
    auto elements = listElements(path, {.values = ElementValues::Text, .wants = isWanted});
    std::erase_if(elements, [&](const Element& element) { return !isWanted(element); });
    return elements;
}

} // namespace radvex::media
