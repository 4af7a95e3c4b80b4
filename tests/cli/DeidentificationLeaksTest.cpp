#include <algorithm>
#include <cctype>
#include <map>
#include <set>

#include "tests/cli/Commands.h"
#include "tests/support/HostileFiles.h"

using namespace radvex::test;

namespace {

namespace fs = std::filesystem;

constexpr const char* kBirthDate = "19560317";
constexpr const char* kId = "HOSP-550137";
constexpr const char* kAccession = "ACC7712938";
constexpr const char* kStudy = "1.2.826.0.1.99.5";
constexpr const char* kInstance = "1.2.826.0.1.99.5.1.1";
const std::string kFuerstInLatin1 = "F\xFCrst Optik";
const std::string kFuerstInUtf8 = "F\xC3\xBCrst Optik";

/// What no output may hold, in small letters.
const std::vector<std::string> kWords{"zyxwvut", "quirina", kBirthDate, "hosp-550137", "acc7712938", kStudy};

void putPatient(DcmItem& item) {
    put(item, {{DCM_PatientName, "Zyxwvut^Quirina"},
               {DCM_PatientID, kId},
               {DCM_PatientBirthDate, kBirthDate},
               {DCM_AccessionNumber, kAccession},
               {DCM_StudyInstanceUID, kStudy},
               {DCM_SeriesInstanceUID, "1.2.826.0.1.99.5.1"},
               {DCM_SOPInstanceUID, kInstance},
               {DCM_Modality, "CT"}});
}

Fill patientWith(const Fill& more) {
    return [more](DcmDataset& dataset) {
        putPatient(dataset);
        more(dataset);
    };
}

std::string inSmallLetters(std::string text) {
    std::transform(text.begin(), text.end(), text.begin(),
                   [](unsigned char letter) { return static_cast<char>(std::tolower(letter)); });
    return text;
}

bool isUtf8(const std::string& text) {
    for (std::size_t index = 0; index < text.size();) {
        const auto first = static_cast<unsigned char>(text[index]);
        const std::size_t more = first < 0x80 ? 0 : first < 0xC2 ? 9 : first < 0xE0 ? 1 : first < 0xF0 ? 2 : 3;
        if (first > 0xF4 || more > 3 || index + more >= text.size()) {
            return false;
        }
        for (std::size_t next = 1; next <= more; ++next) {
            if ((static_cast<unsigned char>(text[index + next]) & 0xC0) != 0x80) {
                return false;
            }
        }
        index += more + 1;
    }
    return true;
}

/// Texts of an item and of the items below it.
void collectTexts(DcmItem& item, std::vector<std::string>& texts) {
    for (unsigned long index = 0; index < item.card(); ++index) {
        DcmElement& element = *item.getElement(index);
        OFString text;
        if (auto* sequence = dynamic_cast<DcmSequenceOfItems*>(&element)) {
            for (unsigned long below = 0; below < sequence->card(); ++below) {
                collectTexts(*sequence->getItem(below), texts);
            }
        } else if (DcmVR(element.getVR()).isaString() && element.getOFStringArray(text).good()) {
            texts.emplace_back(text.c_str());
        }
    }
}

class DeidentificationLeaks : public ::testing::Test {
  protected:
    ProcessResult anonymize(const std::string& input, const Words& more = {}) {
        return runRadvex(joined({"anonymize", input, out, "--jobs", "0"}, more));
    }

    /// A file of the patient through the command.
    DcmDataset& anonymized(const Fill& fill, const Words& more = {}) {
        const std::string input = writeDicom(in.file("file"), patientWith(fill));
        const ProcessResult run = anonymize(input, more);
        EXPECT_EQ(run.status, 0) << run.errors;
        EXPECT_TRUE(loaded.loadFile(out.c_str()).good()) << run.errors;
        return *loaded.getDataset();
    }

