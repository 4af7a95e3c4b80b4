// What the class offers beside the exported functions, and how it finds its files.

#include <algorithm>

#include "dicom/readers/DcmDirReader.h"
#include "dicom/readers/DirectoryTree.h"
#include "tests/dicom/readers/DirectoryTest.h"
#include "tests/dicom/readers/SeriesFiles.h"

using namespace radvex;
using namespace radvex::test;
using namespace velmora;

namespace {

class DirectoryFiles : public ClassTest {
  protected:
    std::string writeSeries(std::vector<MediumRecord> series) {
        return writeMedium(folder, {patientRecord("P", "N", {studyRecord("1", std::move(series))})});
    }
    std::string writeImage(const std::string& fileId, int number, const ImageFile& file = grey8(1, 2, {1, 2})) {
        return writeSlice(folder, {.fileId = fileId, .number = number, .file = file});
    }
    /// A file that says its File ID in its accession number.
    void writeNamed(const std::string& fileId, const std::string& number) {
        ImageFile file = grey8(1, 2, {1, 2});
        file.more = [&](DcmDataset& dataset) {
            put(dataset, {{DCM_AccessionNumber, fileId}});
            if (!number.empty()) {
                put(dataset, {{DCM_InstanceNumber, number}});
            }
        };
        writeImage(fileId, 0, file);
    }
    /// Accession numbers of the sorted readers of the first series of a medium.
    std::vector<std::string> sortedIds(const std::string& path) {
        const DcmDirReader reader(path);
        DirectoryTree tree(path);
        DcmDirectoryRecord* series = tree.root().getSub(0)->getSub(0)->getSub(0);
        std::vector<std::string> ids;
        for (const auto& file : reader.getSortedImageReaders(series)) {
            ids.push_back(file->readInfo(DCM_AccessionNumber));
        }
        return ids;
    }
    /// The store that a read gives.
    template <typename Read>
    Store resultOf(Read read) {
        DataStore store = nullptr;
        VArgument result{};
        result.dataStore = &store;
        GTU::VArgumentManager manager(0, nullptr, result);
        read(manager);
        return Store(store);
    }
};

const RegexFilter& everything() {
    static const RegexFilter filter(ALL_PATIENTS, ALL_STUDIES, ALL_SERIES);
    return filter;
}

} // namespace

TEST_F(DirectoryFiles, TheLocationIsThePathWithoutItsLastEightCharacters) {
    const auto location = [](const std::string& path) { return DcmDirReader(path).getDICOMDIRLocation(); };
    const std::string path = writeMedium(folder, {});
    EXPECT_EQ(location(path), folder.path().string() + "/");
    const auto before = std::filesystem::current_path();
    std::filesystem::current_path(folder.path());
    std::filesystem::copy(path, "abc");
    std::filesystem::copy(path, "sevenab");
    std::filesystem::copy(path, "anything else");
    EXPECT_EQ(location("DICOMDIR"), "");
    EXPECT_EQ(location("abc"), "abc");
    EXPECT_EQ(location("sevenab"), "sevenab");
    EXPECT_EQ(location("anything else"), "anyth") << "whatever the characters are";
    std::filesystem::current_path(before);
}

TEST_F(DirectoryFiles, AFileNameIsTheFileIdWithSlashes) {
    const std::string path = writeSeries({});
    const DcmDirReader reader(path);
    DcmDirectoryRecord record;
    record.putAndInsertString(DCM_ReferencedFileID, "DICOM\\ST000\\SE000\\IM000");
    EXPECT_EQ(reader.getDirectoryRecordFileName(&record, true), folder.file("DICOM/ST000/SE000/IM000"));
    EXPECT_EQ(reader.getDirectoryRecordFileName(&record, false), "DICOM/ST000/SE000/IM000");
    DcmDirectoryRecord empty;
    EXPECT_EQ(reader.getDirectoryRecordFileName(&empty, true), folder.path().string() + "/");
    EXPECT_EQ(reader.getDirectoryRecordFileName(&empty, false), "");
}

