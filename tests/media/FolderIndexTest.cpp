#include "media/FolderIndex.h"
#include "media/dicomdir/FolderIndexer.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <algorithm>
#include <fstream>
#include <map>

#include "dcmtk/dcmdata/dcdicdir.h"
#include "dcmtk/dcmdata/dcdirrec.h"
#include "files/StagingFolder.h"
#include "media/IndexOutput.h"
#include "tests/support/MediumFiles.h"

using namespace radvex::test;
using namespace radvex::media;
using testing::ElementsAre;
using testing::HasSubstr;

namespace {

namespace fs = std::filesystem;

/// A file with all keys of a directory.
Fill slice(const std::string& patient, const std::string& study, const std::string& series, int number) {
    return [=](DcmDataset& dataset) {
        put(dataset, {{DCM_PatientID, patient},
                      {DCM_PatientName, "Name of " + patient},
                      {DCM_StudyInstanceUID, study},
                      {DCM_StudyID, "S" + study},
                      {DCM_SeriesInstanceUID, series},
                      {DCM_SeriesNumber, "3"},
                      {DCM_Modality, "CT"},
                      {DCM_InstanceNumber, std::to_string(number)},
                      {DCM_SOPInstanceUID, series + "." + std::to_string(number)}});
    };
}

Fill sliceBut(const std::function<void(DcmDataset&)>& change) {
    return [=](DcmDataset& dataset) {
        slice("P", "1.2", "1.2.3", 1)(dataset);
        change(dataset);
    };
}

/// The records of a DICOMDIR as lines: "PATIENT P", " STUDY 1.2", "  SERIES 1.2.3", "   IMAGE 1 I0000000".
std::vector<std::string> tree(DcmDirectoryRecord& parent, const std::string& indent = "") {
    std::vector<std::string> lines;
    for (unsigned long index = 0; index < parent.cardSub(); ++index) {
        DcmDirectoryRecord& record = *parent.getSub(index);
        const std::string type = textOf(record, DCM_DirectoryRecordType);
        lines.push_back(indent + type + ' ' +
                        (type == "PATIENT" ? textOf(record, DCM_PatientID)
                         : type == "STUDY" ? textOf(record, DCM_StudyInstanceUID)
                         : type == "SERIES"
                             ? textOf(record, DCM_SeriesInstanceUID)
                             : textOf(record, DCM_InstanceNumber) + ' ' + textOf(record, DCM_ReferencedFileID)));
        for (const std::string& line : tree(record, indent + ' ')) {
            lines.push_back(line);
        }
    }
    return lines;
}

std::vector<std::string> treeOf(const FolderIndex& index) {
    DcmDicomDir directory(index.dicomdir.c_str());
    return tree(directory.getRootRecord());
}

/// Every name in a folder, with what a file holds and when it was changed.
std::map<std::string, std::string> contents(const fs::path& folder) {
    std::map<std::string, std::string> found;
    for (const auto& entry : fs::recursive_directory_iterator(folder)) {
        struct stat state {};
        lstat(entry.path().c_str(), &state);
        found[entry.path().string()] = std::to_string(state.st_mtim.tv_sec) + '.' +
                                       std::to_string(state.st_mtim.tv_nsec) +
                                       (entry.is_regular_file() ? readFile(entry.path().string()) : "");
    }
    return found;
}

using Progress = std::function<void(std::size_t done, std::size_t total)>;

/// Indexes a folder in this process and calls `progress` after each file.
FolderIndex indexFolder(const std::string& folder, const std::string& target, const Progress& progress = {},
                        bool mayReplace = false) {
    IndexOutput output(target, mayReplace);
    const auto indexing = startIndexing(folder, output);
    for (std::size_t file = 0; file < indexing->fileCount(); ++file) {
        indexing->take(file, indexing->describe(file));
        if (progress) {
            progress(file + 1, indexing->fileCount());
        }
    }
    return indexing->finish();
}

class FolderIndexTest : public testing::Test {
  protected:
    FolderIndex index() { return indexFolder(mFolder.path().string(), mTarget.path().string(), {}); }
    std::string write(const std::string& name, const Fill& fill) {
        fs::create_directories(fs::path(mFolder.file(name)).parent_path());
        return writeDicom(mFolder.file(name), fill);
    }
    /// Reason of the only file, which is refused.
    std::string reasonFor(const Fill& fill) {
        write("a.dcm", fill);
        const FolderIndex result = index();
        EXPECT_EQ(result.files.size(), 0U);
        return result.leftOut.refused.size() == 1 ? result.leftOut.refused[0].reason : "(not refused)";
    }