    /// Every file and folder of the output, names and bytes.
    void expectNoWords(const std::vector<std::string>& more = {}) const {
        std::vector<std::string> words = kWords;
        words.insert(words.end(), more.begin(), more.end());
        std::map<std::string, std::string> found{{"output", fs::is_regular_file(out) ? readFile(out) : ""}};
        if (fs::is_directory(out)) {
            for (const auto& entry : fs::recursive_directory_iterator(out)) {
                const std::string name = fs::relative(entry.path(), out).string();
                found["name " + name] = name;
                found[name] = entry.is_regular_file() ? readFile(entry.path().string()) : "";
            }
        }
        ASSERT_TRUE(found.size() > 1 || !found["output"].empty()) << "nothing was written";
        for (const auto& [place, bytes] : found) {
            for (const std::string& word : words) {
                EXPECT_EQ(inSmallLetters(bytes).find(word), std::string::npos) << word << " in " << place;
            }
        }
    }

    std::set<std::string> namesWritten() const {
        std::set<std::string> names;
        for (const auto& entry : fs::recursive_directory_iterator(out)) {
            names.insert(fs::relative(entry.path(), out).string());
        }
        return names;
    }

    TemporaryFolder in{};
    TemporaryFolder folder{};
    std::string out = folder.file("out");
    DcmFileFormat loaded{};
};

} // namespace

TEST_F(DeidentificationLeaks, AnEncapsulatedDocumentAndItsTitleSayNothing) {
    const std::string document = "%PDF-1.4\n(Quirina Zyxwvut, 19560317, HOSP-550137) Tj\n%%EOF\n";
    anonymized([&](DcmDataset& dataset) {
        put(dataset, {{DCM_SOPClassUID, UID_EncapsulatedPDFStorage},
                      {DCM_DocumentTitle, "Report of Quirina Zyxwvut"},
                      {DCM_MIMETypeOfEncapsulatedDocument, "application/pdf"}});
        const std::vector<Uint8> bytes(document.begin(), document.end());
        dataset.putAndInsertUint8Array(DcmTag(DCM_EncapsulatedDocument, EVR_OB), bytes.data(),
                                       static_cast<unsigned long>(bytes.size() / 2 * 2));
    });
    expectNoWords();
}

TEST_F(DeidentificationLeaks, TextsThatAreEasilyForgottenSayNothing) {
    DcmDataset& dataset = anonymized([](DcmDataset& original) {
        put(original, {{DCM_LabelText, "Zyxwvut Quirina"},
                       {DCM_BarcodeValue, kId},
                       {DCM_TextString, "Zyxwvut"},
                       {DCM_RetrieveURL, "https://pacs.example/zyxwvut"},
                       {DCM_CommentsOnRadiationDose, "for Quirina"},
                       {DCM_GPSLatitude, "48\\12\\30"},
                       {DCM_GPSLatitudeRef, "N"},
                       {DCM_GPSDateStamp, "20240229"},
                       {{0x0014, 0x0102}, "20240229"}, // dates and times that no profile lists
                       {{0x0040, 0xA192}, "20240229"},
                       {{0x0040, 0xA193}, "101112"}});
        put(addItem(original, DCM_ContentSequence),
            {{DCM_ValueType, "TEXT"}, {DCM_TextValue, "Quirina Zyxwvut came on foot"}});
    });
    expectNoWords({"https://pacs", "20240229", "48\\12\\30"});
    EXPECT_NE(textOf(dataset, {0x0040, 0xA193}), "101112");
    EXPECT_FALSE(dataset.tagExists(DCM_GPSLatitudeRef));
}

TEST_F(DeidentificationLeaks, NamesOfFilesAndFoldersSayNothing) {
    for (const char* name : {"Zyxwvut_Quirina", "plain", kAccession}) {
        fs::create_directories(in.path() / name);
    }
    const auto write = [&](const std::string& name, const std::string& instance) {
        writeDicom(in.file(name), patientWith([&](DcmDataset& dataset) {
                       put(dataset, {{DCM_SOPInstanceUID, instance}});
                   }));
    };
    write("Zyxwvut_Quirina/one.dcm", kInstance);
    write(std::string(kAccession) + "/two.dcm", "1.2.826.0.1.99.5.1.2");
    write("plain/1.2.826.0.1.99.5.1.3.dcm", "1.2.826.0.1.99.5.1.3");
    ASSERT_EQ(anonymize(in.path().string()).status, 0);
    expectNoWords();
    const auto names = namesWritten();
    const auto named = std::find_if(names.begin(), names.end(), [](const std::string& name) {
        return name.starts_with("plain/") && name.ends_with(".dcm");
    });
    ASSERT_NE(named, names.end()) << "a name that tells nothing stays";
    ASSERT_TRUE(loaded.loadFile((fs::path(out) / *named).c_str()).good());
    EXPECT_EQ(*named, "plain/" + textOf(*loaded.getDataset(), DCM_SOPInstanceUID) + ".dcm");
}

