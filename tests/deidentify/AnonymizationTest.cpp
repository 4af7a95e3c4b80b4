#include "deidentify/Anonymization.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "deidentify/rewriting/Pseudonyms.h"
#include "tests/support/DicomFiles.h"
#include "tests/support/TemporaryFolder.h"

using namespace radvex::test;
using namespace radvex::deidentify;
using testing::Contains;
using testing::Field;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;

namespace {

constexpr const char* kKey = "0123456789abcdef";
constexpr const char* kStudy = "1.2.840.113619.2.5";
// HMAC-SHA256 of "UID", a null and the UID, by Python's hmac, with the bits of a version 8 UUID.
constexpr const char* kNewStudy = "2.25.269715353564602752627461801174779340981";
constexpr const char* kNewId = "FE806C9516A51986";
constexpr const char* kNewStudyId = "6D1AD42E4B7F9C41";

class AnonymizationTest : public ::testing::Test {
  protected:
    /// Original and written file; `written` starts as a copy.
    void write(const Fill& fill, const Fill& library = {}) {
        writeDicom(original, fill);
        writeDicom(written, [&](DcmDataset& dataset) {
            fill(dataset);
            if (library) {
                library(dataset);
            }
        });
    }

    DcmDataset& map(Anonymization& which) {
        which.map(original, written, mapped, &changes);
        file = std::make_unique<DcmFileFormat>();
        EXPECT_TRUE(file->loadFile(mapped.c_str()).good());
        return *file->getDataset();
    }
    DcmDataset& map(AnonymizationSettings settings = {kKey, false, {}}) {
        run = startAnonymization(std::move(settings));
        return map(*run);
    }

    static std::string text(DcmItem& item, const DcmTagKey& key) {
        OFString value;
        return item.findAndGetOFStringArray(key, value).good() ? std::string(value.c_str()) : "(none)";
    }

    TemporaryFolder folder{};
    std::string original = folder.file("original");
    std::string written = folder.file("written");
    std::string mapped = folder.file("mapped");
    std::vector<Change> changes{};
    std::unique_ptr<Anonymization> run{};
    std::unique_ptr<DcmFileFormat> file{};
};

void putText(DcmItem& item, const DcmTag& key, const char* value) { item.putAndInsertString(key, value); }

/// A private attribute whose type nobody knows.
void putUnknown(DcmItem& item, const std::string& bytes) {
    auto element = std::make_unique<DcmOtherByteOtherWord>(DcmTag(0x0029, 0x1001, EVR_UN));
    element->putUint8Array(reinterpret_cast<const Uint8*>(bytes.data()), bytes.size());
    if (item.insert(element.get()).good()) {
        (void)element.release();
    }
}

DcmItem& itemOf(DcmItem& item, const DcmTag& sequence) {
    DcmItem* inner = nullptr;
    item.findOrCreateSequenceItem(sequence, inner, 0);
    return *inner;
}

} // namespace

TEST(Pseudonyms, AreTheKeyedHashOfTheValue) {
    const Pseudonyms pseudonyms(kKey);
    EXPECT_EQ(pseudonyms.uid(kStudy), kNewStudy);
    EXPECT_EQ(pseudonyms.uid(std::string(kStudy) + '\0'), kNewStudy);
    EXPECT_EQ(pseudonyms.id("PatientID", "MRN-0001 "), kNewId);
    EXPECT_EQ(pseudonyms.id("StudyID", "MRN-0001"), kNewStudyId);
    EXPECT_EQ(pseudonyms.uid(" "), "");
    EXPECT_EQ(pseudonyms.id("PatientID", ""), "");
    EXPECT_NE(Pseudonyms("another key of 16").uid(kStudy), kNewStudy);
    EXPECT_NE(Pseudonyms::randomKey(), Pseudonyms::randomKey());
}

