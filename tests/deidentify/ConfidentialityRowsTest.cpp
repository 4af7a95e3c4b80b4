#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <map>
#include <memory>

#include "tests/deidentify/RowSubjects.h"
#include "tests/support/Process.h"
#include "tests/support/TemporaryFolder.h"

using namespace radvex::test;
using testing::IsEmpty;
using testing::UnorderedElementsAreArray;

namespace {

namespace fs = std::filesystem;

const Person kFirst{"HOSP-550137", "Zyxwvut", "Quirina", 1};
const Person kSecond{"HOSP-771246", "Yttriander", "Oswaldo", 2};

/// A sequence that no row names, so that every option keeps it.
const DcmTagKey kHolder(0x0040, 0x9096); // RealWorldValueMappingSequence

/// Files are found again by their InstanceNumber, which no option changes.
enum FileNumber { kTopOfFirst = 1, kInsideOfFirst = 2, kTopOfSecond = 3 };

struct InputFile {
    int number = 0;
    Person person{};
    bool isInside = false; ///< the rows stand in an item, not at the top level
};

const std::vector<InputFile> kFiles{
    {kTopOfFirst, kFirst, false}, {kInsideOfFirst, kFirst, true}, {kTopOfSecond, kSecond, false}};

bool isOfTopLevelOnly(const RowSubject& subject) { return subject.key.getGroup() == 0xFFFC; }

/// Attributes of the meta information and of commands, which a dataset cannot hold.
bool isOutsideOfDatasets(const RowSubject& subject) { return subject.key.getGroup() < 0x0004; }

void putRows(DcmItem& item, const Person& person, bool isInside) {
    for (const RowSubject& subject : rowSubjects()) {
        if (!isOutsideOfDatasets(subject) && !(isInside && isOfTopLevelOnly(subject))) {
            putOriginal(item, subject, person);
        }
    }
}

void writeInput(const TemporaryFolder& folder, const InputFile& file) {
    writeDicom(folder.file("I" + std::to_string(file.number)), [&](DcmDataset& dataset) {
        const std::string root = "1.2.826.0.1.97." + std::to_string(file.person.number);
        if (!file.isInside) {
            putRows(dataset, file.person, false);
        } else {
            putRows(addItem(dataset, kHolder), file.person, true);
            put(dataset, {{DCM_PatientName, file.person.familyName + '^' + file.person.givenName},
                          {DCM_PatientID, file.person.id},
                          {DCM_StudyInstanceUID, root},
                          {DCM_SeriesInstanceUID, root + ".1"}});
        }
        put(dataset, {{DCM_Modality, "CT"},
                      {DCM_InstanceNumber, std::to_string(file.number)},
                      {DCM_SOPInstanceUID, root + ".1." + std::to_string(file.number)}});
    });
}

DcmItem& holderOf(DcmDataset& dataset, bool isInside) {
    DcmItem* item = &dataset;
    if (isInside && dataset.findAndGetSequenceItem(kHolder, item, 0).bad()) {
        throw std::runtime_error("The sequence that holds the rows is gone.");
    }
    return *item;
}

using Loaded = std::map<int, std::unique_ptr<DcmFileFormat>>;

/// All files of a folder by their InstanceNumber.
Loaded load(const fs::path& folder) {
    Loaded loaded;
    for (const auto& entry : fs::recursive_directory_iterator(folder)) {
        auto file = std::make_unique<DcmFileFormat>();
        if (entry.is_regular_file() && file->loadFile(entry.path().c_str()).good()) {
            const std::string number = textOf(*file->getDataset(), DCM_InstanceNumber);
            loaded[std::atoi(number.c_str())] = std::move(file);
        }
    }
    return loaded;
}

class ConfidentialityRows : public ::testing::Test {
  protected:
    void SetUp() override {
        for (const InputFile& file : kFiles) {
            writeInput(in, file);
        }
        originals = load(in.path());
        ASSERT_EQ(originals.size(), kFiles.size());
    }

    ProcessResult anonymize(const Words& words) {
        return runRadvex(joined({"anonymize", in.path().string(), out.file("run"), "--jobs", "0", "--force"}, words));
    }