TEST_F(DeidentificationLeaks, ShortNamesAndNamesBeyondAsciiLeaveThePathToo) {
    const auto write = [&](const std::string& directory, const std::string& name, const std::string& instance) {
        fs::create_directories(in.path() / directory);
        writeDicom(in.file(directory + "/x"), patientWith([&](DcmDataset& dataset) {
                       put(dataset, {{DCM_SpecificCharacterSet, "ISO_IR 100"},
                                     {DCM_PatientName, name},
                                     {DCM_SOPInstanceUID, instance}});
                   }));
    };
    write("Li_Bo", "Li^Bo", "1.2.826.0.1.99.5.1.1");
    write("M\xC3\xBCller", "M\xFCller^Jo", "1.2.826.0.1.99.5.1.2");
    write("old M\xFCller", "M\xFCller^Jo", "1.2.826.0.1.99.5.1.3");
    ASSERT_EQ(anonymize(in.path().string()).status, 0);
    int files = 0;
    for (const std::string& name : namesWritten()) {
        files += fs::is_regular_file(fs::path(out) / name) ? 1 : 0;
        EXPECT_FALSE(name.starts_with("Li") || name.find("_Bo") != std::string::npos) << name;
        EXPECT_THAT(name, Not(HasSubstr("ller")));
    }
    EXPECT_EQ(files, 3);
}

TEST_F(DeidentificationLeaks, AReportWithoutOriginalsHoldsNoValueOfTheInput) {
    fs::create_directories(in.path() / "Zyxwvut");
    writeDicom(in.file("Zyxwvut/one.dcm"), patientWith([](DcmDataset& dataset) {
                   put(dataset, {{DCM_SpecificCharacterSet, "ISO_IR 100"},
                                 {DCM_Manufacturer, kFuerstInLatin1},
                                 {DCM_StudyDescription, "M\xFC"
                                                        "de wegen Quirina"},
                                 {DCM_OperatorsName, "Gr\xFCn"}});
               }));
    const std::string report = folder.file("report.json");
    ASSERT_EQ(anonymize(in.path().string(), {"--report", report}).status, 0);
    const std::string said = inSmallLetters(readFile(report));
    EXPECT_TRUE(Json::accept(readFile(report)));
    std::vector<std::string> words = kWords;
    words.insert(words.end(), {"rst optik", "wegen",
                               "m\xC3\xBC"
                               "de",
                               "gr\xC3\xBCn", "gr\\u00fcn", inSmallLetters(in.path().string())});
    for (const std::string& word : words) {
        EXPECT_EQ(said.find(word), std::string::npos) << word;
    }
}

TEST_F(DeidentificationLeaks, ThePreambleIsEmptyAndTheMetaInformationIsOurs) {
    const Form form = kExplicitForm;
    std::string file =
        withMeta(std::string(kExplicit) + '\0',
                 form.element(0x00080016, "UI", std::string(UID_CTImageStorage) + '\0') +
                     form.element(0x00080018, "UI", kInstance) + form.element(0x00100010, "PN", "Zyxwvut^Quirina ") +
                     form.element(0x00100020, "LO", std::string(kId) + ' '),
                 form.element(0x00020012, "UI", "1.2.826.0.1.77.1") + form.element(0x00020013, "SH", "MAKER_77") +
                     form.element(0x00020016, "AE", "ZYXWVUT ") + form.element(0x00020017, "AE", "SENDER77") +
                     form.element(0x00020100, "UI", "1.2.826.0.1.77.2") + form.element(0x00020102, "OB", "Quirina "));
    std::string preamble = "II* Zyxwvut, Quirina";
    preamble.resize(128, 'Z');
    file.replace(0, preamble.size(), preamble);
    ASSERT_EQ(anonymize(in.write("file", file)).status, 0);
    const std::string written = readFile(out);
    EXPECT_EQ(written.substr(0, 132), std::string(128, '\0') + "DICM");
    expectNoWords({"maker_77", "sender77", "1.2.826.0.1.77"});
    ASSERT_TRUE(loaded.loadFile(out.c_str()).good());
    EXPECT_FALSE(loaded.getMetaInfo()->tagExists(DCM_SourceApplicationEntityTitle));
    EXPECT_FALSE(loaded.getMetaInfo()->tagExists(DCM_PrivateInformation));
}