TEST_F(DirectoryFiles, TheKeyOfALevelIsTheFirstAttributeThatIsNotEmpty) {
    const auto key = [](const char* id, const char* name) {
        DcmItem item;
        if (id != nullptr) {
            item.putAndInsertString(DCM_PatientID, id);
        }
        if (name != nullptr) {
            item.putAndInsertString(DCM_PatientName, name);
        }
        return getItemIDTag(&item, DCM_PatientID, DCM_PatientName);
    };
    EXPECT_EQ(key("P", "N"), "P");
    EXPECT_EQ(key("", "N"), "N");
    EXPECT_EQ(key(nullptr, "N"), "N");
    EXPECT_EQ(key("P\\Q", nullptr), "P\\Q") << "all values";
    EXPECT_EQ(key(nullptr, nullptr), "");
}

TEST_F(DirectoryFiles, FileNamesAreThoseOfWhatPassesInDirectoryOrder) {
    const std::string path = writeMedium(
        folder, {patientRecord("P", "", {studyRecord("1", {seriesOf("1.1", {"C", "A"}), seriesOf("1.2", {"B", "B"})})}),
                 patientRecord("Q", "", {studyRecord("2", {seriesOf("1.1", {"D"})})})});
    const DcmDirReader reader(path);
    EXPECT_THAT(reader.getReferencedFileNames(everything(), false), ElementsAre("C", "A", "B", "B", "D"));
    EXPECT_THAT(reader.getReferencedFileNames(RegexFilter(".*", ".*", "1.1"), false), ElementsAre("C", "A", "D"));
    EXPECT_THAT(reader.getReferencedFileNames(RegexFilter("Q", ".*", ".*"), true), ElementsAre(folder.file("D")));
    EXPECT_THAT(reader.getReferencedFileNames(RegexFilter("Q", "1", ".*"), true), ElementsAre());
}

TEST_F(DirectoryFiles, ReadersAreInTheOrderOfInstanceNumber) {
    const auto path = writeSeries({seriesOf("1.1", {"A", "B", "C"})});
    writeNamed("A", "3");
    writeNamed("B", "1");
    writeNamed("C", "2");
    EXPECT_THAT(sortedIds(path), ElementsAre("B", "C", "A"));
}

TEST_F(DirectoryFiles, ReadersWithoutANumberComeFirstUnlessOneIsNegative) {
    const auto path = writeSeries({seriesOf("1.1", {"A", "B", "C", "D"})});
    writeNamed("A", "1");
    writeNamed("B", "");
    writeNamed("C", "-2");
    writeNamed("D", "10");
    EXPECT_THAT(sortedIds(path), ElementsAre("C", "B", "A", "D")) << "compared as numbers: 10 is behind 1";
}

TEST_F(DirectoryFiles, EqualNumbersComeAsTheStandardSortLeavesThem) {
    std::vector<std::string> ids;
    std::vector<std::pair<int, std::string>> expected;
    for (int index = 0; index < 40; ++index) {
        ids.push_back("F" + std::to_string(index));
        expected.emplace_back(index % 3, ids.back());
    }
    const auto path = writeSeries({seriesOf("1.1", ids)});
    for (const auto& [number, id] : expected) {
        writeNamed(id, std::to_string(number));
    }
    std::sort(expected.begin(), expected.end(),
              [](const auto& left, const auto& right) { return left.first < right.first; });
    std::vector<std::string> sorted;
    for (const auto& [number, id] : expected) {
        sorted.push_back(id);
    }
    EXPECT_EQ(sortedIds(path), sorted);
}

TEST_F(DirectoryFiles, AMissingFileIsNoReader) {
    const auto path = writeSeries({seriesOf("1.1", {"A", "B", "C", "D", "E"})});
    for (const char* id : {"A", "B", "D", "E"}) {
        writeNamed(id, "1");
    }
    EXPECT_EQ(sortedIds(path).size(), 4U);
    EXPECT_THAT(sortedIds(path), testing::UnorderedElementsAre("A", "B", "D", "E"));
    EXPECT_THAT(sortedIds(writeSeries({seriesOf("1.1", {})})), ElementsAre());
}

