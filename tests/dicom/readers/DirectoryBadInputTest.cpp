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

/// While one of these is there: DCMTK does not free the record that it was reading when it throws.
#ifdef __SANITIZE_ADDRESS__
using DcmtkMayLeak = __lsan::ScopedDisabler;
#else
struct DcmtkMayLeak {
    DcmtkMayLeak() {}
};
#endif

class DirectoryBadInput : public DirectoryTest {
  protected:
    /// Puts these bytes in the place of the DICOMDIR.
    void replace(const std::string& bytes) {
        call("ClearCache");
        path = folder.write("DICOMDIR", bytes);
    }
    /// Every read that may fail in any way but has to come back. Those of the files mind a missing one.
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
    static std::vector<std::size_t> placesOf(const std::string& bytes, const std::string& part) {
        std::vector<std::size_t> places;
        for (auto found = bytes.find(part); found != std::string::npos; found = bytes.find(part, found + 1)) {
            places.push_back(found);
        }
        return places;
    }
    /// Where the values of the offsets are: to the first and last record, to the next one and to the lower level.
    static std::vector<std::size_t> offsets(const std::string& bytes) {
        std::vector<std::size_t> places;
        for (const int element : {0x1200, 0x1202, 0x1400, 0x1420}) {
            collect(places, bytes, element);
        }
        return places;
    }
    static void collect(std::vector<std::size_t>& places, const std::string& bytes, int element) {
        const std::string header{
            '\x04', '\0', static_cast<char>(element & 0xFF), static_cast<char>(element >> 8), 'U', 'L', '\x04', '\0'};
        for (const std::size_t place : placesOf(bytes, header)) {
            places.push_back(place + header.size());
        }
    }
    static std::vector<std::size_t> records(const std::string& bytes) {
        return placesOf(bytes, std::string("\xFE\xFF\x00\xE0", 4));
    }
    static std::string withOffset(std::string bytes, std::size_t place, std::size_t target) {
        for (int byte = 0; byte < 4; ++byte) {
            bytes[place + static_cast<std::size_t>(byte)] = static_cast<char>(target >> (8 * byte) & 0xFF);
        }
        return bytes;
    }
};

} // namespace

TEST_F(DirectoryBadInput, AnyOffsetMayLeadToAnyRecord) {
    const std::string good = smallMedium();
    const auto targets = records(good);
    const auto places = offsets(good);
    ASSERT_EQ(targets.size(), 10U) << "records";
    ASSERT_EQ(places.size(), 22U) << "two of the directory, two of each record";
    std::set<std::string> structures;
    for (const std::size_t place : places) {
        for (const std::size_t target : targets) {
            replace(withOffset(good, place, target));
            expectEveryReadToEnd(std::to_string(place) + " to " + std::to_string(target));
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
    for (const std::size_t place : offsets(good)) {
        for (const std::size_t target :
             {std::size_t{1}, records(good)[1] + 1, good.size(), good.size() + 1000, std::size_t{0xFFFFFFFF}}) {
            replace(withOffset(good, place, target));
            expectEveryReadToEnd(std::to_string(place) + " to " + std::to_string(target));
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
    writeFileIds({"A"});
    writeImage("A", 1, grey8(1, 2, {1, 2}));
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
    writeFileIds({"A"});
    writeImage("A", 1, grey8(1, 2, {1, 2}));
    const std::string good = readFile(path);
    for (std::size_t place = records(good).front(); place < good.size(); ++place) {
        for (const char other : {'\0', '\x7F', '\xFF'}) {
            std::string bytes = good;
            bytes[place] = other;
            replace(bytes);
            expectEveryReadToEnd("byte " + std::to_string(place));
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
    EXPECT_EQ(storeAt(storeAt(storeAt(tree.view(), 0), 0), 0).size(), ids.size());
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

TEST_F(DirectoryBadInput, ARecordTypeLongerThanAnyThatComesLaterIsToo) {
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
    const std::string place = folder.path().string() + "/medium/";
    EXPECT_EQ(structureLine(), "P{1{1.1{../OUTSIDE},1.2{../..}}}");
    EXPECT_EQ(outline(pictures(0).view()), "P{1{1.1{" + place + "../OUTSIDE:image},1.2{}}}");

    host().services().allowReadingBelow({folder.file("medium")});
    EXPECT_EQ(structureLine(), "P{1{1.1{../OUTSIDE},1.2{../..}}}");
    EXPECT_EQ(outline(pictures(0).view()), "P{1{1.1{},1.2{}}}");
    EXPECT_EQ(codeOf("Read3DImage", volumeArguments(0)), -71);
    EXPECT_EQ(messageOf("ReadMetadataRecursive", {path, Store::ofTexts({"Rows"}), ".*", false}),
              "File path " + place + "../OUTSIDE could not be validated under desired open mode.");
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