TEST_F(AnonymizationTest, OneOriginalIsOneNewValueInSequencesAndMetaInformationToo) {
    write(
        [](DcmDataset& dataset) {
            putText(dataset, DCM_StudyInstanceUID, kStudy);
            putText(dataset, DCM_PatientID, "MRN-0001");
            putText(itemOf(dataset, DCM_ReferencedStudySequence), DCM_ReferencedSOPInstanceUID, kStudy);
            putText(itemOf(itemOf(dataset, DCM_RequestAttributesSequence), DCM_OtherPatientIDsSequence), DCM_PatientID,
                    "MRN-0001");
            putText(dataset, DCM_StudyID, "MRN-0001");
        },
        [](DcmDataset& dataset) {
            putText(dataset, DCM_StudyInstanceUID, "1.9"); // as the library does
            putText(dataset, DCM_PatientID, "77");
            putText(dataset, DCM_StudyID, "78");
        });
    DcmDataset& result = map();
    EXPECT_EQ(text(result, DCM_StudyInstanceUID), kNewStudy);
    EXPECT_EQ(text(itemOf(result, DCM_ReferencedStudySequence), DCM_ReferencedSOPInstanceUID), kNewStudy);
    EXPECT_EQ(text(result, DCM_PatientID), kNewId);
    EXPECT_EQ(text(result, DCM_StudyID), kNewStudyId);
    EXPECT_EQ(text(itemOf(itemOf(result, DCM_RequestAttributesSequence), DCM_OtherPatientIDsSequence), DCM_PatientID),
              kNewId);
    EXPECT_EQ(text(result, DCM_SOPInstanceUID), Pseudonyms(kKey).uid("1.2.3.4.5"));
    EXPECT_EQ(text(*file->getMetaInfo(), DCM_MediaStorageSOPInstanceUID), Pseudonyms(kKey).uid("1.2.3.4.5"));
}

TEST_F(AnonymizationTest, TheLengthOfTheMetaInformationIsThatOfItsNewValues) {
    write([](DcmDataset&) {});
    map();
    const std::string bytes = readFile(mapped);
    const std::size_t groupLengthEnd = 144; // behind the preamble, the mark and the element that holds the length
    const auto byte = [&](std::size_t offset) { return static_cast<unsigned char>(bytes[offset]); };
    const std::size_t dataset = groupLengthEnd + byte(140) + 256U * byte(141);
    EXPECT_EQ(bytes.substr(dataset, 6), std::string("\x08\0\x16\0UI", 6)); // SOPClassUID, the first of the file
}

TEST_F(AnonymizationTest, KindsAndWellKnownUidsKeepTheirValueEvenWhenTheLibraryReplacedIt) {
    write(
        [](DcmDataset& dataset) {
            putText(dataset, DCM_CodingSchemeUID, "2.16.840.1.113883.6.96");
            putText(dataset, DCM_FrameOfReferenceUID,
                    "1.2.840.10008.1.4.1.1"); // the Talairach atlas, for everyone the same
            putText(itemOf(dataset, DCM_ReferencedStudySequence), DCM_ReferencedSOPClassUID, UID_CTImageStorage);
        },
        [](DcmDataset& dataset) { putText(dataset, DCM_CodingSchemeUID, "1.9"); });
    DcmDataset& result = map();
    EXPECT_EQ(text(result, DCM_SOPClassUID), UID_CTImageStorage);
    EXPECT_EQ(text(result, DCM_CodingSchemeUID), "2.16.840.1.113883.6.96");
    EXPECT_EQ(text(result, DCM_FrameOfReferenceUID), "1.2.840.10008.1.4.1.1");
    EXPECT_EQ(text(itemOf(result, DCM_ReferencedStudySequence), DCM_ReferencedSOPClassUID), UID_CTImageStorage);
}

TEST_F(AnonymizationTest, SeveralUidsOfOneAttributeAreMappedOneByOne) {
    write([](DcmDataset& dataset) { putText(dataset, DCM_FailedSOPInstanceUIDList, "1.2.3\\1.2.840.113619.2.5"); });
    EXPECT_EQ(text(map(), DCM_FailedSOPInstanceUIDList), Pseudonyms(kKey).uid("1.2.3") + "\\" + kNewStudy);
}

TEST_F(AnonymizationTest, WhatWasEmptyOrAbsentStaysEmpty) {
    write([](DcmDataset& dataset) { putText(dataset, DCM_StudyInstanceUID, ""); },
          [](DcmDataset& dataset) {
              putText(dataset, DCM_PatientID, "77");
              putText(dataset, DCM_StudyInstanceUID, "1.9");
          });
    DcmDataset& result = map();
    EXPECT_EQ(text(result, DCM_PatientID), "");
    EXPECT_EQ(text(result, DCM_StudyInstanceUID), "");
}

