// Directories from strangers: whatever they say, a read ends in time with a result or an error.

#include <chrono>
#include <filesystem>
#include <set>

#include "tests/dicom/readers/DirectoryTest.h"
#include "tests/dicom/readers/SeriesFiles.h"

#ifdef __SANITIZE_ADDRESS__
#include <sanitizer/lsan_interface.h>
#endif

using namespace radvex::test;
using namespace velmora;
using testing::AnyOf;

namespace {

/// Leaks do not count while one of these lives: DCMTK throws without freeing the record that it was reading.
#ifdef __SANITIZE_ADDRESS__
using DcmtkMayLeak = __lsan::ScopedDisabler;
#else
struct DcmtkMayLeak {
    DcmtkMayLeak() {}
};
#endif

class DirectoryBadInput : public DirectoryTest {
  protected:
    /// Writes these bytes over the DICOMDIR.
    void replace(const std::string& bytes) {
        call("ClearCache");
        path = folder.write("DICOMDIR", bytes);
    }
    /// Runs every read, each of which may fail but has to return. Those that read the files fail on a missing one.
    void expectEveryReadToEnd(const std::string& what) {
        const std::vector<int> codes{codeOf("ReadDICOMDIRStructure", structureArguments()),
                                     codeOf("ReadSeriesInfo", {path, Store::ofTexts({"UID"}), ".*", ".*", ".*"}),
                                     codeOf("Read2DImagesDir", pictureArguments(kCommon)),
                                     codeOf("Read3DImage", volumeArguments(kCommon)),
                                     codeOf("ReadMetadataRecursive", {path, Store::ofTexts({"Rows"}), ".*", false}),
                                     codeOf("ReadAllMetadata", {path, Store::empty(), true})};
        EXPECT_THAT(codes, testing::Each(AnyOf(0, 6, -62, -68, -69, -71))) << what;
    }
    /// One patient, two studies, three series, four images; three of the files are there.
    std::string smallMedium() {
        writeDirectory({patientRecord("P", "N",
                                      {studyRecord("1", {seriesOf("1.1", {"A", "B"}), seriesOf("1.2", {"C"})}),
                                       studyRecord("2", {seriesOf("2.1", {"MISSING"})})})});
        for (const char* id : {"A", "B", "C"}) {
            writeImage(id, 1, grey8(1, 2, {1, 2}));
        }
        return readFile(path);
    }
    static std::vector<std::size_t> offsetsOf(const std::string& bytes, const std::string& part) {
        std::vector<std::size_t> all;
        for (auto found = bytes.find(part); found != std::string::npos; found = bytes.find(part, found + 1)) {
            all.push_back(found);
        }
        return all;
    }
    /// Where the values of the offsets are: to the first and last record, to the next one and to the lower level.
    static std::vector<std::size_t> offsets(const std::string& bytes) {
        std::vector<std::size_t> all;
        for (const int element : {0x1200, 0x1202, 0x1400, 0x1420}) {
            collect(all, bytes, element);
        }
        return all;
    }
    static void collect(std::vector<std::size_t>& all, const std::string& bytes, int element) {
        const std::string header{
            '\x04', '\0', static_cast<char>(element & 0xFF), static_cast<char>(element >> 8), 'U', 'L', '\x04', '\0'};
        for (const std::size_t offset : offsetsOf(bytes, header)) {
            all.push_back(offset + header.size());
        }
    }
    static std::vector<std::size_t> records(const std::string& bytes) {
        return offsetsOf(bytes, std::string("\xFE\xFF\x00\xE0", 4));
    }
    static std::string withOffset(std::string bytes, std::size_t offset, std::size_t target) {
        for (int byte = 0; byte < 4; ++byte) {
            bytes[offset + static_cast<std::size_t>(byte)] = static_cast<char>(target >> (8 * byte) & 0xFF);
        }
        return bytes;
    }
};

} // namespace

TEST_F(DirectoryBadInput, AnyOffsetMayLeadToAnyRecord) {
    const std::string good = smallMedium();
    const auto targets = records(good);
    const auto fields = offsets(good);
    ASSERT_EQ(targets.size(), 10U) << "records";
    ASSERT_EQ(fields.size(), 22U) << "two of the directory, two of each record";
    std::set<std::string> structures;
    for (const std::size_t offset : fields) {
        for (const std::size_t target : targets) {
            replace(withOffset(good, offset, target));
            expectEveryReadToEnd(std::to_string(offset) + " to " + std::to_string(target));
            structures.insert(structureLine());
        }
    }
    EXPECT_GT(structures.size(), 20U) << "the offsets were those that count";
}

