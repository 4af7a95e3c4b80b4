#include "dicom/writers/WriteOptions.h"

#include <stdexcept>
#include <type_traits>
#include <utility>

namespace radvex {

namespace {

using GTU::VArgumentType;
using GTU::Passing::Automatic;
using PropertyList = GTU::DataList<VArgumentType::UTF8String, Automatic>;

void setProperty(OverlayOptions& options, const std::string& name, const std::string& value) {
    if (name == "OriginRow") {
        options.originRow = overlayPropertyFromString<short>(value, name);
    } else if (name == "OriginColumn") {
        options.originColumn = overlayPropertyFromString<short>(value, name);
    } else if (name == "ImageFrameOrigin") {
        options.imageFrameOrigin = overlayPropertyFromString<unsigned short>(value, name);
    } else if (name == "OverlayType") {
        options.type = value;
    } else if (name == "OverlayDescription") {
        options.description = value;
    } else if (name == "OverlaySubtype") {
        options.subtype = value;
    } else if (name == "OverlayLabel") {
        options.label = value;
    }
}

/// Index of the overlay whose number is the name of a node.
std::size_t overlayIndex(const std::string& name, std::size_t count) {
    const int number = std::stoi(name);
    if (number < 1 || static_cast<std::size_t>(number) > count) {
        throw std::out_of_range("There is no overlay of that number.");
    }
    return static_cast<std::size_t>(number) - 1;
}

} // namespace

template <typename T>
T overlayPropertyFromString(const std::string& value, const std::string& property) {
    const auto number = [&] {
        if constexpr (std::is_signed_v<T>) {
            return std::stoll(value);
        } else {
            return std::stoull(value); // which makes a negative number a very large one
        }
    }();
    if (!std::in_range<T>(number)) {
        GTU::ErrorManager::throwException("OverlayPropertyError", property);
    }
    return static_cast<T>(number);
}

template short overlayPropertyFromString<short>(const std::string&, const std::string&);
template unsigned short overlayPropertyFromString<unsigned short>(const std::string&, const std::string&);

std::vector<OverlayOptions> getOverlayOptionsVector(const GTU::VArgumentManager& manager, unsigned int index,
                                                    unsigned int count) {
    auto overlays = manager.getDataList<VArgumentType::DataStore>(index);
    std::vector<OverlayOptions> options(count);
    for (auto& overlay : overlays) {
        OverlayOptions& target = options[overlayIndex(overlay.getName(), options.size())];
        PropertyList properties(overlay.getValue());
        for (auto& property : properties) {
            const char* value = property.getValue();
            if (value == nullptr) {
                throw std::out_of_range("The text of an overlay property is null.");
            }
            setProperty(target, property.getName(), value);
        }
    }
    return options;
}

} // namespace radvex
