#include "media/dicomdir/DicomIo.h"

#include <gtest/gtest.h>

#include <filesystem>

#include "dcmtk/dcmdata/dcdeftag.h"
#include "tests/support/DicomFiles.h"
#include "tests/support/TemporaryFolder.h"

using namespace radvex::test;
using namespace radvex::media;

namespace {

namespace fs = std::filesystem;

/// Pixels that stay in the file until they are written.
std::string writeLongFile(TemporaryFolder& folder) {
    return writeDicom(folder.file("long"), [](DcmDataset& dataset) {
        const std::vector<Uint16> words(1U << 18, 0x1234);
        dataset.putAndInsertUint16Array(DcmTag(DCM_PixelData, EVR_OW), words.data(), words.size());
    });
}

} // namespace

TEST(DicomIo, PixelsGoFromFileToFile) {
    TemporaryFolder folder;
    const std::string path = writeLongFile(folder);
    DcmFileFormat file;
    const auto source = loadDicomHead(file, path);
    std::string seen;
    saveDicom(file, folder.file("copy"), MetaInformation::New, "", [&](std::string_view bytes) { seen += bytes; });
    EXPECT_NO_THROW(requireRead(*source));
    const std::string copy = readFile(folder.file("copy"));
    EXPECT_EQ(seen, copy);
    EXPECT_EQ(copy.substr(copy.size() - (1U << 19)),
              std::string(readFile(path)).substr(fs::file_size(path) - (1U << 19)));
}

TEST(DicomIo, AFileThatIsCutOrChangedBeforeItsPixelsAreReadIsAnError) {
    for (const bool isCut : {true, false}) {
        TemporaryFolder folder;
        const std::string path = writeLongFile(folder);
        DcmFileFormat file;
        const auto source = loadDicomHead(file, path);
        if (isCut) {
            fs::resize_file(path, fs::file_size(path) / 2);
        } else {
            std::string bytes = readFile(path);
            bytes.back() = 'x';
            folder.write("long", bytes);
        }
        saveDicom(file, folder.file("copy"), MetaInformation::New);
        EXPECT_THROW(requireRead(*source), std::runtime_error) << isCut;
    }
}

TEST(DicomIo, NewMetaInformationHasNothingOfTheOldOne) {
    TemporaryFolder folder;
    DcmFileFormat original;
    original.getDataset()->putAndInsertString(DCM_SOPClassUID, UID_CTImageStorage);
    original.getMetaInfo()->putAndInsertString(DCM_SourceApplicationEntityTitle, "DOE_PC");
    const std::string path = folder.file("file");
    ASSERT_TRUE(original.saveFile(path.c_str(), EXS_LittleEndianExplicit).good());
    std::string bytes = readFile(path);
    bytes.replace(0, 4, "Jane");
    folder.write("file", bytes);
    DcmFileFormat file;
    loadDicomHead(file, path);
    saveDicom(file, folder.file("new"), MetaInformation::New, "2.25.77");
    const std::string written = readFile(folder.file("new"));
    EXPECT_EQ(written.substr(0, 128), std::string(128, '\0'));
    EXPECT_EQ(written.find("DOE_PC"), std::string::npos);
    DcmFileFormat again;
    ASSERT_TRUE(again.loadFile(folder.file("new").c_str()).good());
    OFString instance;
    EXPECT_TRUE(again.getMetaInfo()->findAndGetOFString(DCM_MediaStorageSOPInstanceUID, instance).good());
    EXPECT_EQ(instance, "2.25.77") << "a dataset without an instance gets no UID of this machine";
}
