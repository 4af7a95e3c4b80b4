#pragma once

// Two patients, the files that `radvex anonymize` makes of theirs, and changes of these.

#include <filesystem>
#include <functional>

#include "tests/cli/Commands.h"

namespace radvex::test {

inline const std::string kRoot = "1.2.826.0.1.99.5";

/// One of two patients, each with a study of two series.
struct Subject {
    std::string name{};
    std::string id{};
    std::string birthDate{};
    std::string date{};
    std::string study{};
};

inline const std::vector<Subject> kSubjects{
    {"Zyxwvut^Quirina", "HOSP-550137", "19560317", "20190412", kRoot + ".1"},
    {"Abendroth^Lukretia", "HOSP-550999", "19710823", "20200903", kRoot + ".2"}};

inline std::string instanceOf(const Subject& subject, int series, int number) {
    return subject.study + '.' + std::to_string(series) + '.' + std::to_string(number);
}

inline void putPerson(DcmDataset& dataset, const Subject& subject) {
    put(dataset, {{DCM_PatientName, subject.name},
                  {DCM_PatientID, subject.id},
                  {DCM_PatientBirthDate, subject.birthDate},
                  {DCM_PatientSex, "F"},
                  {DCM_PatientAge, "060Y"},
                  {DCM_PatientAddress, "Lindenstrasse 17, Musterstadt"},
                  {DCM_PatientTelephoneNumbers, "+49 89 5550123"},
                  {DCM_AccessionNumber, "ACC77129" + subject.id.substr(8)},
                  {DCM_ReferringPhysicianName, "Habermann^Otto"},
                  {DCM_OperatorsName, "Kirchhoff"},
                  {DCM_InstitutionName, "Klinikum Nordwest"},
                  {DCM_StationName, "CTNORDWEST7"},
                  {DCM_DeviceSerialNumber, "SN-4477123"}});
}

inline void putStudy(DcmDataset& dataset, const Subject& subject, int series, int number) {
    put(dataset, {{DCM_StudyInstanceUID, subject.study},
                  {DCM_SeriesInstanceUID, subject.study + '.' + std::to_string(series)},
                  {DCM_SOPInstanceUID, instanceOf(subject, series, number)},
                  {DCM_FrameOfReferenceUID, subject.study + ".99"},
                  {DCM_StudyDate, subject.date},
                  {DCM_StudyTime, "101112"},
                  {DCM_SeriesDate, subject.date},
                  {DCM_SeriesTime, "101530"},
                  {DCM_AcquisitionDateTime, subject.date + "101601.25"},
                  {DCM_StudyID, "77" + subject.id.substr(8)},
                  {DCM_StudyDescription, "Abdomen of Quirina Zyxwvut"},
                  {DCM_SeriesDescription, "portal venous, Dr. Habermann"},
                  {DCM_Modality, "CT"},
                  {DCM_Manufacturer, "Optik"},
                  {DCM_BodyPartExamined, "ABDOMEN"},
                  {DCM_BurnedInAnnotation, "NO"},
                  {DCM_SeriesNumber, std::to_string(series)},
                  {DCM_InstanceNumber, std::to_string(number)}});
}

inline void putMore(DcmDataset& dataset, const Subject& subject) {
    put(addItem(dataset, DCM_ReferencedImageSequence),
        {{DCM_ReferencedSOPClassUID, UID_CTImageStorage}, {DCM_ReferencedSOPInstanceUID, instanceOf(subject, 1, 1)}});
    DcmItem& content = addItem(dataset, DCM_ContentSequence);
    put(content, {{DCM_ValueType, "TEXT"}, {DCM_TextValue, "Quirina Zyxwvut came on foot"}});
    put(addItem(content, DCM_ConceptNameCodeSequence),
        {{DCM_CodeValue, "121071"}, {DCM_CodingSchemeDesignator, "DCM"}, {DCM_CodeMeaning, "Finding"}});
    put(addItem(dataset, DCM_RequestAttributesSequence), {{DCM_RequestedProcedureID, "REQ-99871"}});
    dataset.putAndInsertString(DcmTag(0x0029, 0x0010, DcmVR(EVR_LO)), "MAKER 77");
    dataset.putAndInsertString(DcmTag(0x0029, 0x1001, DcmVR(EVR_LO)), "fine");
    dataset.putAndInsertString(DcmTag(0x0029, 0x1002, DcmVR(EVR_LO)), "Zyxwvut");
    dataset.putAndInsertUint16(DCM_OverlayRows, 2);
    dataset.putAndInsertUint16(DCM_OverlayColumns, 2);
    put(dataset, {{DCM_OverlayType, "R"}});
    const std::vector<Uint8> plane{5, 0};
    dataset.putAndInsertUint8Array(DcmTag(DCM_OverlayData, EVR_OW), plane.data(), 2);
}

/// Originals of two patients, and what is made of them.
class VerifiedFiles : public ::testing::Test {
  protected:
    void writeOriginals() {
        for (std::size_t index = 0; index < kSubjects.size(); ++index) {
            for (const auto& [series, number] : {std::pair{1, 1}, std::pair{1, 2}, std::pair{2, 1}}) {
                const std::string name =
                    "P" + std::to_string(index) + "/I" + std::to_string(series) + std::to_string(number);
                std::filesystem::create_directories(in.path() / std::filesystem::path(name).parent_path());
                ImageFile image{.rows = 2, .columns = 2, .words = {1, 2, 3, 4}};
                const Subject& subject = kSubjects[index];
                image.more = [&, series = series, number = number](DcmDataset& dataset) {
                    putPerson(dataset, subject);
                    putStudy(dataset, subject, series, number);
                    putMore(dataset, subject);
                };
                writeImageFile(in.file(name), image);
            }
        }
    }

