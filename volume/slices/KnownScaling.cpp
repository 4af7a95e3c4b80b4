#include "volume/slices/KnownScaling.h"

#include <algorithm>
#include <array>
#include <filesystem>
#include <string_view>
#include <system_error>
#include <vector>

#include "files/Errors.h"
#include "formats/volumes/VolumeFile.h"
#include "media/ElementList.h"

namespace radvex::volume {

namespace {

using media::Element;

/// What says how stored values become modality values, and the sequences around it.
constexpr std::array<std::string_view, 8> kScaling{"RescaleSlope",
                                                   "RescaleIntercept",
                                                   "DoseGridScaling",
                                                   "PixelRepresentation",
                                                   "ModalityLUTSequence",
                                                   "PixelValueTransformationSequence",
                                                   "SharedFunctionalGroupsSequence",
                                                   "PerFrameFunctionalGroupsSequence"};

/// The keyword of an unknown one among the elements or below; empty if there is none.
std::string unknownOf(const std::vector<Element>& elements) {
    for (const Element& element : elements) {
        if (std::ranges::find(kScaling, element.keyword) == kScaling.end()) {
            continue;
        }
        if (element.vr == "UN") {
            return element.keyword;
        }
        for (const auto& item : element.items) {
            if (std::string keyword = unknownOf(item); !keyword.empty()) {
                return keyword;
            }
        }
    }
    return "";
}

std::vector<Element> elementsOf(const FileMetadata& metadata, const std::string& path) {
    std::error_code error;
    if (!std::filesystem::exists(path, error)) {
        return {}; // removed while the library has it open
    }
    try {
        return media::listElements(path, {});
    } catch (const FileError& failure) {
        throw formats::VolumeError(metadata.name() + ": " + failure.what());
    }
}

} // namespace

void requireKnownScaling(const FileMetadata& metadata, const std::string& path) {
    if (metadata.hasScaling()) {
        return;
    }
    if (const std::string keyword = unknownOf(elementsOf(metadata, path)); !keyword.empty()) {
        throw formats::VolumeError(metadata.name() + ": " + keyword +
                                   " stands there in an unknown representation (UN) and is not applied, so that "
                                   "nobody knows its values.");
    }
    if (metadata.isDose()) {
        throw formats::VolumeError(metadata.name() +
                                   " is a dose without DoseGridScaling, so that nobody knows its values.");
    }
}

} // namespace radvex::volume
