// What the class offers beside the exported functions, and how it finds its files.

#include <algorithm>

#include "bridge/ErrorManager.h"
#include "dicom/exports/LibraryErrors.h"
#include "dicom/readers/DcmDirReader.h"
#include "dicom/readers/DirectoryTree.h"
#include "tests/dicom/readers/DirectoryTest.h"
#include "tests/dicom/readers/SeriesFiles.h"

using namespace radvex;
using namespace radvex::test;
using namespace velmora;
using testing::ElementsAre;

namespace {

class DirectoryFiles : public ServicesTest {
  protected:
    void SetUp() override {
        ServicesTest::SetUp();
        GTU::LibraryData::setLibraryData(services().table());
        GTU::ErrorManager::registerPlugpackErrors(libraryErrors());
    }

    static MediumRecord seriesOf(const std::string& uid, const std::vector<std::string>& fileIds) {
        std::vector<MediumRecord> images;
        for (const std::string& fileId : fileIds) {
            images.push_back(imageRecord(fileId, 0));
        }
        return seriesRecord(uid, "CT", std::move(images));
    }
    std::string writeSeries(std::vector<MediumRecord> series) {
        return writeMedium(folder, {patientRecord("P", "N", {studyRecord("1", std::move(series))})});
    }
    void writeImage(const std::string& fileId, const char* number, ImageFile file = grey8(1, 2, {1, 2})) {
        file.more = [number, more = file.more](DcmDataset& dataset) {
            if (number != nullptr) {
                dataset.putAndInsertString(DCM_InstanceNumber, number);
            }
            if (more) {
                more(dataset);
            }
        };
        writeImageFile(mediumPath(folder, fileId), file);
    }

    /// File IDs, written so, of the sorted readers of the first series of a medium.
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
    static Fill named(const std::string& id) {
        return [id](DcmDataset& dataset) { dataset.putAndInsertString(DCM_AccessionNumber, id.c_str()); };
    }

    /// The store that a read places.
    template <typename Read>
    Store placedBy(Read read) {
        DataStore placed = nullptr;
        VArgument result{};
        result.dataStore = &placed;
        GTU::VArgumentManager manager(0, nullptr, result);
        read(manager);
        return Store(placed);
    }
    static std::string nameOfError(const std::function<void()>& action) {
        try {
            action();
        } catch (const GTU::GantryError& error) {
            return error.name();
        }
        return "";
    }

    TemporaryFolder folder{};
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
    const char* const numbers[] = {"3", "1", "2"};
    const char* const ids[] = {"A", "B", "C"};
    for (std::size_t index = 0; index < 3; ++index) {
        ImageFile file = grey8(1, 2, {1, 2});
        file.more = named(ids[index]);
        writeImage(ids[index], numbers[index], file);
    }
    EXPECT_THAT(sortedIds(path), ElementsAre("B", "C", "A"));
}

TEST_F(DirectoryFiles, ReadersWithoutANumberComeFirstUnlessOneIsNegative) {
    const auto path = writeSeries({seriesOf("1.1", {"A", "B", "C", "D"})});
    const char* const numbers[] = {"1", nullptr, "-2", "10"};
    const char* const ids[] = {"A", "B", "C", "D"};
    for (std::size_t index = 0; index < 4; ++index) {
        ImageFile file = grey8(1, 2, {1, 2});
        file.more = named(ids[index]);
        writeImage(ids[index], numbers[index], file);
    }
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
        ImageFile file = grey8(1, 2, {1, 2});
        file.more = named(id);
        writeImage(id, std::to_string(number).c_str(), file);
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
        ImageFile file = grey8(1, 2, {1, 2});
        file.more = named(id);
        writeImage(id, "1", file);
    }
    EXPECT_EQ(sortedIds(path).size(), 4U);
    EXPECT_THAT(sortedIds(path), testing::UnorderedElementsAre("A", "B", "D", "E"));
    EXPECT_THAT(sortedIds(writeSeries({seriesOf("1.1", {})})), ElementsAre());
}

