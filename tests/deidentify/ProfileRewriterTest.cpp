#include "deidentify/Anonymization.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/support/DicomFiles.h"
#include "tests/support/TemporaryFolder.h"

using namespace radvex::test;
using namespace radvex::deidentify;
using testing::HasSubstr;
using testing::Not;

namespace {

class ProfileRewriter : public ::testing::Test {
  protected:
    /// Writes a file, runs both rounds over it, and reads what came out.
    DcmDataset& rewrite(const Fill& fill, ProfileSettings settings = {},
                        E_TransferSyntax syntax = EXS_LittleEndianExplicit) {
        const std::string original = writeDicom(folder.file("original"), fill, syntax);
        const std::string rewritten = folder.file("rewritten");
        const auto run = startAnonymization({"0123456789abcdef", false, {}, std::move(settings)});
        run->know(run->learn(original).identifiers);
        result = run->rewrite(original, rewritten);
        bytes = readFile(rewritten);
        file = std::make_unique<DcmFileFormat>();
        EXPECT_TRUE(file->loadFile(rewritten.c_str()).good());
        return *file->getDataset();
    }

    static ProfileSettings with(std::initializer_list<ProfileOption> options) {
        ProfileSettings settings;
        for (const ProfileOption option : options) {
            settings.options.choose(option);
        }
        return settings;
    }

    TemporaryFolder folder{};
    RewrittenFile result{};
    std::string bytes{};
    std::unique_ptr<DcmFileFormat> file{};
};

/// A text element of any type, whatever the dictionary says.
void putAs(DcmItem& item, const DcmTagKey& key, DcmEVR vr, const char* value) {
    auto element = std::make_unique<DcmLongString>(DcmTag(key, vr));
    element->putString(value);
    if (item.insert(element.get(), OFTrue).good()) {
        (void)element.release();
    }
}

constexpr const char* kUid = "1.2.276.0.99.1.1";

} // namespace

TEST_F(ProfileRewriter, UidsNamesAndDatesAreToldByTheDictionaryWhateverTypeTheFileGives) {
    DcmDataset& dataset = rewrite([](DcmDataset& original) {
        putAs(original, DCM_StudyInstanceUID, EVR_LO, kUid);
        putAs(original, DCM_FrameOfReferenceUID, EVR_LO, kUid);
        putAs(original, DcmTagKey(0x3008, 0x0166), EVR_LO, "20190723"); // SafePositionReturnDate
        putAs(original, DCM_EvaluatorName, EVR_LO, "Li^Xu");
    });
    EXPECT_THAT(textOf(dataset, DCM_StudyInstanceUID), testing::StartsWith("2.25."));
    EXPECT_EQ(textOf(dataset, DCM_FrameOfReferenceUID), textOf(dataset, DCM_StudyInstanceUID));
    EXPECT_THAT(bytes, Not(HasSubstr(kUid)));
    EXPECT_THAT(bytes, Not(HasSubstr("20190723")));
    EXPECT_THAT(bytes, Not(HasSubstr("Li^Xu")));
}

TEST_F(ProfileRewriter, OnlyPixelsOfTheGroupOfPixelsStay) {
    DcmDataset& dataset = rewrite([](DcmDataset& original) {
        const std::vector<Uint16> words(4, 7);
        original.putAndInsertUint16Array(DCM_PixelData, words.data(), words.size());
        putAs(original, DcmTagKey(0x7FE0, 0x1000), EVR_LO, "Li^Xu");
        DcmItem& item = addItem(original, DCM_SourceImageSequence);
        item.putAndInsertUint16Array(DCM_PixelData, words.data(), words.size());
        put(item, {{DCM_ReferencedSOPInstanceUID, kUid}});
    });
    EXPECT_TRUE(dataset.tagExistsWithValue(DCM_PixelData));
    EXPECT_FALSE(dataset.tagExists(DcmTagKey(0x7FE0, 0x1000)));
    DcmItem* item = nullptr;
    ASSERT_TRUE(dataset.findAndGetSequenceItem(DCM_SourceImageSequence, item).good());
    EXPECT_FALSE(item->tagExists(DCM_PixelData)) << "no mask reaches these";
    EXPECT_TRUE(item->tagExists(DCM_ReferencedSOPInstanceUID));
}