TEST_F(DeidentificationLeaks, APatientInTwoCharacterSetsHasOnePseudonym) {
    const auto write = [&](const std::string& name, const std::string& set, const std::string& id) {
        writeDicom(in.file(name), [&](DcmDataset& dataset) {
            putPatient(dataset);
            put(dataset, {{DCM_SpecificCharacterSet, set},
                          {DCM_PatientID, id},
                          {DCM_SOPInstanceUID, std::string(kStudy) + ".1." + name}});
        });
    };
    write("1", "ISO_IR 100", "M\xFCller1");
    write("2", "ISO_IR 192", "M\xC3\xBCller1");
    write("3", "ISO_IR 192", "M\xC3\xBCller1   ");
    write("4", "ISO_IR 100", "  M\xFCller1");
    ASSERT_EQ(anonymize(in.path().string()).status, 0);
    std::set<std::string> pseudonyms;
    int count = 0;
    for (const std::string& name : namesWritten()) {
        ASSERT_TRUE(loaded.loadFile((fs::path(out) / name).c_str()).good());
        pseudonyms.insert(textOf(*loaded.getDataset(), DCM_PatientID));
        ++count;
    }
    EXPECT_EQ(count, 4);
    EXPECT_EQ(pseudonyms.size(), 1U) << testing::PrintToString(pseudonyms);
    expectNoWords({"ller1"});
}

TEST_F(DeidentificationLeaks, PrivateElementsWithoutACreatorAreRemoved) {
    DcmDataset& dataset = anonymized([](DcmDataset& original) {
        original.putAndInsertString(DcmTag(0x0009, 0x0001, DcmVR(EVR_LO)), "Zyxwvut");
        original.putAndInsertString(DcmTag(0x0029, 0x00FF, DcmVR(EVR_LO)), "Somebody");
        original.putAndInsertString(DcmTag(0x0029, 0xFF01, DcmVR(EVR_LO)), "Somebody");
        original.putAndInsertString(DcmTag(0x0018, 0xFF01, DcmVR(EVR_LT)), "Somebody came");
    });
    expectNoWords({"somebody"});
    for (const DcmTagKey& key : {DcmTagKey(0x0009, 0x0001), DcmTagKey(0x0029, 0x00FF), DcmTagKey(0x0018, 0xFF01)}) {
        EXPECT_FALSE(dataset.tagExists(key)) << key.toString();
    }
}

TEST_F(DeidentificationLeaks, AnOverlayInUnusedBitsOfThePixelsIsCleared) {
    const std::vector<Uint16> words{0x1123, 0x0456, 0x9789, 0x80AB}; // two planes, in bits 12 and 15
    DcmDataset& dataset = anonymized([&](DcmDataset& original) {
        for (const auto& [key, value] : std::map<DcmTagKey, Uint16>{{DCM_Rows, 2},
                                                                    {DCM_Columns, 2},
                                                                    {DCM_SamplesPerPixel, 1},
                                                                    {DCM_BitsAllocated, 16},
                                                                    {DCM_BitsStored, 12},
                                                                    {DCM_HighBit, 11},
                                                                    {DCM_PixelRepresentation, 0},
                                                                    {DCM_OverlayRows, 2},
                                                                    {DCM_OverlayColumns, 2},
                                                                    {DCM_OverlayBitsAllocated, 16},
                                                                    {DCM_OverlayBitPosition, 12}}) {
            original.putAndInsertUint16(key, value);
        }
        put(original, {{DCM_PhotometricInterpretation, "MONOCHROME2"}, {DCM_OverlayType, "G"}});
        for (const auto& [element, value] :
             std::map<Uint16, Uint16>{{0x0010, 2}, {0x0011, 2}, {0x0100, 16}, {0x0102, 15}}) {
            original.putAndInsertUint16(DcmTagKey(0x6002, element), value);
        }
        original.putAndInsertUint16Array(DcmTag(DCM_PixelData, EVR_OW), words.data(), words.size());
    });
    const Uint16* found = nullptr;
    unsigned long count = 0;
    ASSERT_TRUE(dataset.findAndGetUint16Array(DCM_PixelData, found, &count).good());
    EXPECT_THAT(std::vector<Uint16>(found, found + count), ElementsAre(0x0123, 0x0456, 0x0789, 0x00AB));
    for (const DcmTagKey& key : {DcmTagKey(0x6000, 0x0102), DcmTagKey(0x6002, 0x0102)}) {
        EXPECT_FALSE(dataset.tagExists(key)) << "a reader would look for the plane";
    }
}