    void makeOutput(const Words& more = {}) {
        std::filesystem::remove_all(out);
        if (std::filesystem::is_empty(in.path())) {
            writeOriginals();
        }
        const ProcessResult run = runRadvex(joined({"anonymize", in.path().string(), out, "-q"}, more));
        ASSERT_EQ(run.status, 0) << run.errors;
    }

    ProcessResult verifyAlone(const Words& more = {}) { return runRadvex(joined({"verify", out}, more)); }
    ProcessResult verifyBoth(const Words& more = {}) {
        return runRadvex(joined({"verify", in.path().string(), out}, more));
    }

    void edit(const Fill& change, const std::string& name = "P0/I11") {
        DcmFileFormat file;
        const std::string path = (std::filesystem::path(out) / name).string();
        ASSERT_TRUE(file.loadFile(path.c_str()).good());
        ASSERT_TRUE(file.loadAllDataIntoMemory().good());
        change(*file.getDataset());
        ASSERT_TRUE(file.saveFile(path.c_str(), EXS_LittleEndianExplicit).good());
    }

    /// A change of one good file is found, and said.
    void expectFound(const Fill& change, const std::string& finding, const Words& options = {}) {
        makeOutput(options);
        edit(change);
        const ProcessResult run = verifyBoth(options);
        EXPECT_EQ(run.status, 1) << run.output;
        EXPECT_THAT(run.output, HasSubstr(finding));
    }
    void expectFoundAlone(const Fill& change, const std::string& finding) {
        makeOutput();
        edit(change);
        const ProcessResult run = verifyAlone();
        EXPECT_EQ(run.status, 1) << run.output;
        EXPECT_THAT(run.output, HasSubstr(finding));
        EXPECT_THAT(run.output, HasSubstr("P0/I11"));
    }

    static Fill setting(const Attributes& attributes) {
        return [attributes](DcmDataset& dataset) { put(dataset, attributes); };
    }

    TemporaryFolder in{};
    TemporaryFolder folder{};
    std::string out = folder.file("out");
};

} // namespace radvex::test
