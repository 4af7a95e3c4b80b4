#include "ShownFile.h"

#include <algorithm>
#include <cstdlib>

#include "Parcel.h"
#include "Png.h"

namespace radvex::cli {

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

ShownFile showFile(velmora::Host& host, const std::string& path, const PictureOptions& options) {
    ShownFile file;
    try {
        file.number =
            instanceNumberIn(host.call("ReadMetadata", {path, velmora::Store::ofTexts({"InstanceNumber"}), false}));
        file.isOpen = true;
        const velmora::Value image =
            host.call("ReadImage", {path, 0, 0, options.scalingTensor(), options.overlays, kImageFlags});
        for (const Picture& picture : picturesOf(image.get<velmora::Image>())) {
            file.pngs.push_back(pngOf(picture));
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

std::string toParcel(const ShownFile& file) {
    ParcelWriter parcel;
    parcel.put(file.isOpen);
    parcel.put(file.number);
    parcel.putText(file.error);
    parcel.putTexts(file.pngs);
    return parcel.take();
}

ShownFile shownFileOfParcel(const std::string& bytes) {
    ParcelReader parcel(bytes);
    ShownFile file;
    file.isOpen = parcel.get<bool>();
    file.number = parcel.get<long>();
    file.error = parcel.getText();
    file.pngs = parcel.getTexts();
    return file;
}

} // namespace radvex::cli