    TemporaryFolder mFolder{};
    TemporaryFolder mTarget{};
};

} // namespace

TEST_F(FolderIndexTest, RecordsStandUnderTheirPatientStudyAndSeriesInTheOrderOfPaths) {
    write("b/2", slice("P1", "1.2", "1.2.3", 2));
    write("b/1", slice("P1", "1.2", "1.2.3", 7));
    write("a", slice("P2", "1.9", "1.9.1", 1));
    write("c", slice("P1", "1.2", "1.2.4", 1));
    const FolderIndex result = index();
    EXPECT_THAT(treeOf(result), ElementsAre("PATIENT P2", " STUDY 1.9", "  SERIES 1.9.1", "   IMAGE 1 I0000000",
                                            "PATIENT P1", " STUDY 1.2", "  SERIES 1.2.3", "   IMAGE 7 I0000001",
                                            "   IMAGE 2 I0000002", "  SERIES 1.2.4", "   IMAGE 1 I0000003"));
    EXPECT_EQ(result.patientCount, 2U);
    EXPECT_EQ(result.studyCount, 2U);
    EXPECT_EQ(result.seriesCount, 3U);
    EXPECT_EQ(result.leftOut.skippedCount, 0U);
}

TEST_F(FolderIndexTest, EachLinkLeadsToTheFileThatTheUserNames) {
    write("x y/\xC3\xA4.dcm", slice("P", "1.2", "1.2.3", 1));
    const std::string folder = mFolder.path().string() + "/x y/..";
    const FolderIndex result = indexFolder(folder, mTarget.path().string(), {});
    ASSERT_EQ(result.files.size(), 1U);
    EXPECT_EQ(result.files[0].fileId, "I0000000");
    EXPECT_EQ(result.files[0].path, folder + "/x y/\xC3\xA4.dcm") << "the folder as it was given";
    const fs::path target = fs::read_symlink(mTarget.file("I0000000"));
    EXPECT_TRUE(target.is_absolute());
    EXPECT_EQ(readFile(target.string()), readFile(mFolder.file("x y/\xC3\xA4.dcm")));
}

TEST_F(FolderIndexTest, WhatARecordNeedsAndTheFileLacksIsInvented) {
    write("a.dcm", sliceBut(without({DCM_PatientID, DCM_PatientName, DCM_StudyID, DCM_SeriesNumber, DCM_Modality,
                                     DCM_InstanceNumber, DCM_StudyDate})));
    const FolderIndex result = index();
    ASSERT_EQ(result.files.size(), 1U);
    DcmDicomDir directory(result.dicomdir.c_str());
    DcmDirectoryRecord& patient = *directory.getRootRecord().getSub(0);
    EXPECT_THAT(textOf(patient, DCM_PatientID), testing::Not(testing::AnyOf("", "(none)")));
    DcmDirectoryRecord& series = *patient.getSub(0)->getSub(0);
    EXPECT_EQ(textOf(series, DCM_Modality), "") << "there is no saying what it was";
    EXPECT_THAT(textOf(*series.getSub(0), DCM_InstanceNumber), testing::Not(testing::AnyOf("", "(none)")));
}

TEST_F(FolderIndexTest, FilesWithoutPatientIdBelongTogetherByStudyElseByName) {
    const auto file = [&](const char* name, const char* study, const char* series, const char* patientName) {
        write(name, [=](DcmDataset& dataset) {
            slice("", study, series, 1)(dataset);
            put(dataset, {{DCM_PatientName, patientName}});
        });
    };
    file("1", "1.2", "1.2.1", "");
    file("2", "1.2", "1.2.2", "");
    file("3", "1.3", "1.3.1", "Doe");
    file("4", "1.4", "1.4.1", "Doe");
    const FolderIndex result = index();
    EXPECT_EQ(result.files.size(), 4U);
    EXPECT_EQ(result.patientCount, 2U);
    EXPECT_EQ(result.studyCount, 3U);
}