TEST_F(ProfileRewriter, KeptPrivateAttributesOfAnUnknownTypeAreJudgedByTheirBytes) {
    ProfileSettings settings = with({ProfileOption::SafePrivate});
    for (std::uint8_t element = 1; element <= 5; ++element) {
        settings.keptPrivates.insert({"MAKER", 0x0029, element});
    }
    const Fill fill = [](DcmDataset& original) {
        put(original, {{DCM_PatientName, "Lee^Anna"}});
        putAs(original, DcmTagKey(0x0029, 0x0010), EVR_LO, "MAKER");
        putAs(original, DcmTagKey(0x0029, 0x1001), EVR_LO, "gain 7 for Lee");
        putAs(original, DcmTagKey(0x0029, 0x1002), EVR_LO, "1.2.276.0.55.5.5.6");
        putAs(original, DcmTagKey(0x0029, 0x1003), EVR_LO, "Li^Xu");
        putAs(original, DcmTagKey(0x0029, 0x1004), EVR_LO, "2019-07-23");
        DcmItem& item = addItem(original, DcmTag(0x0029, 0x1005, EVR_SQ));
        put(item, {{DCM_PatientName, "Li^Xu"}});
    };
    DcmDataset& dataset = rewrite(fill, settings, EXS_LittleEndianImplicit); // which tells no types
    Uint8* text = nullptr;
    DcmElement* element = nullptr;
    ASSERT_TRUE(dataset.findAndGetElement(DcmTagKey(0x0029, 0x1001), element).good());
    ASSERT_TRUE(element->getUint8Array(text).good());
    EXPECT_EQ(std::string(reinterpret_cast<char*>(text), 20), "gain 7 for [removed]");
    for (const char* left : {"1.2.276.0.55.5.5.6", "Li^Xu", "2019-07-23", "Lee"}) {
        EXPECT_THAT(bytes, Not(HasSubstr(left)));
    }
}

TEST_F(ProfileRewriter, DatesThatManyPatientsShareDoNotMoveWithOne) {
    DcmDataset& dataset = rewrite(
        [](DcmDataset& original) {
            put(original, {{DCM_StudyDate, "20200301"}, {DCM_DateOfLastCalibration, "20200101"}});
            DcmItem& code = addItem(original, DCM_ProcedureCodeSequence);
            put(code, {{DCM_CodeValue, "1"}, {DCM_ContextGroupVersion, "20141110"}});
        },
        with({ProfileOption::ModifiedDates}));
    EXPECT_THAT(textOf(dataset, DCM_StudyDate), Not(testing::AnyOf("20200301", "")));
    EXPECT_EQ(textOf(dataset, DCM_DateOfLastCalibration), "(none)");
    DcmItem* code = nullptr;
    ASSERT_TRUE(dataset.findAndGetSequenceItem(DCM_ProcedureCodeSequence, code).good());
    EXPECT_EQ(textOf(*code, DCM_ContextGroupVersion), "19000101000000")
        << "the moved date of a public table tells the days";
}

TEST_F(ProfileRewriter, ADocumentAndItsLengthAreReplacedInPlace) {
    DcmDataset& dataset = rewrite([](DcmDataset& original) {
        put(original, {{DCM_PatientName, "Lee^Anna"},
                       {DCM_DocumentTitle, "Letter for Anna Lee"},
                       {DCM_MIMETypeOfEncapsulatedDocument, "text/XML"},
                       {DCM_HL7InstanceIdentifier, "1.2.3^Lee"}});
        original.putAndInsertUint8Array(DCM_EncapsulatedDocument, reinterpret_cast<const Uint8*>("<Lee/>"), 6);
        original.putAndInsertUint32(DCM_EncapsulatedDocumentLength, 6);
    });
    Uint32 length = 0;
    const Uint8* document = nullptr;
    unsigned long held = 0;
    ASSERT_TRUE(dataset.findAndGetUint32(DCM_EncapsulatedDocumentLength, length).good());
    ASSERT_TRUE(dataset.findAndGetUint8Array(DCM_EncapsulatedDocument, document, &held).good());
    EXPECT_EQ(length + length % 2, held);
    EXPECT_THAT(bytes, Not(HasSubstr("Lee")));
    EXPECT_EQ(textOf(dataset, DCM_DocumentTitle), "Letter for [removed]");
}

