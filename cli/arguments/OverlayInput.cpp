#include "cli/arguments/OverlayInput.h"

#include <algorithm>
#include <array>

#include "cli/arguments/Words.h"
#include "files/Errors.h"
#include "formats/pictures/PictureFiles.h"

namespace radvex::cli {

using velmora::Store;

namespace {

const char* const kOption = "--overlay-option";

/// The first three are numbers.
constexpr std::array<const char*, 7> kNames{"OriginRow",          "OriginColumn",   "ImageFrameOrigin", "OverlayType",
                                            "OverlayDescription", "OverlaySubtype", "OverlayLabel"};
constexpr std::ptrdiff_t kNumbers = 3;

void requireProperty(const Assignment& given) {
    const auto* const name = std::find(kNames.begin(), kNames.end(), given.keyword);
    if (name == kNames.end()) {
        throw UsageError(given.label + ": the properties are " + joined(kNames) + ".");
    }
    if (name - kNames.begin() < kNumbers && !parseNumber<long long>(given.value)) {
        throw UsageError(given.label + ": a whole number is expected.");
    }
}

/// The number in front of a property; 0 when there is none. `word` receives the rest of the text when there is one.
std::size_t takeOverlayNumber(const std::string& text, std::string& word, std::size_t count) {
    const std::size_t colon = text.find(':');
    const std::size_t sign = text.find('=');
    if (colon == std::string::npos || colon > sign) {
        return 0;
    }
    const auto number = parseNumber<std::size_t>(text.substr(0, colon));
    word = text.substr(colon + 1);
    if (!number || *number < 1 || *number > count) {
        throw UsageError(std::string(kOption) + " " + text +
                         ": there is no overlay with that number; the number of overlays is " + std::to_string(count) +
                         ".");
    }
    return *number;
}

} // namespace

OverlayProperty parseOverlayProperty(const std::string& text, std::size_t count) {
    std::string word = text;
    const std::size_t overlay = takeOverlayNumber(text, word, count);
    const Assignment given = parseAssignment(kOption, word);
    requireProperty(given);
    return {overlay, given.keyword, given.value};
}

Store overlayOptions(const std::vector<OverlayProperty>& properties, std::size_t count) {
    Store all = Store::empty();
    for (std::size_t overlay = 1; overlay <= count; ++overlay) {
        Store texts = Store::empty();
        for (const OverlayProperty& property : properties) {
            if (property.overlay == 0 || property.overlay == overlay) {
                texts.add(property.name, property.value);
            }
        }
        all.add(std::to_string(overlay), std::move(texts));
    }
    return all;
}

Store readOverlays(const std::vector<std::string>& files) {
    Store overlays = Store::empty();
    for (const std::string& file : files) {
        overlays.add(std::to_string(overlays.size() + 1), formats::readMaskFile(file));
    }
    return overlays;
}

} // namespace radvex::cli