TEST_F(FolderIndexTest, WithoutAUidAFileIsRefused) {
    EXPECT_EQ(reasonFor(sliceBut(without({DCM_StudyInstanceUID}))), "it has no StudyInstanceUID");
    EXPECT_EQ(reasonFor(sliceBut(without({DCM_SeriesInstanceUID}))), "it has no SeriesInstanceUID");
    EXPECT_FALSE(fs::exists(mTarget.file("DICOMDIR")));
    EXPECT_TRUE(fs::is_empty(mTarget.path())) << "nothing to index leaves nothing behind";
}

TEST_F(FolderIndexTest, AClassThatNoDirectoryListsIsRefusedUnlessItIsAnImage) {
    const auto ofClass = [](const char* uid) { return sliceBut(with({{DCM_SOPClassUID, uid}})); };
    EXPECT_EQ(reasonFor(ofClass("1.2.3.4.5.6")), "no directory lists its SOP class, 1.2.3.4.5.6");
    write("a.dcm", sliceBut(with({{DCM_SOPClassUID, "1.2.3.4.5.6"}, {DCM_Rows, "5"}})));
    EXPECT_EQ(treeOf(index()).back(), "   IMAGE 1 I0000000");
}

TEST_F(FolderIndexTest, OtherInstancesThanImagesHaveRecordsOfTheirType) {
    write("a.dcm", sliceBut(with({{DCM_SOPClassUID, UID_RTDoseStorage}})));
    write("b.dcm", sliceBut(with({{DCM_SOPClassUID, UID_ColorPaletteStorage}})));
    EXPECT_THAT(treeOf(index()), ElementsAre("PATIENT P", " STUDY 1.2", "  SERIES 1.2.3", "   RT DOSE 1 I0000000",
                                             "PALETTE (none) I0000001"));
}

TEST_F(FolderIndexTest, SeveralFilesOfOneInstanceAreAllIndexed) {
    write("a.dcm", slice("P", "1.2", "1.2.3", 1));
    write("b.dcm", slice("P", "1.2", "1.2.3", 1));
    EXPECT_THAT(treeOf(index()),
                ElementsAre("PATIENT P", " STUDY 1.2", "  SERIES 1.2.3", "   IMAGE 1 I0000000", "   IMAGE 1 I0000001"));
}

TEST_F(FolderIndexTest, WhatIsNotDicomIsSkippedAndPipesAreNotOpened) {
    write("a.dcm", slice("P", "1.2", "1.2.3", 1));
    mFolder.write("text", "no DICOM at all");
    mFolder.write("empty", "");
    mFolder.write("like a dataset", std::string("\x08\x00\x05\x00", 4) + std::string(300, 'x'));
    writeMedium(mFolder, {patientRecord("P", "N", {})}, "OTHERDIR");
    ASSERT_EQ(mkfifo(mFolder.file("pipe").c_str(), 0600), 0);
    const FolderIndex result = index();
    EXPECT_EQ(result.files.size(), 1U);
    EXPECT_EQ(result.leftOut.skippedCount, 5U);
    EXPECT_TRUE(result.leftOut.refused.empty());
}

TEST_F(FolderIndexTest, ABareDatasetIsIndexed) {
    const std::string path = mFolder.file("bare");
    DcmDataset dataset;
    put(dataset, {{DCM_SOPClassUID, UID_MRImageStorage}});
    slice("P", "1.2", "1.2.3", 4)(dataset);
    ASSERT_TRUE(dataset.saveFile(path.c_str(), EXS_LittleEndianImplicit).good());
    EXPECT_EQ(treeOf(index()).back(), "   IMAGE 4 I0000000");
}

TEST_F(FolderIndexTest, KeysOfUnknownTypeAreReadAsTheDictionarySays) {
    write("a.dcm", sliceBut([](DcmDataset& dataset) {
              dataset.findAndDeleteElement(DCM_StudyInstanceUID);
              auto unknown = std::make_unique<DcmOtherByteOtherWord>(DcmTag(DCM_StudyInstanceUID, EVR_UN));
              ASSERT_TRUE(unknown->putUint8Array(reinterpret_cast<const Uint8*>("1.77"), 4).good());
              ASSERT_TRUE(dataset.insert(unknown.release()).good());
          }));
    EXPECT_THAT(treeOf(index()), testing::Contains(" STUDY 1.77"));
    EXPECT_FALSE(dcmEnableUnknownVRConversion.get()) << "a setting of the process, and not ours to keep";
}

