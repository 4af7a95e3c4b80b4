// Pixels are decompressed only when a read asks for something that decompression may change. Callers notice nothing
// but the time that it takes.

#include <filesystem>
#include <functional>

#include "tests/dicom/DicomTest.h"
#include "tests/support/WriterTest.h"

using namespace radvex::test;
using namespace velmora;

namespace {

/// A change to a file that decoders may undo.
struct Lie {
    std::string name{};
    std::function<void(DcmDataset&)> tell{};
};

std::vector<Lie> lies() {
    return {{"none", [](DcmDataset&) {}},
            {"more frames than there are", with({{DCM_NumberOfFrames, "9"}})},
            {"fewer frames", with({{DCM_NumberOfFrames, "1"}})},
            {"a number of frames with a sign", with({{DCM_NumberOfFrames, "+1"}})},
            {"no number of frames", [](DcmDataset& item) { delete item.remove(DCM_NumberOfFrames); }},
            {"no frames", with({{DCM_NumberOfFrames, "0"}})},
            {"more bits", with({{DCM_BitsAllocated, "16"}, {DCM_BitsStored, "16"}, {DCM_HighBit, "15"}})},
            {"another colour", with({{DCM_PhotometricInterpretation, "RGB"}})},
            {"not lossy", [](DcmDataset& item) { delete item.remove(DCM_LossyImageCompression); }},
            {"no layout", [](DcmDataset& item) { delete item.remove(DCM_PlanarConfiguration); }},
            {"plane after plane", [](DcmDataset& item) { item.putAndInsertUint16(DCM_PlanarConfiguration, 1); }},
            {"no sign", [](DcmDataset& item) { delete item.remove(DCM_PixelRepresentation); }},
            {"another size", [](DcmDataset& item) { item.putAndInsertUint16(DCM_Rows, 21); }},
            {"an icon with the same pixels", [](DcmDataset& item) {
                 DcmItem* icon = nullptr;
                 item.findOrCreateSequenceItem(DCM_IconImageSequence, icon, 0);
                 for (unsigned long index = 0; index < item.card(); ++index) {
                     const DcmElement* element = item.getElement(index);
                     if (element->getGTag() == 0x0028 || element->getGTag() == 0x7FE0) {
                         icon->insert(dynamic_cast<DcmElement*>(element->clone()), OFTrue);
                     }
                 }
                 icon->putAndInsertUint16(DCM_BitsStored, 16);
                 icon->putAndInsertUint16(DCM_BitsAllocated, 16);
             }}};
}

class LateDecompression : public WriterTest {
  protected:
    /// Writes a compressed file that lies.
    std::string writeLie(const WriteArguments& arguments, const Lie& lie) {
        const std::string path = write(arguments);
        DcmDataset& dataset = load(path);
        const E_TransferSyntax syntax = dataset.getOriginalXfer();
        EXPECT_TRUE(dataset.loadAllDataIntoMemory().good());
        dataset.putAndInsertString(DCM_ImageComments, "a comment");
        lie.tell(dataset);
        EXPECT_TRUE(loaded.saveFile(path.c_str(), syntax).good());
        call("CloseReader", {path});
        return path;
    }
    /// Keywords of everything that the file holds, and of what decoders may add.
    std::vector<std::string> keywords() {
        std::vector<std::string> names{"NumberOfFrames", "PlanarConfiguration", "LossyImageCompression"};
        DcmDataset& dataset = *loaded.getDataset();
        for (unsigned long index = 0; index < dataset.card(); ++index) {
            names.emplace_back(DcmTag(dataset.getElement(index)->getTag()).getTagName());
        }
        return names;
    }
    std::uint64_t attribute(const std::string& path, const std::string& keyword) {
        return digestOf(call("ReadMetadata", {path, Store::ofTexts({keyword}), false}));
    }
    void decompress(const std::string& path) { (void)attribute(path, "PixelData"); }
};

} // namespace

TEST_F(LateDecompression, ChangesNoAttributeThatIsAskedForBefore) {
    for (const char* compression : {"JPEGLossless", "JPEGLossy8bit", "JPEG-LSLossless", "RLE"}) {
        for (const bool isColour : {false, true}) {
            const Image image = spelledImage(VImage_U8, isColour ? 0 : 3, 20, 20, isColour ? 3 : 1);
            for (const Lie& lie : lies()) {
                SCOPED_TRACE(std::string(compression) + (isColour ? ", colour, " : ", frames, ") + lie.name);
                const auto path = writeLie({.image = image, .compression = compression, .first = 90}, lie);
                const vint frames = call("GetFrameCount", {path}).get<vint>();
                call("CloseReader", {path});
                decompress(path);
                EXPECT_EQ(frames, call("GetFrameCount", {path}).get<vint>());
                const auto names = keywords();
                std::vector<std::uint64_t> after;
                for (const std::string& name : names) {
                    after.push_back(attribute(path, name));
                }
                for (std::size_t index = 0; index < names.size(); ++index) {
                    call("CloseReader", {path});
                    EXPECT_EQ(attribute(path, names[index]), after[index]) << names[index];
                }
            }
        }
    }
}

TEST_F(LateDecompression, IsLeftOutForAttributesThatItDoesNotChange) {
    const auto path =
        writeLie({.image = spelledImage(VImage_U8, 6, 1300, 1300, 1), .compression = "RLE"}, lies().front());
    const auto read = [&](const char* keyword) {
        return codeOf("ReadMetadata", {path, Store::ofTexts({keyword}), true});
    };
    EXPECT_EQ(read("ImageComments"), 0);
    std::filesystem::resize_file(path, 2000); // so that the pixels, which are still in the file, cannot be had
    EXPECT_EQ(read("ImageComments"), 0);
    EXPECT_EQ(read("Rows"), 0);
    EXPECT_EQ(read("BitsStored"), kOpenFileError);
}