TEST_F(AnonymizationTest, ValuesThatTheUserGaveStand) {
    write([](DcmDataset& dataset) {
        putText(dataset, DCM_PatientID, "MRN-0001");
        putText(dataset, DCM_SOPInstanceUID, "1.2.3");
    });
    DcmDataset& result = map({kKey, false, {{0x0010, 0x0020, "SUBJECT-1"}, {0x0008, 0x0018, "2.25.7"}}});
    EXPECT_EQ(text(result, DCM_PatientID), "SUBJECT-1");
    EXPECT_EQ(text(result, DCM_SOPInstanceUID), "2.25.7");
    EXPECT_EQ(text(*file->getMetaInfo(), DCM_MediaStorageSOPInstanceUID), "2.25.7");
}

TEST_F(AnonymizationTest, IndependentValuesAreLeftAsTheLibraryMadeThem) {
    write([](DcmDataset& dataset) { putText(dataset, DCM_StudyInstanceUID, kStudy); },
          [](DcmDataset& dataset) { putText(dataset, DCM_StudyInstanceUID, "1.9"); });
    const std::string bytes = readFile(written);
    map({"", true, {}});
    EXPECT_EQ(readFile(mapped), bytes);
}

TEST_F(AnonymizationTest, TellsEveryChangeWithItsPath) {
    write(
        [](DcmDataset& dataset) {
            putText(dataset, DCM_PatientName, "Doe^Jane");
            putText(dataset, DCM_Modality, "CT");
            putText(itemOf(dataset, DCM_ReferencedStudySequence), DCM_ReferencedSOPInstanceUID, kStudy);
        },
        [](DcmDataset& dataset) {
            putText(dataset, DCM_PatientName, "");
            dataset.putAndInsertUint16(DCM_Rows, 7);
        });
    map();
    const auto change = [](const char* attribute, const char* before, const char* after) {
        return testing::AllOf(Field(&Change::attribute, attribute), Field(&Change::before, before),
                              Field(&Change::after, after));
    };
    EXPECT_THAT(changes, Contains(change("PatientName", "Doe^Jane", "")));
    EXPECT_THAT(changes, Contains(change("Rows", "", "7")));
    EXPECT_THAT(changes, Contains(change("ReferencedStudySequence[1].ReferencedSOPInstanceUID", kStudy, kNewStudy)));
    EXPECT_THAT(changes, Not(Contains(Field(&Change::attribute, "Modality"))));
}

TEST_F(AnonymizationTest, IdentifiersAreTakenOutOfTextsOfAllFilesAsWholeWords) {
    write([](DcmDataset& dataset) {
        putText(dataset, DCM_StudyInstanceUID, kStudy);
        putText(dataset, DCM_PatientID, "HOSPITAL-00042");
        putText(dataset, DCM_ImageComments,
                "Study 1.2.840.113619.2.5. Not 1.2.840.113619.2.5.1 of HOSPITAL-00042, not XHOSPITAL-00042");
        putText(dataset, DcmTag(0x0029, 0x0010, EVR_LO), "MAKER");
        putUnknown(dataset, "HOSPITAL-00042");
    });
    map();
    EXPECT_FALSE(run->clean(mapped, nullptr)); // what is no word of its own is left, and said
    DcmFileFormat cleaned;
    ASSERT_TRUE(cleaned.loadFile(mapped.c_str()).good());
    const std::string id = Pseudonyms(kKey).id("PatientID", "HOSPITAL-00042");
    EXPECT_EQ(text(*cleaned.getDataset(), DCM_ImageComments),
              std::string("Study ") + kNewStudy + ". Not 1.2.840.113619.2.5.1 of " + id + ", not XHOSPITAL-00042");
    const Uint8* bytes = nullptr;
    unsigned long count = 0;
    ASSERT_TRUE(cleaned.getDataset()->findAndGetUint8Array({0x0029, 0x1001}, bytes, &count).good());
    EXPECT_EQ(std::string(reinterpret_cast<const char*>(bytes), count), id);
}