TEST_F(ProfileRewriter, TextsOfAKeptOverlayAreCleaned) {
    DcmDataset& dataset = rewrite(
        [](DcmDataset& original) {
            put(original, {{DCM_PatientName, "Lee^Anna"},
                           {DcmTagKey(0x6000, 0x0040), "R"},
                           {DcmTagKey(0x6000, 0x0022), "drawn by Dr. Huber"},
                           {DcmTagKey(0x6000, 0x4000), "for Lee"}});
        },
        with({ProfileOption::Graphics}));
    EXPECT_EQ(textOf(dataset, DcmTagKey(0x6000, 0x0022)), "drawn by Dr. [removed]");
    EXPECT_EQ(textOf(dataset, DcmTagKey(0x6000, 0x4000)), "for [removed]");
}

TEST_F(ProfileRewriter, WhatHasNoPlaceInADatasetAndWhatNobodyCanReadGoes) {
    DcmDataset& dataset = rewrite([](DcmDataset& original) {
        put(original, {{DCM_FileSetID, "LEE"}, {DCM_RETIRED_PlacerOrderNumberProcedure, "ORDER7712"}});
        putAs(original, DcmTagKey(0x0010, 0x0033), EVR_LO, "Heisei 3-4-17"); // the birth date in another calendar
        DcmItem& item = addItem(original, DCM_EncryptedAttributesSequence);
        put(item, {{DCM_EncryptedContentTransferSyntaxUID, "1.2.840.10008.1.2"}});
    });
    EXPECT_FALSE(dataset.tagExists(DCM_FileSetID));
    EXPECT_FALSE(dataset.tagExists(DCM_RETIRED_PlacerOrderNumberProcedure));
    EXPECT_FALSE(dataset.tagExists(DcmTagKey(0x0010, 0x0033)));
    EXPECT_FALSE(dataset.tagExists(DCM_EncryptedAttributesSequence));
}

TEST_F(ProfileRewriter, CodesOfStandardSchemesAreNoNumbersOfPatients) {
    DcmDataset& dataset = rewrite([](DcmDataset& original) {
        put(original, {{DCM_PatientID, "113014"}});
        put(addItem(original, DCM_ProcedureCodeSequence),
            {{DCM_CodeValue, "113014"}, {DCM_CodingSchemeDesignator, "DCM"}, {DCM_CodeMeaning, "Study"}});
        put(addItem(original, DCM_ProcedureCodeSequence),
            {{DCM_CodeValue, "113014"}, {DCM_CodingSchemeDesignator, "99OURS"}, {DCM_CodeMeaning, "of 113014"}});
    });
    DcmItem* code = nullptr;
    ASSERT_TRUE(dataset.findAndGetSequenceItem(DCM_ProcedureCodeSequence, code, 0).good());
    EXPECT_EQ(textOf(*code, DCM_CodeValue), "113014");
    ASSERT_TRUE(dataset.findAndGetSequenceItem(DCM_ProcedureCodeSequence, code, 1).good());
    EXPECT_NE(textOf(*code, DCM_CodeValue), "113014");
    EXPECT_THAT(textOf(*code, DCM_CodeMeaning), Not(HasSubstr("113014")));
}

TEST_F(ProfileRewriter, TextInUtf8UnderALatinSetIsReadAsWhatItIs) {
    DcmDataset& dataset = rewrite(
        [](DcmDataset& original) {
            put(original, {{DCM_SpecificCharacterSet, "ISO_IR 100"}, {DCM_PatientName, "M\xFCller^J\xF6rg"}});
            put(original, {{DCM_SeriesDescription, "knee of M\xC3\xBCller"}});
        },
        with({ProfileOption::Descriptors}));
    EXPECT_EQ(textOf(dataset, DCM_SeriesDescription), "knee of [removed]");
}

