// Values of over 4096 bytes stay in their file until they are asked for. By then the file may have changed.

#include <filesystem>

#include "tests/dicom/DicomTest.h"

using namespace radvex::test;
using namespace velmora;

namespace {

const std::vector<Uint8> kDocument(6000, 0x44);

class ReadsAfterOpening : public LibraryTest {
  protected:
    void SetUp() override {
        LibraryTest::SetUp();
        ImageFile image{.rows = 64, .columns = 64, .words = std::vector<Uint16>(64 * 64, 7)};
        image.more = [](DcmDataset& dataset) {
            dataset.putAndInsertUint8Array(DCM_EncapsulatedDocument, kDocument.data(), kDocument.size());
        };
        writeImageFile(path, image);
        std::filesystem::copy_file(path, whole);
    }

    /// The reader is open, and then the file ends before its long values.
    void cutAfterOpening() {
        call("ReadMetadata", {path, Store::ofTexts({"Rows"}), false});
        std::filesystem::resize_file(path, 1000);
    }
    void mend() { std::filesystem::copy_file(whole, path, std::filesystem::copy_options::overwrite_existing); }
    const std::string path = folder.file("a.dcm");
    const std::string whole = folder.file("whole.dcm");
};

struct Call {
    std::string name;
    std::vector<Value> arguments; ///< behind the path
};

std::vector<Call> callsForLongValues() {
    return {
        {"ReadMetadata", {Store::ofTexts({"EncapsulatedDocument"}), false}},
        {"ReadMetadata", {Store::ofTexts({"PixelData"}), false}},
        {"ReadAllMetadata", {Store::empty(), true}},
        {"ReadImage", {0, 0, scaling(), false, 1}},
        {"ReadImageData", {0, 0, scaling(), false, 1}},
        {"ReadIntermediatePixelData", {1, 0}},
    };
}

} // namespace

TEST_F(ReadsAfterOpening, ThatFailAreErrorsOfTheFileAndNothingOfThemIsKept) {
    for (const Call& wanted : callsForLongValues()) {
        std::vector<Value> arguments = wanted.arguments;
        arguments.insert(arguments.begin(), path);
        cutAfterOpening();
        EXPECT_EQ(codeOf(wanted.name, arguments), kOpenFileError) << wanted.name;
        mend();
        EXPECT_EQ(codeOf(wanted.name, arguments), 0) << wanted.name;
        call("CloseReader", {path});
    }
}

TEST_F(ReadsAfterOpening, GiveTheValueOnceTheFileIsWholeAgain) {
    cutAfterOpening();
    EXPECT_EQ(codeOf("ReadMetadata", {path, Store::ofTexts({"EncapsulatedDocument"}), false}), kOpenFileError);
    mend();
    const Store store = std::get<Store>(call("ReadMetadata", {path, Store::ofTexts({"EncapsulatedDocument"}), false}));
    EXPECT_THAT(elementsOf<vint>(*(*store.begin()).cell().tensor), ElementsAreArray(kDocument));
}

TEST_F(ReadsAfterOpening, TellThatTheFileIsGone) {
    cutAfterOpening();
    std::filesystem::remove(path);
    const std::string later = messageOf("ReadMetadata", {path, Store::ofTexts({"EncapsulatedDocument"}), false});
    EXPECT_NE(later, "");
    EXPECT_EQ(messageOf("ReadMetadata", {path, Store::ofTexts({"Rows"}), false}), later) << "it is not kept open";
}
