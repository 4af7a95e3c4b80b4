#include "dicom/readers/DcmReaderCache.h"

#include <filesystem>

#include "dicom/readers/DcmDirReader.h"
#include "dicom/readers/DcmFileReader.h"
#include "tests/dicom/DicomTest.h"

using namespace radvex;
using namespace radvex::test;

namespace {

class ReaderCache : public ClassTest {
  protected:
    std::string write(const std::string& name) { return writeDicom(folder.file(name), {}); }

    /// The values of the error's message that a function ends with.
    template <typename Function>
    std::vector<std::string> parametersOf(Function function) {
        try {
            function();
        } catch (const GTU::GantryError& error) {
            EXPECT_EQ(error.name(), "OpenFileError");
            return services().symbolValues("GTU`$LastFailureParameters");
        }
        return {};
    }
    DcmReaderCache cache{};
};

} // namespace

TEST_F(ReaderCache, TheSamePathGivesTheSameReader) {
    const auto path = write("a.dcm");
    EXPECT_EQ(cache.openReader<DcmFileReader>(path), cache.openReader<DcmFileReader>(path));
    EXPECT_EQ(cache.size(), 1U);
}

TEST_F(ReaderCache, AnotherSpellingOfAPathIsAnotherReader) {
    write("a.dcm");
    std::filesystem::current_path(folder.path());
    EXPECT_NE(cache.openReader<DcmFileReader>("a.dcm"), cache.openReader<DcmFileReader>("./a.dcm"));
    std::filesystem::current_path("/");
    EXPECT_EQ(cache.size(), 2U);
}

TEST_F(ReaderCache, AFailedOpenLeavesItEmpty) {
    const std::string path = folder.file("missing");
    for (int attempt = 0; attempt < 2; ++attempt) {
        EXPECT_EQ(parametersOf([&] { cache.openReader<DcmFileReader>(path); }),
                  (std::vector<std::string>{path, "No such file or directory"}));
        EXPECT_EQ(cache.size(), 0U);
    }
}

TEST_F(ReaderCache, APathOpenAsAFileIsNoDirectoryUntilItIsClosed) {
    const auto path = write("a.dcm");
    const auto file = cache.openReader<DcmFileReader>(path);
    EXPECT_EQ(parametersOf([&] { cache.openReader<DcmDirReader>(path); }),
              (std::vector<std::string>{path, "Unexpected type (DICOM vs DICOMDIR)."}));
    EXPECT_EQ(cache.openReader<DcmFileReader>(path), file) << "the first kind of request stays valid";
    cache.close(path);
    EXPECT_NE(cache.openReader<DcmDirReader>(path), nullptr);
}

TEST_F(ReaderCache, TheEndOfThePathChoosesTheKind) {
    const auto isDirectory = [&](const std::string& name) {
        return std::dynamic_pointer_cast<DcmDirReader>(cache.openReader<DcmReader>(write(name))) != nullptr;
    };
    EXPECT_TRUE(isDirectory("DICOMDIR"));
    EXPECT_TRUE(isDirectory("dicomdir"));
    EXPECT_TRUE(isDirectory("scan.DICOMDIR"));
    EXPECT_FALSE(isDirectory("scan.DicomDir"));
    EXPECT_FALSE(isDirectory("DIR"));
    EXPECT_FALSE(isDirectory("DICOMDIR.dcm"));
}

TEST_F(ReaderCache, APathShorterThanTheNameOfADirectoryIsAFile) {
    const auto before = std::filesystem::current_path();
    std::filesystem::current_path(folder.path());
    const auto isFile = [&](const std::string& path) {
        write(path);
        return std::dynamic_pointer_cast<DcmFileReader>(cache.openReader<DcmReader>(path)) != nullptr;
    };
    EXPECT_TRUE(isFile("ICOMDIR"));
    EXPECT_TRUE(isFile("icomdir"));
    EXPECT_TRUE(isFile("DICOMDI"));
    EXPECT_TRUE(isFile("R"));
    EXPECT_FALSE(isFile("DICOMDIR")) << "as long as the name";
    std::filesystem::current_path(before);
}

TEST_F(ReaderCache, AReaderInUseOutlivesItsEntry) {
    const auto reader = cache.openReader<DcmFileReader>(write("a.dcm"));
    cache.clear();
    EXPECT_EQ(cache.size(), 0U);
    EXPECT_EQ(reader->readInfo(DCM_SOPInstanceUID), "1.2.3.4.5");
}

TEST_F(ReaderCache, InfoOfSeveralValuesIsJoinedByBackslashes) {
    const auto path = writeDicom(folder.file("a.dcm"),
                                 with({{DCM_ImageType, "ORIGINAL\\PRIMARY\\AXIAL"}, {DCM_InstanceNumber, "-12"}}));
    const DcmFileReader reader(path);
    EXPECT_EQ(reader.readInfo(DCM_ImageType), "ORIGINAL\\PRIMARY\\AXIAL");
    EXPECT_EQ(reader.readInfo(DCM_PatientName), "");
    EXPECT_EQ(reader.getInstanceNumber(), -12);
}

TEST_F(ReaderCache, TheTableOfErrorsHas91EntriesBehindWhichIdsGoOn) {
    EXPECT_EQ(GTU::ErrorManager::errors().size(), 91U);
    EXPECT_EQ(GTU::ErrorManager::nextErrorId(), -84);
    GTU::ErrorManager::registerPlugpackErrors(libraryErrors());
    EXPECT_EQ(GTU::ErrorManager::nextErrorId(), -84) << "registering again changes nothing";
}
