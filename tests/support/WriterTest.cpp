#include "tests/support/WriterTest.h"

#include <cstdint>
#include <filesystem>

namespace radvex::test {

using velmora::Image;
using velmora::NodeView;
using velmora::Store;
using velmora::Value;

namespace {

template <typename T>
void spell(const Image& image, std::uint64_t modulus) {
    std::uint64_t index = 0;
    for (T& element : image.data<T>()) {
        element = static_cast<T>((3 + 7 * index++) % modulus);
    }
}

} // namespace

Image spelledImage(vint type, vint slices, vint rows, vint columns, vint channels, bool interleaved) {
    Image image(slices, rows, columns, channels, type, channels == 3 ? VColorSpace_RGB : VColorSpace_Grey, interleaved);
    switch (type) {
    case VImage_Bit: spell<std::int8_t>(image, 2); break;
    case VImage_U8: spell<std::uint8_t>(image, 256); break;
    case VImage_U16: spell<std::uint16_t>(image, 65521); break;
    case VImage_F32: spell<float>(image, 1000); break;
    default: spell<double>(image, 1000); break;
    }
    return image;
}

Store texts(const std::vector<std::pair<std::string, std::string>>& entries) {
    Store store = Store::empty();
    for (const auto& [name, text] : entries) {
        store.add(name, text);
    }
    return store;
}

void WriterTest::TearDown() {
    for (const auto& [keyword, value] : mDefaultsBefore) {
        call("SetDefaultTagValue", {keyword, value});
    }
    LibraryTest::TearDown();
}

void WriterTest::setDefault(const std::string& keyword, const std::string& value) {
    mDefaultsBefore.emplace(keyword, defaultOf(keyword));
    call("SetDefaultTagValue", {keyword, value});
}

std::string WriterTest::defaultOf(const std::string& keyword) {
    return call("GetDefaultTagValue", {keyword}).get<std::string>();
}

std::vector<Value> WriterTest::valuesOf(const std::string& path, const WriteArguments& arguments) const {
    return {path,
            arguments.image,
            arguments.metadata,
            arguments.overlays,
            arguments.compression,
            arguments.first,
            arguments.second,
            arguments.overlayOptions};
}

std::string WriterTest::write(const WriteArguments& arguments, const std::string& name) {
    call("WriteImage", valuesOf(folder.file(name), arguments));
    return folder.file(name);
}

int WriterTest::writeCode(const WriteArguments& arguments) {
    return codeOf("WriteImage", valuesOf(folder.file("w.dcm"), arguments));
}

std::string WriterTest::writeMessage(const WriteArguments& arguments) {
    return messageOf("WriteImage", valuesOf(folder.file("w.dcm"), arguments));
}

bool WriterTest::wasWritten() const { return std::filesystem::exists(folder.file("w.dcm")); }

WriteArguments WriterTest::withMetadata(Store metadata) const {
    return {.image = spelledImage(VImage_U8, 0, 2, 3, 1), .metadata = std::move(metadata)};
}

DcmDataset& WriterTest::load(const std::string& path) {
    const OFCondition condition = loaded.loadFile(path.c_str());
    EXPECT_TRUE(condition.good()) << path << ": " << condition.text();
    return *loaded.getDataset();
}

std::string WriterTest::valueOf(const DcmTagKey& key) { return textOf(*loaded.getDataset(), key); }

std::string WriterTest::metaValueOf(const DcmTagKey& key) { return textOf(*loaded.getMetaInfo(), key); }

void WriterTest::expectValues(const Attributes& expected) {
    for (const auto& [key, value] : expected) {
        EXPECT_EQ(valueOf(key), value) << DcmTag(key).getTagName();
    }
}

std::vector<int> WriterTest::storedValues(const std::string& path) {
    call("CloseReader", {path});
    const Value result = call("ReadMetadata", {path, Store::ofTexts({"PixelData"}), false});
    std::vector<int> values;
    for (const NodeView node : result.get<Store>()) {
        for (const NodeView frame : velmora::StoreView(node.cell().dataStore)) {
            const VelmoraNumericArray& array = *frame.cell().numericArray;
            for (vint index = 0; index < array.length; ++index) {
                values.push_back(array.type == VNumericArray_U8
                                     ? static_cast<const std::uint8_t*>(array.data.get())[index]
                                     : static_cast<const std::uint16_t*>(array.data.get())[index]);
            }
        }
    }
    return values;
}

} // namespace radvex::test
