#pragma once

// A patient whose files the command de-identifies, and what no output may hold of him or her.

#include <algorithm>
#include <filesystem>
#include <map>
#include <set>

#include "tests/cli/Commands.h"

namespace radvex::test {

namespace fs = std::filesystem;

inline constexpr const char* kId = "HOSP-550137";
inline constexpr const char* kStudy = "1.2.826.0.1.99.5";

/// What no output, no report and no name may hold.
inline const std::vector<std::string> kWords{"Zyxwvut", "Quirina",     kId,          "19560317",      "ACC7712938",
                                             kStudy,    "Elbe Clinic", "SN-4711-88", "Grimm^Wilhelm", "20240229"};

inline Fill patient(int number, const std::string& id = kId) {
    return [=](DcmDataset& dataset) {
        put(dataset, {{DCM_SOPClassUID, UID_CTImageStorage},
                      {DCM_PatientName, "Zyxwvut^Quirina"},
                      {DCM_PatientID, id},
                      {DCM_PatientBirthDate, "19560317"},
                      {DCM_AccessionNumber, "ACC7712938"},
                      {DCM_InstitutionName, "Elbe Clinic"},
                      {DCM_DeviceSerialNumber, "SN-4711-88"},
                      {DCM_ReferringPhysicianName, "Grimm^Wilhelm"},
                      {DCM_StudyDate, "20240229"},
                      {DCM_StudyID, "S1"},
                      {DCM_StudyInstanceUID, kStudy},
                      {DCM_SeriesInstanceUID, std::string(kStudy) + ".1"},
                      {DCM_SeriesNumber, "1"},
                      {DCM_InstanceNumber, std::to_string(number)},
                      {DCM_SOPInstanceUID, std::string(kStudy) + ".1." + std::to_string(number)},
                      {DCM_Modality, "CT"},
                      {DCM_BodyPartExamined, "ABDOMEN"},
                      {DCM_SeriesDescription, "T2 AX of Quirina"}});
    };
}

/// Bytes of all files below a folder by their relative path, hidden ones too.
inline std::map<std::string, std::string> bytesIn(const fs::path& folder) {
    std::map<std::string, std::string> bytes;
    std::error_code missing;
    for (const auto& entry : fs::recursive_directory_iterator(folder, missing)) {
        if (entry.is_regular_file()) {
            bytes[fs::relative(entry.path(), folder).string()] = readFile(entry.path().string());
        }
    }
    return bytes;
}

inline void expectNoWords(const std::string& bytes, const std::string& place) {
    for (const std::string& word : kWords) {
        EXPECT_EQ(bytes.find(word), std::string::npos) << word << " in " << place;
    }
}

inline std::string valueIn(const std::string& path, const DcmTagKey& key) {
    DcmFileFormat file;
    EXPECT_TRUE(file.loadFile(path.c_str()).good()) << path;
    return textOf(*file.getDataset(), key);
}

/// The File IDs of a directory, with '/' between the parts.
inline std::set<std::string> fileIdsIn(const std::string& path) {
    std::set<std::string> fileIds;
    DcmFileFormat file;
    DcmSequenceOfItems* records = nullptr;
    EXPECT_TRUE(file.loadFile(path.c_str()).good()) << path;
    EXPECT_TRUE(file.getDataset()->findAndGetSequence(DCM_DirectoryRecordSequence, records).good());
    for (unsigned long index = 0; records != nullptr && index < records->card(); ++index) {
        std::string fileId = textOf(*records->getItem(index), DCM_ReferencedFileID);
        std::replace(fileId.begin(), fileId.end(), '\\', '/');
        if (fileId != "(none)") {
            fileIds.insert(fileId);
        }
    }
    return fileIds;
}

class ProfileTest : public ::testing::Test {
  protected:
    ProcessResult anonymize(const Words& more = {}) { return runTo(output, more); }
    ProcessResult runTo(const std::string& to, const Words& more = {}) {
        return runRadvex(joined({"anonymize", input, to, "--jobs", "0"}, more));
    }
    std::string out(const std::string& name) const { return output + '/' + name; }

    /// Every file of the output, its name and its bytes.
    void expectNoWordsInOutput() const {
        const auto files = bytesIn(output);
        EXPECT_FALSE(files.empty());
        for (const auto& [name, bytes] : files) {
            expectNoWords(name, "the name of a file");
            expectNoWords(bytes, name);
        }
    }

    TemporaryFolder in{};
    TemporaryFolder folder{};
    std::string input = in.path().string();
    std::string output = folder.file("out");
    std::string key = folder.write("key", "0123456789abcdef");
};

} // namespace radvex::test