TEST_F(DirectoryFiles, RawPixelDataIsOneArrayAFileInDirectoryOrder) {
    const auto path = writeMedium(
        folder,
        {patientRecord("P", "",
                       {studyRecord("1", {seriesOf("1.1", {"A", "MISSING", "TEXT", "B"}), seriesOf("1.2", {"A"}),
                                          seriesOf("1.3", {"MISSING"})}),
                        studyRecord("", {seriesOf("2.1", {"A"})}, without({DCM_StudyInstanceUID, DCM_StudyID}))})});
    writeImage("A", 2, grey16(1, 3, {700, 701, 702}));
    writeImage("B", 1, grey16(2, 1, {80, 81}));
    folder.write("TEXT", "no DICOM at all");
    const DcmDirReader reader(path);
    const auto read = [&](const RegexFilter& filter) {
        return resultOf([&](auto& manager) { reader.readRawPixelData(manager, filter, ImageOpenOptions{}); });
    };
    const Store all = read(everything());
    EXPECT_EQ(outline(all.view()), "P{1{1.1{:array,:array},1.2{:array},1.3{}}}");
    const StoreView arrays = storeAt(all.view(), {0, 0, 0});
    const VelmoraNumericArray& first = *(*arrays.begin()).cell().numericArray;
    EXPECT_THAT(first.dimensions, ElementsAre(1, 3));
    EXPECT_EQ(first.type, VNumericArray_U16);
    EXPECT_EQ(elementsOf<std::uint16_t>(first)[2], 702);
    EXPECT_THAT((*++arrays.begin()).cell().numericArray->dimensions, ElementsAre(2, 1));
    EXPECT_EQ(outline(read(RegexFilter(".*", ".*", "1.2")).view()), "P{1{1.2{:array}}}") << "others are left out";
    EXPECT_EQ(outline(read(RegexFilter(".*", "X", ".*")).view()), "P{}");
    EXPECT_EQ(outline(read(RegexFilter("X", ".*", ".*")).view()), "");
}

TEST_F(DirectoryFiles, RawPixelDataOfASeriesWithoutAKeyIsDropped) {
    const auto path = writeSeries(
        {seriesRecord("", "CT", {imageRecord("A", 0)}, without({DCM_SeriesInstanceUID, DCM_SeriesNumber}))});
    writeImage("A", 1);
    const DcmDirReader reader(path);
    EXPECT_EQ(outline(resultOf([&](auto& manager) {
                          reader.readRawPixelData(manager, everything(), ImageOpenOptions{});
                      }).view()),
              "P{1{}}");
}

TEST_F(DirectoryFiles, OverlaysAreTheFirstOfEachFileThatHasOne) {
    const auto overlay = [](Uint16 bits) {
        return [bits](DcmDataset& dataset) { putOverlay(dataset, 0x6000, {.columns = 2, .bits = bits}); };
    };
    const auto path = writeSeries({seriesOf("1.1", {"A", "NONE", "MISSING"}), seriesOf("1.2", {"B"})});
    ImageFile file = grey8(1, 2, {1, 2});
    file.more = overlay(0b01);
    writeImage("A", 2, file);
    file.more = overlay(0b10);
    writeImage("B", 1, file);
    writeImage("NONE", 1);
    const DcmDirReader reader(path);
    const Store result = resultOf([&](auto& manager) { reader.readOverlays(manager, ImageOpenOptions{}); });
    ASSERT_EQ(result.size(), 2U);
    EXPECT_THAT(elementsOf<std::int8_t>(imageAt(result.view(), {0})), ElementsAre(1, 0));
    EXPECT_THAT(elementsOf<std::int8_t>(imageAt(result.view(), {1})), ElementsAre(0, 1));
}

TEST_F(DirectoryFiles, AVolumeMayBeOfAnotherFrameThanTheFirst) {
    const auto path = writeSeries({seriesOf("1.1", {"A"})});
    ImageFile file = grey8(1, 2, {1, 2, 3, 4, 5, 6});
    file.frames = "3";
    writeImage("A", 1, file);
    const DcmDirReader reader(path);
    ImageReadOptions options;
    options.scaling = kNoWindow;
    options.outputFrame = 2;
    const Store result = resultOf([&](auto& manager) { reader.readImage(manager, everything(), options); });
    EXPECT_THAT(elementsOf<std::uint8_t>(imageAt(result.view(), {0, 0, 0})), ElementsAre(5, 6));
    options.outputFrame = 3;
    EXPECT_EQ(errorOf([&] { resultOf([&](auto& manager) { reader.readImage(manager, everything(), options); }); }),
              "ImageReadError");
}

TEST_F(DirectoryFiles, ASingleOverlayOfADirectoryIsNever) {
    const DcmDirReader reader(writeSeries({}));
    for (const std::uint32_t flags : {0U, 1U}) {
        EXPECT_EQ(errorOf([&] {
                      VArgument result{};
                      GTU::VArgumentManager manager(0, nullptr, result);
                      reader.readOverlay(manager, ImageOpenOptions{.flags = flags});
                  }),
                  "NotImplementedError");
    }
}