TEST_F(DirectoryBadInput, ARecordThatIsItsOwnNeighbourIsOneRecord) {
    const std::string good = smallMedium();
    const auto targets = records(good);
    std::vector<std::size_t> next;
    collect(next, good, 0x1400);
    ASSERT_EQ(next.size(), targets.size());
    replace(withOffset(good, next[0], targets[0]));
    EXPECT_EQ(structureLine(), "P{1{1.1{A,B},1.2{C}},2{2.1{MISSING}}}");
}

TEST_F(DirectoryBadInput, OffsetsMayLeadAnywhere) {
    const std::string good = smallMedium();
    for (const std::size_t offset : offsets(good)) {
        for (const std::size_t target :
             {std::size_t{1}, records(good)[1] + 1, good.size(), good.size() + 1000, std::size_t{0xFFFFFFFF}}) {
            replace(withOffset(good, offset, target));
            expectEveryReadToEnd(std::to_string(offset) + " to " + std::to_string(target));
        }
    }
}

TEST_F(DirectoryBadInput, WhatNoOffsetLeadsToIsNotThere) {
    const std::string good = smallMedium();
    std::vector<std::size_t> first;
    collect(first, good, 0x1200);
    ASSERT_EQ(first.size(), 1U);
    replace(withOffset(good, first[0], 0));
    EXPECT_EQ(structureLine(), "");
    replace(withOffset(good, first[0], good.size() + 2));
    EXPECT_EQ(structureLine(), "");
}

TEST_F(DirectoryBadInput, CutAtAnyByteItGivesARecordOrAnError) {
    writeFiles({{"A", 1, grey8(1, 2, {1, 2})}});
    const std::string good = readFile(path);
    for (std::size_t size = 0; size < good.size(); ++size) {
        replace(good.substr(0, size));
        EXPECT_THAT(codeOf("ReadDICOMDIRStructure", structureArguments()), AnyOf(0, -62)) << size;
        EXPECT_THAT(codeOf("Read2DImagesDir", pictureArguments(0)), AnyOf(0, -62)) << size;
    }
    replace(good);
    EXPECT_EQ(structureLine(), "P{1{1.1{A}}}");
}

TEST_F(DirectoryBadInput, AnyByteOfARecordMayBeAnother) {
    writeFiles({{"A", 1, grey8(1, 2, {1, 2})}});
    const std::string good = readFile(path);
    for (std::size_t offset = records(good).front(); offset < good.size(); ++offset) {
        for (const char other : {'\0', '\x7F', '\xFF'}) {
            std::string bytes = good;
            bytes[offset] = other;
            replace(bytes);
            expectEveryReadToEnd("byte " + std::to_string(offset));
        }
    }
}

TEST_F(DirectoryBadInput, TenThousandRecordsAreReadInTime) {
    std::vector<std::string> ids;
    for (int index = 0; index < 10000; ++index) {
        ids.push_back("D\\I" + std::to_string(index));
    }
    writeFileIds(ids);
    const auto start = std::chrono::steady_clock::now();
    const Store tree = structure();
    EXPECT_EQ(storeAt(tree.view(), {0, 0, 0}).size(), ids.size());
    EXPECT_EQ(outline(pictures(0).view()), "P{1{1.1{}}}");
    EXPECT_EQ(codeOf("Read3DImage", volumeArguments(0)), -71);
    EXPECT_EQ(codeOf("ReadMetadataRecursive", {path, Store::empty(), ".*", false}), -62);
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(60));
}

TEST_F(DirectoryBadInput, TenThousandPatientsAreReadInTime) {
    std::vector<MediumRecord> patients;
    for (int index = 0; index < 10000; ++index) {
        patients.push_back(patientRecord(std::to_string(index), "", {}));
    }
    writeDirectory(patients);
    const auto start = std::chrono::steady_clock::now();
    EXPECT_EQ(structure().size(), patients.size());
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(60));
}