TEST_F(ProfileRewriter, AnEarlierResultIsKnownByItsSettingsAndTellsWhatIsLeft) {
    const auto start = [](ProfileSettings settings, const char* key = "0123456789abcdef") {
        return startAnonymization({key, false, {}, std::move(settings)});
    };
    ProfileSettings uids = with({ProfileOption::Uids});
    DcmDataset& dataset = rewrite(
        [](DcmDataset& original) {
            const std::vector<Uint16> words(4, 7);
            original.putAndInsertUint16Array(DCM_PixelData, words.data(), words.size());
            put(original, {{DCM_BurnedInAnnotation, "YES"}});
        },
        uids);
    const std::string path = folder.file("rewritten");
    const std::string instance = textOf(dataset, DCM_SOPInstanceUID);
    const auto same = start(uids)->earlierResult(path, instance);
    ASSERT_TRUE(same.has_value());
    EXPECT_EQ(*same, result.leaks) << "the pixels that were listed at first";
    EXPECT_FALSE(same->empty());
    ProfileSettings strict = uids;
    strict.isStrict = true;
    EXPECT_FALSE(start(strict)->earlierResult(path, instance).has_value());
    EXPECT_FALSE(
        start(with({ProfileOption::Uids, ProfileOption::Graphics}))->earlierResult(path, instance).has_value());
    EXPECT_FALSE(start(uids, "another key, 16+")->earlierResult(path, instance).has_value());
    EXPECT_FALSE(start(uids)->earlierResult(path, kUid).has_value()) << "another instance";
    EXPECT_FALSE(start(uids)->earlierResult(folder.file("original"), instance).has_value());
}

TEST_F(ProfileRewriter, WhatMayStandOnlyBesideAnotherAttributeGoesWithIt) {
    const auto fill = [](DcmDataset& original) {
        put(original, {{DCM_ResponsiblePerson, "Li^Xu"},
                       {DCM_ResponsiblePersonRole, "OWNER"},
                       {DCM_ClinicalTrialProtocolEthicsCommitteeName, "Board of Ulm"},
                       {DCM_ClinicalTrialProtocolEthicsCommitteeApprovalNumber, "U-17"}});
    };
    DcmDataset& basic = rewrite(fill);
    EXPECT_FALSE(basic.tagExists(DCM_ResponsiblePersonRole));
    EXPECT_FALSE(basic.tagExists(DCM_ClinicalTrialProtocolEthicsCommitteeName));

    DcmDataset& institution = rewrite(fill, with({ProfileOption::Institution}));
    EXPECT_EQ(textOf(institution, DCM_ClinicalTrialProtocolEthicsCommitteeName), "Board of Ulm")
        << "an option keeps it";
}

TEST_F(ProfileRewriter, ATextInNoKnownSetWithTheBytesOfANameGoes) {
    const std::string yamada = "\x8E\x52\x93\x63"; // Shift JIS, as many write it under no set at all
    const std::string chest = "\x8B\xB9\x95\x94 CT";
    for (const char* set : {"", "ISO_IR 100", "ISO_IR 144"}) {
        DcmDataset& dataset = rewrite(
            [&](DcmDataset& original) {
                put(original, {{DCM_SpecificCharacterSet, set},
                               {DCM_PatientName, (yamada + "^\x91\xBE\x98\x59").c_str()},
                               {DCM_StudyDescription, ("CT " + yamada + "\x97\x6C").c_str()},
                               {DCM_SeriesDescription, chest.c_str()},
                               {DCM_ProtocolName, "Thorax"}});
            },
            with({ProfileOption::Descriptors}));
        EXPECT_EQ(textOf(dataset, DCM_StudyDescription), "[removed]") << set;
        EXPECT_EQ(textOf(dataset, DCM_SeriesDescription), chest) << set << ": nobody's name";
        EXPECT_EQ(textOf(dataset, DCM_ProtocolName), "Thorax") << set;
        EXPECT_THAT(bytes, Not(HasSubstr(yamada))) << set;
        EXPECT_THAT(result.leaks, Not(testing::Contains(HasSubstr("bytes of the file")))) << set;
    }
}

TEST_F(ProfileRewriter, ATextInItsOwnSetLosesNoMoreThanTheName) {
    DcmDataset& dataset = rewrite(
        [](DcmDataset& original) {
            put(original, {{DCM_SpecificCharacterSet, "ISO_IR 144"},
                           {DCM_PatientName, "\xBF\xD5\xE2\xE0\xDE\xD2^\xB8\xD2\xD0\xDD"},
                           {DCM_StudyDescription, "CT \xBF\xD5\xE2\xE0\xDE\xD2 X"},
                           {DCM_SeriesDescription, "\xB8\xD2\xD0\xDD\xD0 CT"}});
        },
        with({ProfileOption::Descriptors}));
    EXPECT_EQ(textOf(dataset, DCM_StudyDescription), "CT [removed] X");
    EXPECT_EQ(textOf(dataset, DCM_SeriesDescription), "\xB8\xD2\xD0\xDD\xD0 CT") << "another word";
    EXPECT_THAT(result.leaks, Not(testing::Contains(HasSubstr("bytes of the file"))));
}