    /// Every row of every file, against the table.
    void expectRows(const Choice& choice) {
        const ProcessResult run = anonymize(wordsOf(choice));
        ASSERT_EQ(run.status, 0) << nameOf(choice) << ": " << run.errors;
        Loaded written = load(out.file("run"));
        ASSERT_EQ(written.size(), kFiles.size()) << nameOf(choice) << ": " << run.errors << run.output;
        Ledger ledger;
        std::string faults;
        for (const InputFile& file : kFiles) {
            faults += faultsOf(file, choice, *written.at(file.number), ledger);
        }
        EXPECT_THAT(faults, IsEmpty()) << "with " << nameOf(choice);
        fs::remove_all(out.file("run"));
    }

    std::string faultsOf(const InputFile& file, const Choice& choice, DcmFileFormat& written, Ledger& ledger) {
        DcmItem& before = holderOf(*originals.at(file.number)->getDataset(), file.isInside);
        DcmItem& after = holderOf(*written.getDataset(), file.isInside);
        std::string faults;
        for (const RowSubject& subject : rowSubjects()) {
            if (!before.tagExists(subject.key)) {
                continue;
            }
            const std::string fault = faultOf(subject, file.person, wantedAction(subject.row, choice),
                                              choice.contains("retain_uids"), before, after, ledger);
            if (!fault.empty()) {
                faults += "\n  file " + std::to_string(file.number) + ": " + fault;
            }
        }
        return faults;
    }

    TemporaryFolder in{};
    TemporaryFolder out{};
    Loaded originals{};
};

std::string codesOf(DcmDataset& dataset) {
    std::vector<std::string> codes;
    DcmSequenceOfItems* sequence = nullptr;
    if (dataset.findAndGetSequence(DCM_DeidentificationMethodCodeSequence, sequence).good()) {
        for (unsigned long index = 0; index < sequence->card(); ++index) {
            DcmItem& code = *sequence->getItem(index);
            EXPECT_EQ(textOf(code, DCM_CodingSchemeDesignator), "DCM");
            EXPECT_NE(textOf(code, DCM_CodeMeaning), "");
            codes.push_back(textOf(code, DCM_CodeValue));
        }
    }
    std::sort(codes.begin(), codes.end());
    std::string text;
    for (const std::string& code : codes) {
        text += code + ' ';
    }
    return text;
}

/// Codes of context group 7050 (PS3.16) by the column whose option they name.
const std::map<std::string, std::string> kCodes{
    {"clean_graphics", "113103"},     {"clean_structured_content", "113104"},
    {"clean_descriptors", "113105"},  {"retain_full_dates", "113106"},
    {"modified_dates", "113107"},     {"retain_patient_characteristics", "113108"},
    {"retain_device", "113109"},      {"retain_uids", "113110"},
    {"retain_institution", "113112"},
};

std::string codesFor(const Choice& choice) {
    std::set<std::string> codes{"113100"};
    for (const std::string& column : choice) {
        codes.insert(kCodes.at(column));
    }
    std::string text;
    for (const std::string& code : codes) {
        text += code + ' ';
    }
    return text;
}

std::string temporalInformationFor(const Choice& choice) {
    return choice.contains("retain_full_dates") ? "UNMODIFIED"
           : choice.contains("modified_dates")  ? "MODIFIED"
                                                : "REMOVED";
}

} // namespace

TEST(ConfidentialityTable, IsTheOneOfTheEdition) {
    const auto rows = confidentialityRows();
    EXPECT_EQ(rows.size(), 621U);
    std::map<std::string, int> count;
    std::map<std::string, std::string> basicOf;
    for (const ConfidentialityRow& row : rows) {
        ++count[row.basic];
        basicOf[row.tag] = row.basic;
    }
    EXPECT_EQ(basicOf.size(), rows.size()) << "no tag stands there twice";
    EXPECT_EQ(count["X"] + count["U"] + count["Z"] + count["D"], 384 + 54 + 42 + 92);
    const std::map<std::string, std::string> anchors{
        {"0010,0010", "Z"}, {"0010,0020", "Z/D"}, {"0010,0030", "Z"}, {"0008,0080", "X/Z/D"}, {"0020,000D", "U"},
        {"0008,103E", "X"}, {"0040,A730", "D"},   {"0008,0050", "Z"}, {"0018,1000", "X/Z/D"}, {"0010,1010", "X"},
        {"GGGG,EEEE", "X"}, {"60XX,3000", "X"},   {"0042,0011", "D"}, {"0008,1140", "X/Z/U*"}};
    for (const auto& [tag, basic] : anchors) {
        EXPECT_EQ(basicOf[tag], basic) << tag;
    }
}

