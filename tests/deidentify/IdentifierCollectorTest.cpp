#include "deidentify/rewriting/IdentifierCollector.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/support/DicomFiles.h"

using namespace radvex::deidentify;
using radvex::test::addItem;
using radvex::test::Attributes;
using radvex::test::put;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::UnorderedElementsAre;
using enum radvex::deidentify::IdentifierKind;

namespace {

using Pairs = std::vector<std::pair<IdentifierKind, std::string>>;

ProfileOptions choosing(std::initializer_list<ProfileOption> chosen) {
    ProfileOptions options;
    for (const ProfileOption option : chosen) {
        options.choose(option);
    }
    return options;
}

LearntFile learn(DcmFileFormat& file, const ProfileOptions& options = {}) {
    TextDecoder decoder;
    return learnIdentifiers(file, options, decoder);
}

Pairs learntFrom(const Attributes& attributes, std::initializer_list<ProfileOption> chosen = {}) {
    DcmFileFormat file;
    put(*file.getDataset(), attributes);
    Pairs pairs;
    const LearntFile learnt = learn(file, choosing(chosen));
    for (const Identifier& identifier : learnt.identifiers.all()) {
        pairs.emplace_back(identifier.kind, identifier.text);
    }
    return pairs;
}

std::string patientWith(const Attributes& attributes) {
    DcmDataset dataset;
    put(dataset, attributes);
    TextDecoder decoder;
    return patientOf(dataset, decoder);
}

} // namespace

TEST(IdentifierCollector, KnowsWhatEachAttributeIdentifies) {
    const std::vector<std::pair<DcmTagKey, IdentifierKind>> kinds{
        {DCM_PatientID, PatientId},
        {DCM_PatientName, PatientName},
        {DCM_ResponsiblePerson, PatientName},
        {DCM_AccessionNumber, OtherId},
        {DCM_StudyID, OtherId},
        {DCM_PatientAddress, Address},
        {DCM_PatientTelephoneNumbers, Telephone},
        {DCM_InstitutionName, Organization},
        {DCM_DeviceSerialNumber, Device},
        {DCM_StationName, Device},
        {DCM_ReferringPhysicianName, OtherName},
        {DCM_OperatorsName, OtherName},
    };
    for (const auto& [key, kind] : kinds) {
        EXPECT_THAT(learntFrom({{key, "Zyxw 77"}}), ElementsAre(std::pair(kind, std::string("Zyxw 77"))))
            << DcmTag(key).getTagName();
    }
}

TEST(IdentifierCollector, LearnsDatesAsDays) {
    EXPECT_THAT(learntFrom({{DCM_PatientBirthDate, "19560317"}}), ElementsAre(std::pair(BirthDate, "19560317")));
    EXPECT_THAT(learntFrom({{DCM_PatientBirthDate, "1956.03.17"}}), ElementsAre(std::pair(BirthDate, "19560317")));
    EXPECT_THAT(learntFrom({{DCM_StudyDate, "20240229"}}), ElementsAre(std::pair(OtherDate, "20240229")));
    EXPECT_THAT(learntFrom({{DCM_AcquisitionDateTime, "20240229101112.5+0100"}}),
                ElementsAre(std::pair(OtherDate, "20240229")));
    for (const char* part : {"2024", "202402", "yesterday", ""}) {
        EXPECT_THAT(learntFrom({{DCM_StudyDate, part}}), IsEmpty()) << part;
    }
}

TEST(IdentifierCollector, LearnsUidsOfThingsAndNotOfKinds) {
    EXPECT_THAT(learntFrom({{DCM_StudyInstanceUID, "1.2.3.77"}}), ElementsAre(std::pair(Uid, "1.2.3.77")));
    EXPECT_THAT(learntFrom({{DCM_FrameOfReferenceUID, "1.2.3.78"}}), ElementsAre(std::pair(Uid, "1.2.3.78")));
    EXPECT_THAT(learntFrom({{DCM_SOPClassUID, UID_CTImageStorage}}), IsEmpty());
    EXPECT_THAT(learntFrom({{DCM_SOPClassUID, "1.2.3.79"}}), IsEmpty()) << "a class of somebody's own";
    EXPECT_THAT(learntFrom({{DCM_FrameOfReferenceUID, "1.2.840.10008.1.4.1.1"}}), IsEmpty()) << "the Talairach brain";
}

TEST(IdentifierCollector, LearnsEachValueOfSeveral) {
    EXPECT_THAT(learntFrom({{DCM_OtherPatientNames, "Doe^Jane\\Roe^Jane "}}),
                ElementsAre(std::pair(PatientName, "Doe^Jane"), std::pair(PatientName, "Roe^Jane")));
    EXPECT_THAT(learntFrom({{DCM_OperatorsName, "\\\\"}}), IsEmpty());
    EXPECT_THAT(learntFrom({{DCM_InstitutionAddress, "Elbe 1\\Ufer"}}), ElementsAre(std::pair(Address, "Elbe 1\\Ufer")))
        << "a backslash is a letter of a short text";
}