TEST_F(DirectoryFiles, RawPixelDataIsOneArrayAFileInDirectoryOrder) {
    const auto path =
        writeMedium(folder, {patientRecord("P", "",
                                           {studyRecord("1", {seriesOf("1.1", {"A", "MISSING", "TEXT", "B"}),
                                                              seriesOf("1.2", {"A"}), seriesOf("1.3", {"MISSING"})}),
                                            studyRecord("", {seriesOf("2.1", {"A"})}, [](DcmItem& item) {
                                                item.findAndDeleteElement(DCM_StudyInstanceUID);
                                                item.findAndDeleteElement(DCM_StudyID);
                                            })})});
    writeImage("A", "2", grey16(1, 3, {700, 701, 702}));
    writeImage("B", "1", grey16(2, 1, {80, 81}));
    folder.write("TEXT", "no DICOM at all");
    const DcmDirReader reader(path);
    const auto read = [&](const RegexFilter& filter) {
        return placedBy([&](auto& manager) { reader.readRawPixelData(manager, filter, ImageOpenOptions{}); });
    };
    const Store all = read(everything());
    EXPECT_EQ(outline(all.view()), "P{1{1.1{:array,:array},1.2{:array},1.3{}}}");
    const StoreView arrays = storeAt(storeAt(storeAt(all.view(), 0), 0), 0);
    const VelmoraNumericArray& first = *(*arrays.begin()).cell().numericArray;
    EXPECT_THAT(first.dimensions, ElementsAre(1, 3));
    EXPECT_EQ(first.type, VNumericArray_U16);
    EXPECT_EQ(static_cast<const std::uint16_t*>(first.data.get())[2], 702);
    EXPECT_THAT((*++arrays.begin()).cell().numericArray->dimensions, ElementsAre(2, 1));
    EXPECT_EQ(outline(read(RegexFilter(".*", ".*", "1.2")).view()), "P{1{1.2{:array}}}") << "others are left out";
    EXPECT_EQ(outline(read(RegexFilter(".*", "X", ".*")).view()), "P{}");
    EXPECT_EQ(outline(read(RegexFilter("X", ".*", ".*")).view()), "");
}

TEST_F(DirectoryFiles, RawPixelDataOfASeriesWithoutAKeyIsDropped) {
    const auto path = writeSeries({seriesRecord("", "CT", {imageRecord("A", 0)}, [](DcmItem& item) {
        item.findAndDeleteElement(DCM_SeriesInstanceUID);
        item.findAndDeleteElement(DCM_SeriesNumber);
    })});
    writeImage("A", "1");
    const DcmDirReader reader(path);
    EXPECT_EQ(outline(placedBy([&](auto& manager) {
                          reader.readRawPixelData(manager, everything(), ImageOpenOptions{});
                      }).view()),
              "P{1{}}");
}

TEST_F(DirectoryFiles, OverlaysAreTheFirstOfEachFileThatHasOne) {
    const auto overlay = [](Uint16 bits) {
        return [bits](DcmDataset& dataset) {
            dataset.putAndInsertUint16(DcmTag(0x6000, 0x0010, EVR_US), 1);
            dataset.putAndInsertUint16(DcmTag(0x6000, 0x0011, EVR_US), 2);
            dataset.putAndInsertString(DcmTag(0x6000, 0x0040, EVR_CS), "G");
            const Sint16 origin[] = {1, 1};
            dataset.putAndInsertSint16Array(DcmTag(0x6000, 0x0050, EVR_SS), origin, 2);
            dataset.putAndInsertUint16(DcmTag(0x6000, 0x0100, EVR_US), 1);
            dataset.putAndInsertUint16(DcmTag(0x6000, 0x0102, EVR_US), 0);
            dataset.putAndInsertUint16Array(DcmTag(0x6000, 0x3000, EVR_OW), &bits, 1);
        };
    };
    const auto path = writeSeries({seriesOf("1.1", {"A", "NONE", "MISSING"}), seriesOf("1.2", {"B"})});
    ImageFile file = grey8(1, 2, {1, 2});
    file.more = overlay(0b01);
    writeImage("A", "2", file);
    file.more = overlay(0b10);
    writeImage("B", "1", file);
    writeImage("NONE", "1");
    const DcmDirReader reader(path);
    const Store result = placedBy([&](auto& manager) { reader.readOverlays(manager, ImageOpenOptions{}); });
    ASSERT_EQ(result.size(), 2U);
    EXPECT_THAT(elementsOf<std::int8_t>(imageAt(result.view(), {0})), ElementsAre(1, 0));
    EXPECT_THAT(elementsOf<std::int8_t>(imageAt(result.view(), {1})), ElementsAre(0, 1));
}

TEST_F(DirectoryFiles, AVolumeMayBeOfAnotherFrameThanTheFirst) {
    const auto path = writeSeries({seriesOf("1.1", {"A"})});
    ImageFile file = grey8(1, 2, {1, 2, 3, 4, 5, 6});
    file.frames = "3";
    writeImage("A", "1", file);
    const DcmDirReader reader(path);
    ImageReadOptions options;
    options.scaling = kNoWindow;
    options.outputFrame = 2;
    const Store result = placedBy([&](auto& manager) { reader.readImage(manager, everything(), options); });
    EXPECT_THAT(elementsOf<std::uint8_t>(imageAt(result.view(), {0, 0, 0})), ElementsAre(5, 6));
    options.outputFrame = 3;
    EXPECT_EQ(nameOfError([&] { placedBy([&](auto& manager) { reader.readImage(manager, everything(), options); }); }),
              "ImageReadError");
}

TEST_F(DirectoryFiles, ASingleOverlayOfADirectoryIsNever) {
    const DcmDirReader reader(writeSeries({}));
    for (const std::uint32_t flags : {0U, 1U}) {
        EXPECT_EQ(nameOfError([&] {
                      VArgument result{};
                      GTU::VArgumentManager manager(0, nullptr, result);
                      reader.readOverlay(manager, ImageOpenOptions{.flags = flags});
                  }),
                  "NotImplementedError");
    }
}