TEST_F(DeidentificationLeaks, ASetValueBeyondTheCharacterSetMovesTheFileToUtf8) {
    const std::string yamada = "\xE5\xB1\xB1\xE7\x94\xB0";
    DcmDataset& dataset = anonymized(
        [](DcmDataset& original) {
            put(original, {{DCM_SpecificCharacterSet, "ISO_IR 100"}, {DCM_Manufacturer, kFuerstInLatin1}});
            DcmItem& item = addItem(original, DCM_RealWorldValueMappingSequence);
            put(item, {{DCM_LUTLabel, "Gr\xFC\xDF"
                                      "e"}});
            // An item may have letters of its own (PS3.3, section C.12.1.1.2).
            put(addItem(original, DCM_RealWorldValueMappingSequence),
                {{DCM_SpecificCharacterSet, "ISO_IR 144"}, {DCM_LUTLabel, "\xBF\xE0\xD8"}});
        },
        {"--set", "PatientName=" + yamada});
    EXPECT_EQ(textOf(dataset, DCM_SpecificCharacterSet), "ISO_IR 192");
    EXPECT_EQ(textOf(dataset, DCM_PatientName), yamada);
    EXPECT_EQ(textOf(dataset, DCM_Manufacturer), kFuerstInUtf8);
    std::vector<std::string> texts;
    collectTexts(dataset, texts);
    for (const std::string& text : texts) {
        EXPECT_TRUE(isUtf8(text)) << testing::PrintToString(text);
    }
    EXPECT_THAT(texts, testing::Contains("Gr\xC3\xBC\xC3\x9F"
                                         "e"));
    EXPECT_THAT(texts, testing::Contains("\xD0\x9F\xD1\x80\xD0\xB8"));
    EXPECT_THAT(texts, Not(testing::Contains("ISO_IR 144")));
}

TEST_F(DeidentificationLeaks, ASetValueBeyondTheDefaultLettersMovesTheFileToUtf8) {
    const std::string yamada = "\xE5\xB1\xB1\xE7\x94\xB0";
    DcmDataset& dataset = anonymized(
        [](DcmDataset& original) {
            put(original, {{DCM_Manufacturer, "Optik"}});
        },
        {"--set", "PatientID=" + yamada});
    EXPECT_EQ(textOf(dataset, DCM_SpecificCharacterSet), "ISO_IR 192");
    EXPECT_EQ(textOf(dataset, DCM_PatientID), yamada);
    EXPECT_EQ(textOf(dataset, DCM_Manufacturer), "Optik");
}