TEST(IdentifierCollector, AnAddressOfMailIsAnIdToo) {
    EXPECT_THAT(learntFrom({{DCM_PatientTelecomInformation, "jane@doe.example"}}),
                UnorderedElementsAre(std::pair(Telephone, "jane@doe.example"), std::pair(OtherId, "jane@doe.example")));
}

TEST(IdentifierCollector, LearnsInItemsAndInTheMetaInformation) {
    DcmFileFormat file;
    DcmItem& outer = addItem(*file.getDataset(), DCM_OtherPatientIDsSequence);
    put(outer, {{DCM_PatientID, "OTHER-1"}});
    put(addItem(addItem(*file.getDataset(), DCM_ReferencedStudySequence), DCM_PersonIdentificationCodeSequence),
        {{DCM_PersonName, "Roe^Rick"}});
    put(*file.getMetaInfo(),
        {{DCM_MediaStorageSOPInstanceUID, "1.2.3.80"}, {DCM_SourceApplicationEntityTitle, "ELBE_CT1"}});
    const LearntFile learnt = learn(file);
    Pairs pairs;
    for (const Identifier& identifier : learnt.identifiers.all()) {
        pairs.emplace_back(identifier.kind, identifier.text);
    }
    EXPECT_THAT(pairs, UnorderedElementsAre(std::pair(PatientId, "OTHER-1"), std::pair(OtherName, "Roe^Rick"),
                                            std::pair(Uid, "1.2.3.80"), std::pair(Device, "ELBE_CT1")));
    EXPECT_THAT(learnt.patients, ElementsAre("OTHER-1")) << "they get pseudonyms as well";
}

TEST(IdentifierCollector, ReadsTextsInTheSetOfTheirItem) {
    DcmFileFormat file;
    put(*file.getDataset(), {{DCM_SpecificCharacterSet, "ISO_IR 100"}, {DCM_PatientName, "M\xFCller"}});
    put(addItem(*file.getDataset(), DCM_OtherPatientIDsSequence),
        {{DCM_SpecificCharacterSet, "ISO_IR 192"}, {DCM_PatientID, "M\xC3\xBC-1"}});
    std::vector<std::string> texts;
    const LearntFile learnt = learn(file);
    for (const Identifier& identifier : learnt.identifiers.all()) {
        texts.push_back(identifier.text);
    }
    EXPECT_THAT(texts, UnorderedElementsAre("M\xC3\xBCller", "M\xC3\xBC-1"));
}

TEST(IdentifierCollector, LearnsNothingThatAnOptionKeeps) {
    using enum ProfileOption;
    EXPECT_THAT(learntFrom({{DCM_StudyInstanceUID, "1.2.3.77"}}, {Uids}), IsEmpty());
    EXPECT_THAT(learntFrom({{DCM_DeviceSerialNumber, "77"}, {DCM_StationName, "CT1"}}, {ProfileOption::Device}),
                IsEmpty());
    EXPECT_THAT(learntFrom({{DCM_InstitutionName, "Elbe Clinic"}}, {Institution}), IsEmpty());
    EXPECT_THAT(learntFrom({{DCM_ResponsibleOrganization, "Elbe Clinic"}}, {Institution}), IsEmpty())
        << "it may be the one that is kept";
    EXPECT_THAT(learntFrom({{DCM_StudyDate, "20240229"}}, {FullDates}), IsEmpty());
    EXPECT_THAT(learntFrom({{DCM_StudyDate, "20240229"}}, {ModifiedDates}),
                ElementsAre(std::pair(OtherDate, "20240229")));
    EXPECT_THAT(learntFrom({{DCM_PatientBirthDate, "19560317"}}, {FullDates, PatientCharacteristics}),
                ElementsAre(std::pair(BirthDate, "19560317")))
        << "no option keeps it";
    EXPECT_THAT(learntFrom({{DCM_PatientName, "Doe"}}, {Uids, Institution, FullDates, PatientCharacteristics}),
                ElementsAre(std::pair(PatientName, "Doe")));
}

TEST(IdentifierCollector, NamesTheInstance) {
    DcmFileFormat file;
    put(*file.getDataset(), {{DCM_SOPInstanceUID, "1.2.3.81"}});
    EXPECT_EQ(learn(file).instance, "1.2.3.81");
    DcmFileFormat empty;
    EXPECT_EQ(learn(empty).instance, "");
    EXPECT_TRUE(learn(empty).identifiers.isEmpty());
}

TEST(IdentifierCollector, TellsPatientsWithoutIdsApart) {
    EXPECT_EQ(patientWith({{DCM_PatientID, "  HOSP-1 "}, {DCM_PatientName, "Doe"}}), "HOSP-1");
    const std::string one = patientWith({{DCM_PatientName, "Doe"}, {DCM_PatientBirthDate, "19560317"}});
    EXPECT_NE(one, patientWith({{DCM_PatientName, "Doe"}, {DCM_PatientBirthDate, "19560318"}}));
    EXPECT_EQ(one, patientWith({{DCM_PatientID, " "}, {DCM_PatientName, "Doe "}, {DCM_PatientBirthDate, "19560317"}}));
    EXPECT_EQ(patientWith({{DCM_StudyInstanceUID, "1.2.3.77"}}), "1.2.3.77");
    EXPECT_EQ(patientWith({}), "");
}
