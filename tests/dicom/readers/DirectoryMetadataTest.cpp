#include "tests/dicom/readers/DirectoryTest.h"

using namespace radvex::test;
using namespace velmora;

namespace {

class DirectoryMetadata : public DirectoryTest {
  protected:
    void SetUp() override {
        DirectoryTest::SetUp();
        writeSeries({seriesOf("1.1", {"A", "D\\B"}), seriesOf("1.2", {"C"})});
        writeFile("A", "Doe^Jane", 2);
        writeFile("D\\B", "Roe^Rick", 1);
        writeFile("C", "", 7);
    }
    void writeFile(const std::string& fileId, const std::string& patient, int rows) {
        writeDicom(mediumPath(folder, fileId), [&](DcmDataset& dataset) {
            if (!patient.empty()) {
                dataset.putAndInsertString(DCM_PatientName, patient.c_str());
            }
            dataset.putAndInsertString(DCM_PatientBirthDate, "not a date");
            dataset.putAndInsertUint16(DCM_Rows, static_cast<Uint16>(rows));
            put(addItem(dataset, DCM_ReferencedImageSequence),
                {{DCM_ReferencedSOPInstanceUID, "1.2"}, {DCM_PatientBirthDate, "not a date"}});
        });
    }

    std::vector<Value> named(const std::vector<std::string>& names, const std::string& series = ".*",
                             bool validate = false) {
        return {path, Store::ofTexts(names), series, validate};
    }
    std::vector<Value> numbered(const std::vector<std::pair<std::string, std::string>>& numbers) {
        std::vector<Value> lists;
        lists.reserve(numbers.size());
        for (const auto& [group, element] : numbers) {
            lists.emplace_back(Store::ofTexts({group, element}));
        }
        return {path, Store::of(std::move(lists))};
    }
    /// The result in one line, without the folder in front of the names.
    std::string line(const std::string& function, std::vector<Value> arguments) {
        return lineOf(call(function, std::move(arguments)).get<Store>().view());
    }
};

} // namespace

TEST_F(DirectoryMetadata, IsOneStoreForEachFileByItsAbsolutePathInDirectoryOrder) {
    const Value result = call("ReadMetadataRecursive", named({"Rows", "PatientName"}));
    EXPECT_THAT(keysOf(result.get<Store>().view()),
                ElementsAre(folder.file("A"), folder.file("D/B"), folder.file("C")));
    EXPECT_EQ(line("ReadMetadataRecursive", named({"Rows", "PatientName", "StudyDate"})),
              "A{Rows=2,PatientName=Doe^Jane},D/B{Rows=1,PatientName=Roe^Rick},C{Rows=7}");
    EXPECT_EQ(line("ReadMetadataRecursive", named({})), "A{},D/B{},C{}");
}

TEST_F(DirectoryMetadata, AFileNamedTwiceIsReadTwice) {
    writeFileIds({"A", "A"});
    EXPECT_EQ(line("ReadMetadataRecursive", named({"Rows"})), "A{Rows=2},A{Rows=2}");
}

TEST_F(DirectoryMetadata, OnlyASeriesPatternRestrictsIt) {
    EXPECT_EQ(line("ReadMetadataRecursive", named({"Rows"}, "1\\.2")), "C{Rows=7}");
    EXPECT_EQ(line("ReadMetadataRecursive", named({"Rows"}, "1")), "");
    EXPECT_EQ(line("ReadMetadataIntTagsRecursive", numbered({{"0028", "0010"}})), "A{Rows=2},D/B{Rows=1},C{Rows=7}");
}

TEST_F(DirectoryMetadata, WithoutASelectedFileNothingIsOpenedAndNoNameIsWrong) {
    call("ReadMetadataRecursive", named({}, "X"));
    ledger().refuseNothing();
    EXPECT_EQ(line("ReadMetadataRecursive", named({"Nonsense"}, "X")), "");
    EXPECT_EQ(ledger().calls(Operation::validatePath), 0) << "the DICOMDIR is open, and no file is";
    EXPECT_EQ(codeOf("ReadMetadataRecursive", named({"Nonsense"})), -64);
    EXPECT_EQ(messageOf("ReadMetadataRecursive", named({"Nonsense"})), "Attribute tag named Nonsense does not exist.");
}

TEST_F(DirectoryMetadata, ValidationIsTheCallersAndForNumbersAlways) {
    EXPECT_EQ(line("ReadMetadataRecursive", named({"PatientBirthDate"}, "1.2", false)),
              "C{PatientBirthDate=not a date}");
    EXPECT_EQ(line("ReadMetadataRecursive", named({"PatientBirthDate"}, "1.2", true)), "C{}");
    EXPECT_EQ(line("ReadMetadataIntTagsRecursive", numbered({{"0010", "0030"}})), "A{},D/B{},C{}");
    EXPECT_EQ(line("ReadAllMetadataRecursive", named({"PatientBirthDate"}, "1.2", true)).find("not a date"),
              std::string::npos);
}

