#include "media/Rendering.h"

#include <algorithm>
#include <charconv>
#include <cstdlib>
#include <string_view>

#include "media/scan/FileDiagnosis.h"

namespace radvex::media {

namespace {

/// Windows of the field's textbooks, in HU. Scanners and hospitals differ by some hundred HU in the wide ones.
constexpr struct {
    std::string_view name;
    Window window;
} kPresets[] = {{"lung", {1500, -600}},
                {"bone", {1500, 300}},
                {"brain", {80, 40}},
                {"abdomen", {400, 60}},
                {"mediastinum", {400, 40}}};
constexpr std::string_view kFileWindow = "file";

/// The number that the text begins with, as DCMTK reads it.
long instanceNumberIn(const velmora::Value& found) {
    for (const velmora::NodeView node : found.get<velmora::Store>()) {
        if (node.type() == VType_UTF8String && node.cell().utf8String != nullptr) {
            return std::strtol(node.cell().utf8String, nullptr, 10);
        }
    }
    return 0;
}

} // namespace

std::optional<NamedWindow> windowNamed(const std::string& name) {
    for (const auto& [known, values] : kPresets) {
        if (name == known) {
            return NamedWindow{.name = name, .preset = values};
        }
    }
    if (name == kFileWindow) {
        return NamedWindow{.name = name};
    }
    if (name.starts_with("file:")) {
        const char* const end = name.data() + name.size();
        std::size_t number = 0;
        const auto [rest, error] = std::from_chars(name.data() + kFileWindow.size() + 1, end, number);
        if (error == std::errc() && rest == end && number > 0) {
            return NamedWindow{.name = name, .number = number};
        }
    }
    return std::nullopt;
}

std::vector<std::string> windowNames() {
    std::vector<std::string> names;
    for (const auto& preset : kPresets) {
        names.emplace_back(preset.name);
    }
    names.emplace_back(kFileWindow);
    return names;
}

velmora::Tensor Rendering::scalingTensor() const {
    const auto tensor = [](double first, double second) {
        return velmora::Tensor(std::vector<vint>{2}, std::vector<double>{first, second});
    };
    if (window) {
        return tensor(window->width, window->center);
    }
    switch (scaling) {
    case Scaling::trimmed: return tensor(-1.0, 0.0);
    case Scaling::commonWindow: return tensor(-2.0, 0.0);
    case Scaling::none: return tensor(-3.0, 0.0);
    default: return tensor(0.0, 0.0);
    }
}

ShownFile showFile(velmora::Host& host, const std::string& path, const Rendering& rendering,
                   const EncodePictures& encode) {
    ShownFile file;
    try {
        file.number =
            instanceNumberIn(host.call("ReadMetadata", {path, velmora::Store::ofTexts({"InstanceNumber"}), false}));
        file.isOpen = true;
        const velmora::Value image =
            host.call("ReadImage", {path, 0, 0, rendering.scalingTensor(), rendering.hasOverlays, kImageFlags});
        file.pngs = encode(formats::picturesOf(image.get<velmora::Image>()));
    } catch (const velmora::LibraryError& error) {
        file.error = explain(error, path, path);
    }
    host.call("CloseReader", {path});
    return file;
}

std::vector<std::size_t> libraryOrder(const std::vector<ShownFile>& files) {
    std::vector<std::size_t> order;
    for (std::size_t index = 0; index < files.size(); ++index) {
        if (files[index].isOpen) {
            order.push_back(index);
        }
    }
    // Deliberately not stable: the library sorts like this, so equal numbers end up in the same order as there.
    std::sort(order.begin(), order.end(),
              [&](std::size_t left, std::size_t right) { return files[left].number < files[right].number; });
    return order;
}

} // namespace radvex::media