TEST_F(DirectoryBadInput, ARecordTypeLongerThanAnyIsAnErrorAndTheNextReadWorks) {
    writeDirectory({{std::string(34, 'T'), {}, {}}});
    {
        const DcmtkMayLeak scope;
        EXPECT_EQ(codeOf("ReadDICOMDIRStructure", structureArguments()), 6);
        EXPECT_EQ(codeOf("Read3DImage", volumeArguments(0)), 6);
        EXPECT_EQ(codeOf("ReadPatientInfo", {path, Store::empty(), ".*"}), 6);
    }
    writeDirectory({patientRecord("P", "", {})});
    EXPECT_EQ(structureLine(), "P{}");
}

TEST_F(DirectoryBadInput, ARecordTypeLongerThanAnyBehindAnOpenReaderIsAnError) {
    writeFileIds({"A"});
    EXPECT_EQ(structureLine(), "P{1{1.1{A}}}");
    writeMedium(folder, {{std::string(34, 'T'), {}, {}}}); // behind the open reader
    const DcmtkMayLeak scope;
    EXPECT_EQ(codeOf("ReadDICOMDIRStructure", structureArguments()), 6);
    EXPECT_EQ(codeOf("ReadMetadataRecursive", {path, Store::empty(), ".*", false}), 6);
}

TEST_F(DirectoryBadInput, NamesThatClimbOutAreLeftToTheHost) {
    std::filesystem::create_directory(folder.path() / "medium");
    writeImage("OUTSIDE", 1, grey8(1, 2, {1, 2}));
    path = writeMedium(
        folder,
        {patientRecord("P", "", {studyRecord("1", {seriesOf("1.1", {"..\\OUTSIDE"}), seriesOf("1.2", {"..\\.."})})})},
        "medium/DICOMDIR");
    const std::string medium = folder.path().string() + "/medium/";
    EXPECT_EQ(structureLine(), "P{1{1.1{../OUTSIDE},1.2{../..}}}");
    EXPECT_EQ(outline(pictures(0).view()), "P{1{1.1{" + medium + "../OUTSIDE:image},1.2{}}}");

    host().services().allowReadingBelow({folder.file("medium")});
    EXPECT_EQ(structureLine(), "P{1{1.1{../OUTSIDE},1.2{../..}}}");
    EXPECT_EQ(outline(pictures(0).view()), "P{1{1.1{},1.2{}}}");
    EXPECT_EQ(codeOf("Read3DImage", volumeArguments(0)), -71);
    EXPECT_EQ(messageOf("ReadMetadataRecursive", {path, Store::ofTexts({"Rows"}), ".*", false}),
              "File path " + medium + "../OUTSIDE could not be validated under desired open mode.");
}

TEST_F(DirectoryBadInput, ALinkOutOfTheMediumIsLeftToTheHostToo) {
    std::filesystem::create_directory(folder.path() / "medium");
    writeImage("OUTSIDE", 1, grey8(1, 2, {1, 2}));
    std::filesystem::create_symlink(folder.file("OUTSIDE"), folder.path() / "medium" / "LINK");
    path = writeMedium(folder, {patientRecord("P", "", {studyRecord("1", {seriesOf("1.1", {"LINK"})})})},
                       "medium/DICOMDIR");
    EXPECT_EQ(outline(volumes(0).view()), "P{1{1.1:image}}");
    host().services().allowReadingBelow({folder.file("medium")});
    EXPECT_EQ(codeOf("Read3DImage", volumeArguments(0)), -71);
}

TEST_F(DirectoryBadInput, AFileIdThatNamesTheDirectoryItselfIsAFileWithoutPixels) {
    writeFileIds({"DICOMDIR"});
    EXPECT_EQ(outline(pictures(0).view()), "P{1{1.1{}}}");
    EXPECT_EQ(codeOf("Read3DImage", volumeArguments(0)), -68);
    EXPECT_EQ(call("ReadMetadataRecursive", {path, Store::empty(), ".*", false}).get<Store>().size(), 1U);
}

TEST_F(DirectoryBadInput, APatternThatBacktracksForeverElsewhereAnswersAtOnce) {
    writeDirectory({patientRecord(std::string(60, 'a'), "", {})});
    EXPECT_EQ(structureLine({.patient = "(a*)*(a*)*(a*)*b"}), "");
    EXPECT_EQ(structureLine({.patient = "(a|b)*"}), std::string(60, 'a') + "{}");
}