TEST_F(ConfidentialityRows, StandInTheOriginalsUnlessADatasetCannotHoldThem) {
    std::set<std::string> missing;
    for (const RowSubject& subject : rowSubjects()) {
        for (const InputFile& file : kFiles) {
            DcmItem& item = holderOf(*originals.at(file.number)->getDataset(), file.isInside);
            if (!item.tagExists(subject.key) || contentOf(item, subject.key).value_or("").empty()) {
                missing.insert(subject.row.tag + (file.isInside ? " inside" : ""));
            }
        }
    }
    EXPECT_THAT(missing, UnorderedElementsAreArray({"0000,1000", "0000,1000 inside", "0000,1001", "0000,1001 inside",
                                                    "0002,0003", "0002,0003 inside", "FFFC,FFFC inside"}));
}

TEST_F(ConfidentialityRows, GetTheActionOfTheProfileAndOfEachOptionAlone) {
    for (const Choice& choice : loneChoices()) {
        expectRows(choice);
    }
}

TEST_F(ConfidentialityRows, GetTheStrongestActionOfEachPairOfOptions) {
    for (const Choice& choice : pairsOfChoices()) {
        expectRows(choice);
    }
}

TEST_F(ConfidentialityRows, GetTheStrongestActionOfManyOptions) {
    for (const Choice& choice : fullChoices()) {
        expectRows(choice);
    }
    for (const Choice& choice : randomChoices(13)) {
        expectRows(choice);
    }
}

TEST_F(ConfidentialityRows, AreNamedByTheMethodThatTheFileSays) {
    std::vector<Choice> choices = loneChoices();
    choices.push_back(fullChoices().front());
    for (const Choice& choice : choices) {
        ASSERT_EQ(anonymize(wordsOf(choice)).status, 0) << nameOf(choice);
        for (const auto& [number, file] : load(out.file("run"))) {
            DcmDataset& dataset = *file->getDataset();
            EXPECT_EQ(textOf(dataset, DCM_PatientIdentityRemoved), "YES");
            EXPECT_THAT(textOf(dataset, DCM_DeidentificationMethod), testing::Not(testing::AnyOf("", "(none)")));
            EXPECT_EQ(codesOf(dataset), codesFor(choice)) << nameOf(choice);
            EXPECT_EQ(textOf(dataset, DCM_LongitudinalTemporalInformationModified), temporalInformationFor(choice))
                << nameOf(choice);
        }
        fs::remove_all(out.file("run"));
    }
}

TEST_F(ConfidentialityRows, OfTheMetaInformationFollowTheDataset) {
    for (const Choice& choice : {Choice{}, Choice{"retain_uids"}}) {
        ASSERT_EQ(anonymize(wordsOf(choice)).status, 0);
        Loaded written = load(out.file("run"));
        for (const auto& [number, file] : written) {
            const std::string instance = textOf(*file->getDataset(), DCM_SOPInstanceUID);
            EXPECT_EQ(textOf(*file->getMetaInfo(), DCM_MediaStorageSOPInstanceUID), instance);
            const std::string original = textOf(*originals.at(number)->getDataset(), DCM_SOPInstanceUID);
            EXPECT_EQ(instance == original, choice.contains("retain_uids"));
        }
        fs::remove_all(out.file("run"));
    }
}

TEST_F(ConfidentialityRows, FullAndModifiedDatesExcludeEachOther) {
    EXPECT_EQ(anonymize({"--keep", "dates", "--shift-dates"}).status, 2);
    EXPECT_FALSE(fs::exists(out.file("run")));
}