TEST_F(AnonymizationTest, IdentifiersInBytesAreOverwrittenInPlace) {
    write([](DcmDataset& dataset) {
        putText(dataset, DCM_PatientID, "HOSPITAL-00042");
        putText(dataset, DcmTag(0x0029, 0x0010, EVR_LO), "MAKER");
        dataset.putAndInsertUint8Array(DcmTag(0x0029, 0x1001, EVR_OB),
                                       reinterpret_cast<const Uint8*>("\1\2HOSPITAL-00042"), 16);
    });
    map();
    EXPECT_TRUE(run->clean(mapped, nullptr));
    DcmFileFormat cleaned;
    ASSERT_TRUE(cleaned.loadFile(mapped.c_str()).good());
    const Uint8* bytes = nullptr;
    unsigned long count = 0;
    ASSERT_TRUE(cleaned.getDataset()->findAndGetUint8Array({0x0029, 0x1001}, bytes, &count).good());
    EXPECT_EQ(std::string(reinterpret_cast<const char*>(bytes), count), "\1\00200000000-00000");
}

TEST_F(AnonymizationTest, CodesStayWhatTheyAreAlthoughAnIdentifierLooksLikeOne) {
    write([](DcmDataset& dataset) {
        putText(dataset, DCM_PatientID, "YBR_FULL_422");
        putText(dataset, DCM_StudyID, "1.2.840.10008.5.1.4.1.1.2");
        putText(dataset, DCM_PhotometricInterpretation, "YBR_FULL_422");
    });
    map();
    EXPECT_FALSE(run->clean(mapped, nullptr));
    DcmFileFormat cleaned;
    ASSERT_TRUE(cleaned.loadFile(mapped.c_str()).good());
    EXPECT_EQ(text(*cleaned.getDataset(), DCM_PhotometricInterpretation), "YBR_FULL_422");
    EXPECT_EQ(text(*cleaned.getDataset(), DCM_SOPClassUID), UID_CTImageStorage);
}

TEST_F(AnonymizationTest, AnIdentifierInPixelsIsLeftAndTold) {
    write([](DcmDataset& dataset) {
        putText(dataset, DCM_PatientID, "HOSPITAL-00042");
        dataset.putAndInsertUint8Array(DcmTag(DCM_PixelData, EVR_OB), reinterpret_cast<const Uint8*>("HOSPITAL-00042"),
                                       14);
    });
    map();
    EXPECT_FALSE(run->clean(mapped, nullptr));
    EXPECT_TRUE(run->holdsIdentifier(mapped));
}

TEST_F(AnonymizationTest, AValueThatTheUserGaveStandsWhereTheFileDoesNotTellTheType) {
    const Fill fill = [](DcmDataset& dataset) {
        auto element = std::make_unique<DcmOtherByteOtherWord>(DcmTag(0x0008, 0x1010, EVR_UN)); // StationName
        element->putUint8Array(reinterpret_cast<const Uint8*>("CT-ROOM2"), 8);
        if (dataset.insert(element.get()).good()) {
            (void)element.release();
        }
    };
    write(fill);
    EXPECT_EQ(text(map({kKey, false, {{0x0008, 0x1010, "NOWHERE"}}}), DCM_StationName), "NOWHERE");
}

TEST_F(AnonymizationTest, DeflatedTextsAreCleanedToo) {
    const Fill fill = [](DcmDataset& dataset) {
        putText(dataset, DCM_PatientID, "HOSPITAL-00042");
        putText(dataset, DCM_ImageComments, "of HOSPITAL-00042");
    };
    writeDicom(original, fill, EXS_DeflatedLittleEndianExplicit);
    writeDicom(written, fill, EXS_DeflatedLittleEndianExplicit);
    map();
    EXPECT_TRUE(run->clean(mapped, nullptr));
    DcmFileFormat cleaned;
    ASSERT_TRUE(cleaned.loadFile(mapped.c_str()).good());
    EXPECT_EQ(text(*cleaned.getDataset(), DCM_ImageComments),
              "of " + Pseudonyms(kKey).id("PatientID", "HOSPITAL-00042"));
}