TEST_F(FolderIndexTest, LinksToFoldersAreNotFollowedAndAFileOfTheFolderCountsOnce) {
    const TemporaryFolder outside;
    writeDicom(outside.file("o.dcm"), slice("O", "1.5", "1.5.1", 1));
    write("sub/a.dcm", slice("P", "1.2", "1.2.3", 1));
    fs::create_directory_symlink(mFolder.path(), mFolder.file("loop"));
    fs::create_directory_symlink(outside.path(), mFolder.file("away"));
    fs::create_symlink(mFolder.file("sub/a.dcm"), mFolder.file("again"));
    fs::create_symlink(outside.file("o.dcm"), mFolder.file("file outside"));
    const FolderIndex result = index();
    ASSERT_EQ(result.files.size(), 2U);
    EXPECT_EQ(result.files[0].path, mFolder.file("file outside"));
    EXPECT_EQ(result.files[1].path, mFolder.file("sub/a.dcm"));
}

TEST_F(FolderIndexTest, WhatCannotBeReadIsRefusedByName) {
    write("a.dcm", slice("P", "1.2", "1.2.3", 1));
    fs::create_symlink("/nowhere/at/all", mFolder.file("nowhere"));
    const FolderIndex result = index();
    EXPECT_EQ(result.files.size(), 1U);
    ASSERT_EQ(result.leftOut.refused.size(), 1U);
    EXPECT_EQ(result.leftOut.refused[0].path, mFolder.file("nowhere"));
    EXPECT_EQ(result.leftOut.refused[0].reason, "it cannot be read: No such file or directory");
}

TEST_F(FolderIndexTest, AFileCutAtAnyByteIsIndexedRefusedOrSkipped) {
    const std::string whole = readFile(writeDicom(mTarget.file("whole"), slice("P", "1.2", "1.2.3", 1)));
    std::size_t files = 0;
    for (std::size_t length = 0; length < whole.size(); ++length) {
        mFolder.write("cut" + std::to_string(length), whole.substr(0, length));
        ++files;
    }
    const FolderIndex result = index();
    EXPECT_EQ(result.files.size() + result.leftOut.refused.size() + result.leftOut.skippedCount, files);
    EXPECT_GE(result.leftOut.skippedCount, 132U) << "without its mark it is no DICOM file";
    EXPECT_GT(result.leftOut.refused.size(), 0U);
}

TEST_F(FolderIndexTest, AFileThatWouldExhaustTheStackIsRefused) {
    std::string bytes = readFile(write("a.dcm", slice("P", "1.2", "1.2.3", 1)));
    for (int level = 0; level < 100000; ++level) {
        bytes += std::string("\x40\x00\x30\xA7SQ\0\0\xFF\xFF\xFF\xFF\xFE\xFF\x00\xE0\xFF\xFF\xFF\xFF", 20);
    }
    mFolder.write("b.dcm", bytes);
    const FolderIndex result = index();
    EXPECT_EQ(result.files.size(), 1U) << "the others are indexed";
    ASSERT_EQ(result.leftOut.refused.size(), 1U);
    EXPECT_EQ(result.leftOut.refused[0].path, mFolder.file("b.dcm"));
    EXPECT_EQ(result.leftOut.refused[0].reason, "sequences nested over 100 levels");
}

TEST_F(FolderIndexTest, ADicomdirThatIsThereStays) {
    write("a.dcm", slice("P", "1.2", "1.2.3", 1));
    mTarget.write("DICOMDIR", "precious");
    try {
        index();
        FAIL() << "it must not be replaced";
    } catch (const std::runtime_error& error) {
        EXPECT_THAT(error.what(), HasSubstr("There is a DICOMDIR in " + mTarget.path().string() + " already"));
    }
    EXPECT_EQ(readFile(mTarget.file("DICOMDIR")), "precious");
    EXPECT_EQ(std::distance(fs::directory_iterator(mTarget.path()), {}), 1) << "no link is left";
}

TEST_F(FolderIndexTest, ADicomdirIsReplacedWhenThatIsAsked) {
    write("a.dcm", slice("P", "1.2", "1.2.3", 1));
    mTarget.write("DICOMDIR", "old");
    EXPECT_EQ(treeOf(indexFolder(mFolder.path().string(), mTarget.path().string(), {}, true)).size(), 4U);
}

TEST_F(FolderIndexTest, LinksOfAnInterruptedRunAreTakenOver) {
    const std::string path = write("a.dcm", slice("P", "1.2", "1.2.3", 1));
    fs::create_symlink(path, mTarget.file("I0000000"));
    EXPECT_THAT(treeOf(index()), testing::Contains("   IMAGE 1 I0000000"));
    EXPECT_EQ(std::distance(fs::directory_iterator(mTarget.path()), {}), 2) << "a link and a DICOMDIR";
}

