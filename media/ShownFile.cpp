#include "media/ShownFile.h"

#include <algorithm>
#include <cstdlib>

#include "formats/pictures/Png.h"

namespace radvex::media {

namespace {

/// As DCMTK reads it: the number that the text begins with.
long instanceNumberIn(const velmora::Value& found) {
    for (const velmora::NodeView node : found.get<velmora::Store>()) {
        if (node.type() == VType_UTF8String && node.cell().utf8String != nullptr) {
            return std::strtol(node.cell().utf8String, nullptr, 10);
        }
    }
    return 0;
}

} // namespace

ShownFile showFile(velmora::Host& host, const std::string& path, const Rendering& rendering) {
    ShownFile file;
    try {
        file.number =
            instanceNumberIn(host.call("ReadMetadata", {path, velmora::Store::ofTexts({"InstanceNumber"}), false}));
        file.isOpen = true;
        const velmora::Value image =
            host.call("ReadImage", {path, 0, 0, rendering.scalingTensor(), rendering.hasOverlays, kImageFlags});
        for (const formats::Picture& picture : formats::picturesOf(image.get<velmora::Image>())) {
            file.pngs.push_back(formats::pngOf(picture));
        }
    } catch (const velmora::LibraryError& error) {
        file.error = error.what();
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
    // Not stable, and meant not to be: the library sorts like this, and equal numbers then come as they do there.
    std::sort(order.begin(), order.end(),
              [&](std::size_t left, std::size_t right) { return files[left].number < files[right].number; });
    return order;
}

} // namespace radvex::media