TEST_F(DeidentificationLeaks, TheBytesOfANameInAnySetAreRemovedAndVerifyFindsThem) {
    struct Spelling {
        const char* set;
        std::string name;
        std::string inBytes;
    };
    const std::string petrov = "\xBF\xD5\xE2\xE0\xDE\xD2";
    const std::vector<Spelling> spellings{
        {"ISO_IR 144", petrov, "desc " + petrov + ' '},
        {"\\ISO 2022 IR 87", "=\x1B$B;3ED\x1B(B^\x1B$BB@O:\x1B(B", "\x1B$B;3EDMM\x1B(B"},
        {"", "\x8E\x52\x93\x63^\x91\xBE\x98\x59", "CT\x8E\x52\x93\x63\x91\xBE\x98\x59\x97\x6C"},
        {"GB18030", "\xD5\xC5\xCE\xB0\xC3\xF7", "\xD5\xC5\xCE\xB0\xC3\xF7"},
    };
    for (const Spelling& spelling : spellings) {
        for (const bool isNamed : {true, false}) {
            const auto fill = [&](DcmDataset& dataset) {
                std::string profile(6000, '\x01'); // too long to be a text
                profile.replace(3000, spelling.inBytes.size(), spelling.inBytes);
                put(dataset, {{DCM_SpecificCharacterSet, spelling.set},
                              {DCM_PatientName, isNamed ? spelling.name : "Zyxwvut^Quirina"},
                              {DCM_BodyPartExamined, "HAND"}});
                dataset.putAndInsertUint8Array(DCM_ICCProfile, reinterpret_cast<const Uint8*>(profile.data()),
                                               static_cast<unsigned long>(profile.size()));
            };
            const std::string input = writeDicom(in.file("file"), patientWith(fill));
            EXPECT_EQ(anonymize(input, {"--strict", "--force"}).status, 0) << "removed: bytes with a name";
            EXPECT_EQ(runRadvex({"verify", input, out}).status, 0);
            ASSERT_TRUE(loaded.loadFile(out.c_str()).good());
            EXPECT_EQ(loaded.getDataset()->tagExists(DCM_ICCProfile), !isNamed) << spelling.set;
            // What another program left.
            ASSERT_TRUE(loaded.loadAllDataIntoMemory().good());
            fill(*loaded.getDataset());
            put(*loaded.getDataset(), {{DCM_PatientName, ""}});
            const std::string left = folder.file("left");
            ASSERT_TRUE(loaded.saveFile(left.c_str(), EXS_LittleEndianExplicit).good());
            const ProcessResult verified = runRadvex({"verify", input, left});
            EXPECT_EQ(verified.output.find("name of a patient in the bytes of the file") != std::string::npos, isNamed)
                << spelling.set;
        }
    }
}

TEST_F(DeidentificationLeaks, TheBytesOfANameInPixelsAreListed) {
    const std::string yamada = "\x8E\x52\x93\x63"; // Shift JIS under no set
    for (const std::string around : {" ", "\x01"}) {
        std::string pixels(6000, '\x01');
        pixels.replace(3001, 6, around + yamada + around);
        const std::string input = writeDicom(
            in.file("file"), patientWith([&](DcmDataset& dataset) {
                put(dataset, {{DCM_PatientName, yamada + "^\x91\xBE\x98\x59"}, {DCM_BodyPartExamined, "HAND"}});
                put(dataset, {{DCM_PhotometricInterpretation, "MONOCHROME2"}});
                for (const auto& [key, value] : std::map<DcmTagKey, Uint16>{{DCM_Rows, 60},
                                                                            {DCM_Columns, 50},
                                                                            {DCM_SamplesPerPixel, 1},
                                                                            {DCM_BitsAllocated, 16},
                                                                            {DCM_BitsStored, 16},
                                                                            {DCM_HighBit, 15},
                                                                            {DCM_PixelRepresentation, 0}}) {
                    dataset.putAndInsertUint16(key, value);
                }
                dataset.putAndInsertUint8Array(DcmTag(DCM_PixelData, EVR_OB),
                                               reinterpret_cast<const Uint8*>(pixels.data()), 6000);
            }));
        const bool isListed = around == " ";
        const ProcessResult run = anonymize(input, {"--force"});
        EXPECT_EQ(run.status, 0) << run.errors;
        EXPECT_EQ(run.output.find("bytes of the file: name of a patient") != std::string::npos, isListed) << run.output;
        EXPECT_EQ(runRadvex({"verify", input, out}).status, isListed ? 1 : 0);
        fs::remove(out);
        const ProcessResult strict = anonymize(input, {"--strict"});
        EXPECT_EQ(strict.status, isListed ? 1 : 0) << strict.errors;
        EXPECT_EQ(fs::exists(out), !isListed);
        fs::remove(out);
    }
}
