// Files that would exhaust DCMTK's parser. Every function refuses them in time and names the reason, and the process
// goes on.

#include <filesystem>

#include "tests/dicom/DicomTest.h"
#include "tests/support/HostileFiles.h"
#include "tests/support/SmallStack.h"

using namespace radvex::test;
using namespace velmora;

namespace {

class ExhaustingFiles : public LibraryTest {
  protected:
    /// Why a function refuses a file; all functions that parse it have to give the same reason.
    std::string refusal(const std::string& bytes) {
        const std::string path = folder.write("DICOMDIR", bytes);
        const std::string reason = messageOf("ReadAllMetadata", {path, Store::empty(), false});
        EXPECT_EQ(codeOf("ReadImage", {path, 0, 0, scaling(), false, 1}), kOpenFileError);
        EXPECT_EQ(codeOf("ReadDICOMDIRStructure", {path, ".*", ".*", ".*", false}), kOpenFileError);
        EXPECT_EQ(codeOf("DicomAnonymize", {path, folder.file("out.dcm"), Store::empty()}), kOpenFileError);
        EXPECT_FALSE(std::filesystem::exists(folder.file("out.dcm")));
        const auto good = writeDicom(folder.file("good.dcm"), {});
        EXPECT_EQ(codeOf("GetFrameCount", {good}), 0) << "afterwards a good file is read";
        return reason;
    }
};

/// Elements of one item in descending order.
std::string descending(std::uint32_t count) {
    std::string bytes;
    for (std::uint32_t number = count; number > 0; --number) {
        bytes += kExplicitForm.element(0x00110000 + number, "UN", "");
    }
    return bytes;
}

/// Each record refers to the next one as its lower level.
std::string recordsBelowRecords(std::uint32_t levels) {
    std::vector<DirectoryRecord> records(levels);
    for (std::uint32_t number = 1; number < levels; ++number) {
        records[number - 1].lower = number + 1;
    }
    return directory(kExplicitForm, records, 1, withMeta(kExplicit, "").size());
}

} // namespace

TEST_F(ExhaustingFiles, SequencesInsideSequences) {
    EXPECT_THAT(refusal(withMeta(kExplicit, nested({}, 200'000))), HasSubstr("sequences nested over 100 levels"));
}

TEST_F(ExhaustingFiles, DirectoryRecordsBelowDirectoryRecords) {
    for (const std::uint32_t levels : {3'000U, 100'000U}) {
        EXPECT_THAT(refusal(withMeta(kExplicit, recordsBelowRecords(levels))),
                    HasSubstr("directory records nested over 100 levels"));
    }
}

TEST_F(ExhaustingFiles, ElementsInDescendingOrder) {
    EXPECT_THAT(refusal(withMeta(kExplicit, descending(100'000))),
                HasSubstr("over 20000 elements of one item out of order"));
}

TEST_F(ExhaustingFiles, ValuesThatClaimMoreThanMayBeInflated) {
    const std::string claim = kExplicitForm.header(0x7FE00010, "OB", 0xFFFFFFF0);
    EXPECT_THAT(refusal(withMeta(kDeflated, deflated(claim))), HasSubstr("inflated data over 1073741824 bytes"));
}

// 32 million of them in 256 KiB took a minute and a half.
TEST_F(ExhaustingFiles, VeryManyEmptyElements) {
    const std::string elements(std::size_t{8} * 10'000'001, '\0');
    EXPECT_THAT(refusal(withMeta(kDeflated, deflated(elements))), HasSubstr("over 10000000 elements"));
}

TEST_F(ExhaustingFiles, AHundredLevelsAreReadOnASmallStack) {
    const std::string path = folder.write("a.dcm", withMeta(kExplicit, nested({}, 100)));
    int code = -1;
    onSmallStack([&] { code = codeOf("ReadAllMetadata", {path, Store::empty(), false}); });
    EXPECT_EQ(code, 0);
}

TEST_F(ExhaustingFiles, AHundredLevelsOfRecordsAreReadOnASmallStack) {
    const std::string path = folder.write("DICOMDIR", withMeta(kExplicit, recordsBelowRecords(100)));
    int code = -1;
    onSmallStack([&] { code = codeOf("ReadDICOMDIRStructure", {path, ".*", ".*", ".*", true}); });
    EXPECT_EQ(code, 0);
}

TEST_F(ExhaustingFiles, AreRefusedOnASmallStack) {
    std::string sequences;
    std::string records;
    onSmallStack([&] {
        sequences = refusal(withMeta(kExplicit, nested({}, 200'000)));
        records = refusal(withMeta(kExplicit, recordsBelowRecords(100'000)));
    });
    EXPECT_THAT(sequences, HasSubstr("sequences nested over 100 levels"));
    EXPECT_THAT(records, HasSubstr("directory records nested over 100 levels"));
}