TEST_F(FolderIndexTest, ANewTargetIsThereOnlyWhenItIsWhole) {
    write("a.dcm", slice("P", "1.2", "1.2.3", 1));
    const std::string target = mTarget.file("new");
    const auto look = [&](std::size_t, std::size_t) { EXPECT_FALSE(fs::exists(target)); };
    (void)indexFolder(mFolder.path().string(), target, look);
    EXPECT_EQ(std::distance(fs::directory_iterator(target), {}), 2);
    EXPECT_EQ(std::distance(fs::directory_iterator(mTarget.path()), {}), 1) << "nothing stays beside it";
}

TEST_F(FolderIndexTest, TheFolderItselfMayTakeTheIndexAgainAndAgain) {
    write("I0000000", slice("P", "1.2", "1.2.3", 1));
    write("b.dcm", slice("P", "1.2", "1.2.3", 2));
    const std::string folder = mFolder.path().string();
    for (int run = 0; run < 2; ++run) {
        const FolderIndex result = indexFolder(folder, folder, {});
        EXPECT_THAT(treeOf(result), ElementsAre("PATIENT P", " STUDY 1.2", "  SERIES 1.2.3", "   IMAGE 1 I0000001",
                                                "   IMAGE 2 I0000002"));
        EXPECT_EQ(std::distance(fs::directory_iterator(folder), {}), 5) << "two files, two links, one DICOMDIR";
        fs::remove(mFolder.file("DICOMDIR"));
    }
}

TEST_F(FolderIndexTest, AFailureLeavesTheTargetAsItWas) {
    write("a.dcm", slice("P", "1.2", "1.2.3", 1));
    const auto stop = [](std::size_t, std::size_t) { throw std::runtime_error("stopped"); };
    EXPECT_THROW(indexFolder(mFolder.path().string(), mTarget.path().string(), stop), std::runtime_error);
    EXPECT_TRUE(fs::is_empty(mTarget.path()));
    EXPECT_THROW(indexFolder(mFolder.path().string(), mTarget.file("new"), stop), std::runtime_error);
    EXPECT_FALSE(fs::exists(mTarget.file("new")));
}

TEST_F(FolderIndexTest, WhoRemovesLeftoversLeavesTheDraft) {
    write("a.dcm", slice("P", "1.2", "1.2.3", 1));
    const std::string target = mTarget.path().string();
    const auto tidyUp = [&](std::size_t, std::size_t) { radvex::files::StagingFolder::removeLeftovers(target); };
    EXPECT_EQ(treeOf(indexFolder(mFolder.path().string(), target, tidyUp)).size(), 4U);
    EXPECT_EQ(std::distance(fs::directory_iterator(target), {}), 2) << "a link and a DICOMDIR";
}

TEST_F(FolderIndexTest, AFolderOrTargetThatCannotBeUsedIsNamed) {
    const auto messageOf = [](const std::string& folder, const std::string& target) -> std::string {
        try {
            indexFolder(folder, target, {});
            return "";
        } catch (const std::runtime_error& error) {
            return error.what();
        }
    };
    const std::string folder = mFolder.path().string();
    const std::string file = mFolder.write("file", "");
    EXPECT_EQ(messageOf("/nowhere", folder), "/nowhere cannot be read: No such file or directory.");
    EXPECT_EQ(messageOf(file, folder), file + " is not a folder.");
    EXPECT_EQ(messageOf(folder, "/nowhere/at/all"),
              "A DICOMDIR cannot be written into /nowhere/at/all: No such file or directory.");
    EXPECT_EQ(messageOf(folder, file), "A DICOMDIR cannot be written into " + file + ": Not a directory.");
}

TEST_F(FolderIndexTest, NoFileOfTheFolderChanges) {
    write("a.dcm", slice("P", "1.2", "1.2.3", 1));
    mFolder.write("text", "text");
    fs::permissions(mFolder.path(), fs::perms::owner_read | fs::perms::owner_exec);
    const auto before = contents(mFolder.path());
    EXPECT_EQ(index().files.size(), 1U);
    EXPECT_EQ(contents(mFolder.path()), before);
    fs::permissions(mFolder.path(), fs::perms::owner_all);
}
