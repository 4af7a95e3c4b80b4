// Files of HTJ2K through the library: values, attributes, and copies that stay what they are.

#include "guard/GuardedLoad.h"
#include "guard/pixels/EncodedPixels.h"
#include "tests/dicom/DicomTest.h"
#include "tests/support/HostileFiles.h"
#include "tests/support/Jpeg2000Parts.h"

using namespace radvex::test;
using namespace velmora;

namespace {

const std::string kHtj2kUid = "1.2.840.10008.1.2.4.20"; // and one more digit

class Htj2kFiles : public LibraryTest {
  protected:
    /// A file of one frame.
    std::string write(const std::string& uid, const std::string& stream) {
        const auto number = [](std::uint32_t tag, std::uint32_t value) {
            return kExplicitForm.element(tag, "US", kExplicitForm.number16(value));
        };
        const std::string identity = kExplicitForm.element(0x00080016, "UI", std::string(UID_CTImageStorage) + '\0') +
                                     kExplicitForm.element(0x00080018, "UI", std::string("1.2.3\0", 6)) +
                                     kExplicitForm.element(0x00100010, "PN", "Doe^Jane");
        const std::string shape = number(0x00280002, 1) + kExplicitForm.element(0x00280004, "CS", "MONOCHROME2 ") +
                                  number(0x00280010, 3) + number(0x00280011, 5) + number(0x00280100, 16) +
                                  number(0x00280101, 12) + number(0x00280102, 11) + number(0x00280103, 0);
        const std::string pixels = kExplicitForm.header(0x7FE00010, "OB", kUndefined) +
                                   kExplicitForm.item(0xFFFEE000, 0) +
                                   kExplicitForm.item(0xFFFEE000, static_cast<std::uint32_t>(stream.size())) + stream +
                                   kExplicitForm.item(0xFFFEE0DD, 0);
        return folder.write("file" + std::to_string(++mFiles) + ".dcm", withMeta(uid, identity + shape + pixels));
    }

  private:
    int mFiles = 0;
};

} // namespace

TEST_F(Htj2kFiles, AreReadAsAnyOther) {
    for (const std::string digit : {"1", "2", "3"}) {
        const auto path = write(kHtj2kUid + digit, htj2kStream());
        const Value values = call("ReadIntermediatePixelData", {path, 1, 0});
        const auto& array = *values.get<NumericArray>().handle();
        ASSERT_EQ(array.type, VNumericArray_U16);
        const auto* words = static_cast<const std::uint16_t*>(array.data.get());
        EXPECT_EQ(std::vector<int>(words, words + array.length), htj2kSamples());
    }
}

TEST_F(Htj2kFiles, OfPlainJpeg2000AreReadToo) {
    const Jpeg2000Source source = jpeg2000Picture(3, 5, 1, 12);
    std::string stream = jpeg2000Stream(source);
    stream.append(stream.size() % 2, '\0');
    const auto path = write(kHtj2kUid + "1", stream);
    EXPECT_EQ(codeOf("ReadIntermediatePixelData", {path, 1, 0}), 0) << "the decoder looks at the codestream";
}

TEST_F(Htj2kFiles, ThatAreDamagedSayWhy) {
    const auto path = write(kHtj2kUid + "1", htj2kStream().substr(0, 100));
    EXPECT_EQ(messageOf("ReadIntermediatePixelData", {path, 1, 0}),
              "Could not open DICOM image in file " + path +
                  ". Operation status: its JPEG 2000 codestream ends too early.");
    EXPECT_EQ(codeOf("ReadMetadata", {path, Store::ofTexts({"PatientName"}), true}), 0);
}

TEST_F(Htj2kFiles, StayWhatTheyAreWhenTheyAreAnonymized) {
    for (const std::string digit : {"1", "2", "3"}) {
        const auto path = write(kHtj2kUid + digit, htj2kStream());
        const std::string copy = folder.file("copy" + digit + ".dcm");
        Store replacements = Store::empty();
        replacements.add("PatientName", "X");
        ASSERT_EQ(codeOf("DicomAnonymize", {path, copy, replacements}), 0);
        DcmFileFormat file;
        ASSERT_EQ(radvex::loadGuarded(file, copy), std::nullopt);
        EXPECT_EQ(textOf(*file.getMetaInfo(), DCM_TransferSyntaxUID), kHtj2kUid + digit);
        EXPECT_EQ(textOf(*file.getDataset(), DCM_PatientName), "X");
        DcmPixelSequence* fragments = radvex::currentFragments(*radvex::pixelDataOf(*file.getDataset()));
        ASSERT_NE(fragments, nullptr);
        DcmPixelItem* fragment = nullptr;
        Uint8* bytes = nullptr;
        ASSERT_TRUE(fragments->getItem(fragment, 1).good() && fragment->getUint8Array(bytes).good());
        EXPECT_EQ(std::string(reinterpret_cast<const char*>(bytes), fragment->getLength()), htj2kStream());
        EXPECT_EQ(codeOf("ReadIntermediatePixelData", {copy, 1, 0}), 0);
    }
}

TEST_F(Htj2kFiles, StayWhatTheyAreWhenTheirPixelsWereRead) {
    const auto path = write(kHtj2kUid + "3", htj2kStream());
    ASSERT_EQ(codeOf("ReadIntermediatePixelData", {path, 1, 0}), 0);
    const std::string copy = folder.file("copy.dcm");
    Store replacements = Store::empty();
    replacements.add("PatientName", "X");
    ASSERT_EQ(codeOf("DicomAnonymize", {path, copy, replacements}), 0);
    DcmFileFormat file;
    ASSERT_EQ(radvex::loadGuarded(file, copy), std::nullopt);
    EXPECT_EQ(textOf(*file.getMetaInfo(), DCM_TransferSyntaxUID), kHtj2kUid + "3");
    EXPECT_EQ(textOf(*file.getDataset(), DCM_LossyImageCompression), "(none)") << "nothing was decoded for it";
}