TEST_F(DirectoryMetadata, NumbersAreHexadecimalAndMayBeBad) {
    EXPECT_EQ(line("ReadMetadataIntTagsRecursive", numbered({{"28", "10"}, {"10", "10"}})),
              "A{Rows=2,PatientName=Doe^Jane},D/B{Rows=1,PatientName=Roe^Rick},C{Rows=7}");
    EXPECT_EQ(codeOf("ReadMetadataIntTagsRecursive", numbered({{"no", "number"}})), 6);
    EXPECT_EQ(codeOf("ReadMetadataIntTagsRecursive", {path, Store::of({Store::ofTexts({"0028"})})}), 6);
}

TEST_F(DirectoryMetadata, AllOfItIsThatOfTheSingleFiles) {
    for (const bool validate : {false, true}) {
        const Value all = call("ReadAllMetadataRecursive", named({"PatientName"}, ".*", validate));
        std::size_t index = 0;
        for (const char* name : {"A", "D/B", "C"}) {
            const Value single =
                call("ReadAllMetadata", {folder.file(name), Store::ofTexts({"PatientName"}), validate});
            EXPECT_EQ(outline(storeAt(all.get<Store>().view(), index)), outline(single.get<Store>().view()));
            EXPECT_THAT(keysOf(single.get<Store>().view()), testing::Contains("Rows"));
            ++index;
        }
        EXPECT_EQ(all.get<Store>().size(), index);
    }
}

TEST_F(DirectoryMetadata, AMissingFileEndsTheReadByName) {
    writeFileIds({"A", "MISSING", "TEXT"});
    const std::string message = "Error when opening file " + folder.file("MISSING") + ": No such file or directory.";
    EXPECT_EQ(messageOf("ReadMetadataRecursive", named({"Rows"})), message);
    EXPECT_EQ(messageOf("ReadMetadataIntTagsRecursive", numbered({{"0028", "0010"}})), message);
    EXPECT_EQ(messageOf("ReadAllMetadataRecursive", named({})), message);
    EXPECT_EQ(codeOf("ReadAllMetadataRecursive", named({})), -62);
}

TEST_F(DirectoryMetadata, AFileThatIsNoDicomEndsTheRead) {
    writeFileIds({"TEXT"});
    folder.write("TEXT", "no DICOM at all");
    EXPECT_EQ(codeOf("ReadMetadataRecursive", named({"Rows"})), -62);
}

TEST_F(DirectoryMetadata, ARecordWithoutAFileNameIsTheFolderAndNoFile) {
    writeFileIds({""});
    EXPECT_EQ(codeOf("ReadMetadataRecursive", named({"Rows"})), -62);
    EXPECT_THAT(messageOf("ReadMetadataRecursive", named({"Rows"})), HasSubstr(folder.path().string() + "/:"));
}

TEST_F(DirectoryMetadata, FilesAreNeitherTakenFromTheCacheNorPutThere) {
    EXPECT_EQ(call("ReadMetadata", {folder.file("C"), Store::ofTexts({"Rows"}), false}).get<Store>().size(), 1U);
    writeFile("C", "", 8);
    EXPECT_EQ(line("ReadMetadataRecursive", named({"Rows"}, "1.2")), "C{Rows=8}");
    EXPECT_EQ(outline(call("ReadMetadata", {folder.file("C"), Store::ofTexts({"Rows"}), false}).get<Store>().view()),
              "Rows=7");
}

TEST_F(DirectoryMetadata, ArgumentsAreReadAndRefusedInTheirOrder) {
    const std::string missing = folder.file("X/DICOMDIR");
    EXPECT_EQ(codeOf("ReadMetadataRecursive", {missing, Null{}, "(", false}), -25) << "names before the path";
    EXPECT_EQ(codeOf("ReadMetadataRecursive", {missing, Store::empty(), "(", false}), -62);
    EXPECT_EQ(codeOf("ReadMetadataRecursive", named({}, "(")), 6);
    EXPECT_EQ(codeOf("ReadAllMetadataRecursive", {missing, Store::empty(), "(", false}), -62);
    EXPECT_EQ(codeOf("ReadAllMetadataRecursive", named({}, "(")), 6);
    EXPECT_EQ(codeOf("ReadMetadataIntTagsRecursive", {missing, Null{}}), -25);
    EXPECT_EQ(codeOf("ReadMetadataIntTagsRecursive", {missing, Store::of({Store::ofTexts({"1"})})}), 6);
    EXPECT_EQ(codeOf("ReadMetadataRecursive", {path, Store::empty(), ".*"}), -2);
    EXPECT_EQ(codeOf("ReadMetadataRecursive", {path, Store::empty()}), 6);
}

TEST_F(DirectoryMetadata, OfTheDirectoryFileItselfIsReadLikeThatOfAnyFile) {
    const Value result = call("ReadMetadata", {path, Store::ofTexts({"FileSetConsistencyFlag"}), false});
    EXPECT_EQ(outline(result.get<Store>().view()), "FileSetConsistencyFlag=0");
}
