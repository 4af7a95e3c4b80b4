#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <span>
#include <vector>

#include "bench/hosted/hostedJobs.h"

namespace hosted {

namespace fs = std::filesystem;
using velmora::Image;
using velmora::NumericArray;
using velmora::Store;
using velmora::Value;

namespace {

void write(std::ofstream& file, std::span<const std::byte> bytes) {
    file.write(reinterpret_cast<const char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
}

struct Slice {
    int number;
    std::vector<std::int16_t> values;
};

int instanceNumber(velmora::Host& host, const std::string& path) {
    const Value found = host.call("ReadMetadata", {path, Store::ofTexts({"InstanceNumber"}), false});
    return std::stoi((*found.get<Store>().begin()).value().get<std::string>());
}

Slice rescaledSlice(velmora::Host& host, const std::string& path) {
    constexpr vint kStoredValues = 0x41; // rescaling as a host does it, which is quicker
    constexpr int kIntercept = -1024;
    const Value array = host.call("ReadIntermediatePixelData", {path, kStoredValues, 0});
    const auto stored = array.get<NumericArray>().data<std::uint16_t>();
    Slice slice{instanceNumber(host, path), std::vector<std::int16_t>(stored.size())};
    std::transform(stored.begin(), stored.end(), slice.values.begin(),
                   [](std::uint16_t value) { return static_cast<std::int16_t>(value + kIntercept); });
    (void)host.call("CloseReader", {path});
    return slice;
}

/// The images of a store, at any depth.
void writeImages(std::ofstream& file, const Store& store) {
    for (const velmora::NodeView node : store) {
        const Value value = node.value();
        if (value.is<Image>()) {
            write(file, value.get<Image>().bytes());
        } else if (value.is<Store>()) {
            writeImages(file, value.get<Store>());
        }
    }
}

} // namespace

void readRenderedVolume(velmora::Host& host, const std::string& medium, const std::string& out) {
    const velmora::Tensor commonWindow(std::vector<vint>{2}, std::vector<double>{-2.0, 0.0});
    const Value volumes = host.call("Read3DImage", {medium, ".*", ".*", ".*", commonWindow, 1});
    if (!out.empty()) {
        std::ofstream file(out, std::ios::binary);
        writeImages(file, volumes.get<Store>());
    }
}

void readModalityVolume(velmora::Host& host, const std::string& folder, const std::string& out) {
    std::vector<Slice> slices;
    for (const auto& entry : fs::directory_iterator(folder)) {
        if (entry.path().filename().string().starts_with("IM")) {
            slices.push_back(rescaledSlice(host, entry.path().string()));
        }
    }
    std::sort(slices.begin(), slices.end(),
              [](const Slice& left, const Slice& right) { return left.number < right.number; });
    if (!out.empty()) {
        std::ofstream file(out, std::ios::binary);
        for (const Slice& slice : slices) {
            write(file, std::as_bytes(std::span(slice.values)));
        }
    }
}

void readMediumMetadata(velmora::Host& host, const std::string& medium) {
    const auto names =
        Store::ofTexts({"PatientName", "SeriesInstanceUID", "InstanceNumber", "ImagePositionPatient", "PixelSpacing"});
    const Value found = host.call("ReadMetadataRecursive", {medium, names, ".*", false});
    std::printf("%zu files\n", found.get<Store>().size());
}

} // namespace hosted
