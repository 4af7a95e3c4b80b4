#include "dicom/writers/WriteOptions.h"

#include <limits>
#include <stdexcept>

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

/// Index of the overlay that a node's name numbers.
std::size_t overlayIndex(const std::string& name, std::size_t count) {
    const int number = std::stoi(name);
    if (number < 1 || static_cast<std::size_t>(number) > count) {
        throw std::out_of_range("There is no overlay of that number.");
    }
    return static_cast<std::size_t>(number) - 1;
}

[[noreturn]] void throwPropertyError(const std::string& property) {
    GTU::ErrorManager::throwException("OverlayPropertyError", property);
}

} // namespace

template <>
short overlayPropertyFromString<short>(const std::string& value, const std::string& property) {
    const long long number = std::stoll(value);
    if (number < std::numeric_limits<short>::min() || number > std::numeric_limits<short>::max()) {
        throwPropertyError(property);
    }
    return static_cast<short>(number);
}

template <>
unsigned short overlayPropertyFromString<unsigned short>(const std::string& value, const std::string& property) {
    const unsigned long long number = std::stoull(value); // a negative number is a very large one
    if (number > std::numeric_limits<unsigned short>::max()) {
        throwPropertyError(property);
    }
    return static_cast<unsigned short>(number);
}

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