TEST_F(AnonymizationTest, ExaminesSequencesPrivateBlocksOverlaysAndMetaInformation) {
    write([](DcmDataset& dataset) {
        putText(itemOf(dataset, DCM_ReferencedStudySequence), DCM_PatientName, "Doe^Jane");
        putText(dataset, DCM_OperatorsName, "");
        putText(dataset, DcmTag(0x0029, 0x0010, EVR_LO), "MAKER");
        DcmItem& inner = itemOf(dataset, DcmTag(0x0029, 0x1002, EVR_SQ));
        putText(inner, DCM_InstitutionName, "General");
        dataset.putAndInsertUint8Array(DcmTag(0x6002, 0x3000, EVR_OB), reinterpret_cast<const Uint8*>("\1\1"), 2);
        putText(dataset, DcmTag(0x0011, 0x0110, EVR_PN), "Roe^Richard"); // no creator at hand
        putText(dataset, DCM_BurnedInAnnotation, "YES");
        putText(dataset, DCM_StudyID, "7");
        putText(dataset, DCM_StudyDate, "20200101");
    });
    map({kKey, false, {{0x0008, 0x0020, "20200101"}}});
    EXPECT_EQ(
        run->examine(mapped),
        (std::set<std::string>{"PatientName", "InstitutionName", "OverlayData", "pixels (BurnedInAnnotation is YES)",
                               "private attributes of MAKER", "private attributes of unknown"}));
}

TEST_F(AnonymizationTest, IdentifiersThatStayedAreToldWhateverTheirLength) {
    write(
        [](DcmDataset& dataset) {
            putText(dataset, DCM_PatientID, "7");
            putText(itemOf(dataset, DCM_ReferencedStudySequence), DCM_ReferencedSOPInstanceUID, "1.2.3");
        },
        [](DcmDataset& dataset) { putText(dataset, DCM_StudyID, "8"); });
    map({"", true, {}});
    const Leaks leaks = run->examine(mapped);
    EXPECT_THAT(leaks, Contains("PatientID"));
    EXPECT_THAT(leaks, Contains("ReferencedSOPInstanceUID"));
    EXPECT_THAT(leaks, Contains("SOPInstanceUID"));
    EXPECT_THAT(leaks, Not(Contains("StudyID")));
}

TEST_F(AnonymizationTest, NamesOfFilesShowAnIdentityInAnyCase) {
    write([](DcmDataset& dataset) {
        putText(dataset, DCM_PatientName, "Doe^Jane");
        putText(dataset, DCM_PatientID, "MRN-0001");
    });
    map();
    EXPECT_TRUE(run->showsIdentity("DOE_JANE/IM1"));
    EXPECT_TRUE(run->showsIdentity("x/mrn-0001/1"));
    EXPECT_FALSE(run->showsIdentity("DOE/IM1")); // three letters are part of too many words
}

TEST_F(AnonymizationTest, TellsDirectoriesFilesAndOthersApart) {
    run = startAnonymization({});
    EXPECT_EQ(run->kindOf(folder.write("a", "text")), FileKind::Other);
    EXPECT_EQ(run->kindOf(folder.write("a", "")), FileKind::Other);
    EXPECT_EQ(run->kindOf(folder.write("a", std::string("\x08\0\x05\0\0\0\0\0", 8))), FileKind::MaybeDicom);
    EXPECT_EQ(run->kindOf(writeDicom(folder.file("a"), {})), FileKind::Dicom);
    EXPECT_THROW((void)run->kindOf(folder.file("missing")), std::runtime_error);
}

TEST_F(AnonymizationTest, EveryCutOfAFileIsMappedOrRefused) {
    write([](DcmDataset& dataset) {
        putText(dataset, DCM_PatientID, "HOSPITAL-00042");
        putText(itemOf(dataset, DCM_ReferencedStudySequence), DCM_ReferencedSOPInstanceUID, "1.2.3");
        putUnknown(dataset, "12345678");
    });
    const std::string bytes = readFile(original);
    run = startAnonymization({});
    for (std::size_t length = 0; length < bytes.size(); ++length) {
        folder.write("original", bytes.substr(0, length));
        folder.write("written", bytes.substr(0, length));
        try {
            run->map(original, written, mapped, &changes);
            (void)run->clean(mapped, &changes);
            (void)run->examine(mapped);
        } catch (const std::runtime_error& error) {
            EXPECT_THAT(std::string(error.what()), Not(IsEmpty())) << length;
        }
    }
}

TEST_F(AnonymizationTest, AFullDiskIsAnError) {
    write([](DcmDataset& dataset) { putText(dataset, DCM_PatientID, "HOSPITAL-00042"); });
    run = startAnonymization({});
    try {
        run->map(original, written, "/dev/full", nullptr);
        FAIL() << "nothing was said";
    } catch (const std::runtime_error& error) {
        EXPECT_THAT(error.what(), HasSubstr("No space left on device"));
    }
}
