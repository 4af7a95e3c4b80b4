// Every example in the help of a command does what it says.

#include <regex>

#include "tests/cli/Commands.h"
#include "tests/support/PictureFiles.h"

using namespace radvex::test;

namespace {

namespace fs = std::filesystem;

struct Example {
    std::string command{};
    std::string line{};
};

std::vector<std::string> commandNames() {
    std::vector<std::string> names;
    std::istringstream lines(runRadvex({"help"}).output);
    bool areCommands = false;
    for (std::string line; std::getline(lines, line);) {
        areCommands = line == "Subcommands:" || (areCommands && !line.empty());
        if (areCommands && line.starts_with("  ") && line[2] != ' ') {
            names.push_back(line.substr(2, line.find(' ', 2) - 2));
        }
    }
    return names;
}

/// Lines below "Examples:" that are indented by two; what they do stands below, indented by six.
std::vector<Example> examplesOf(const std::string& command) {
    std::vector<Example> examples;
    std::istringstream lines(runRadvex({"help", command}).output);
    bool areExamples = false;
    for (std::string line; std::getline(lines, line);) {
        areExamples = areExamples || line == "Examples:";
        if (areExamples && line.starts_with("  ") && line[2] != ' ') {
            examples.push_back({command, line.substr(2)});
        }
    }
    return examples;
}

ImageFile ctSlice(int number, const Attributes& more = {}) {
    std::vector<Uint16> words(64 * 64);
    for (std::size_t index = 0; index < words.size(); ++index) {
        words[index] = static_cast<Uint16>(index % 2000);
    }
    ImageFile file{.rows = 64, .columns = 64, .slope = "1", .intercept = "-1024", .words = words};
    file.more = [=](DcmDataset& dataset) {
        put(dataset, {{DCM_PatientID, "P1"},
                      {DCM_PatientName, "Doe^Jane"},
                      {DCM_Modality, "CT"},
                      {DCM_StudyInstanceUID, "1.2.3"},
                      {DCM_SeriesInstanceUID, "1.2.3.1"},
                      {DCM_SeriesNumber, "1"},
                      {DCM_SOPInstanceUID, "1.2.3.1." + std::to_string(number)},
                      {DCM_InstanceNumber, std::to_string(number)},
                      {DCM_WindowCenter, "40"},
                      {DCM_WindowWidth, "400"},
                      {DCM_PixelSpacing, "1\\1"},
                      {DCM_ImageOrientationPatient, "1\\0\\0\\0\\1\\0"},
                      {DCM_ImagePositionPatient, "0\\0\\" + std::to_string(2 * number)}});
        put(dataset, more);
        putOverlay(dataset, 0x6000, {.columns = 64, .bits = 0b11});
    };
    return file;
}

/// The files that the examples name.
void writeFiles(const TemporaryFolder& folder) {
    const std::string ct = writeImageFile(folder.file("ct.dcm"), ctSlice(1));
    writeImageFile(folder.file("other.dcm"), ctSlice(2, {{DCM_PatientName, "Roe^Rick"}}));
    ImageFile cine{.rows = 4, .columns = 4, .bitsAllocated = 8, .bitsStored = 8, .frames = "12"};
    cine.words = std::vector<Uint16>(4 * 4 * 12 / 2, 0x0102);
    writeImageFile(folder.file("cine.dcm"), cine);
    const std::string whole = readFile(ct);
    folder.write("broken.dcm", whole.substr(0, whole.size() - 3000));
    for (const char* name : {"SERIES", "OLD", "STUDIES", "MEDIUM"}) {
        fs::create_directory(folder.file(name));
    }
    std::string list;
    for (int number = 1; number <= 5; ++number) {
        const std::string name = "SERIES/" + std::to_string(number) + ".dcm";
        writeImageFile(folder.file(name), ctSlice(number));
        writeImageFile(folder.file("OLD/" + std::to_string(number) + ".dcm"),
                       ctSlice(number, {{DCM_PatientName, "Roe^Rick"}}));
        list += name + '\n';
    }
    folder.write("files.txt", list);
    for (const char* patient : {"A", "B"}) {
        writeImageFile(folder.file("STUDIES/" + std::string(patient)),
                       ctSlice(1, {{DCM_PatientID, patient},
                                   {DCM_StudyInstanceUID, std::string("1.2.") + (*patient == 'A' ? "7" : "8")}}));
    }
    fs::copy(ct, folder.file("MEDIUM/I1"));
    EXPECT_EQ(runRadvex({"index", folder.file("SERIES"), "-o", folder.file("MEDIUM/new")}).status, 0);
    fs::rename(folder.file("MEDIUM/new"), folder.file("M2"));
    fs::remove_all(folder.file("MEDIUM"));
    fs::rename(folder.file("M2"), folder.file("MEDIUM"));
    folder.write("picture.png", pngFile({.columns = 64, .rows = 64, .data = std::string(64 * 64, '\x40')}));
    folder.write("mask.png", pngFile({.columns = 64, .rows = 64, .data = std::string(64 * 64, '\xFF')}));
    folder.write("key", "0123456789abcdef0123456789abcdef");
    folder.write("tags.json", R"({"PatientName": "Doe^Jane", "PatientID": "P1"})");
}

/// A page is shown until somebody ends it. No browser is found here.
bool isShown(const Example& example) {
    return example.command == "view" && example.line.find("--save") == std::string::npos &&
           example.line.find("--report") == std::string::npos;
}

bool isWrittenToAFile(const std::string& line) {
    return line.find("-o ") != std::string::npos || line.find("anonymize") != std::string::npos ||
           line.ends_with(" -q") || line.find("--save") != std::string::npos ||
           line.find("--report") != std::string::npos;
}

/// 3 where a file is read in part, 1 where something is found, or where this build has no page.
int expectedStatus(const Example& example) {
    const bool needsPage = example.command == "view" && example.line.find("--report") == std::string::npos;
    return example.line.find("--partial") != std::string::npos                            ? 3
           : example.command == "diff" || example.command == "verify"                     ? 1
           : needsPage && !fs::exists(fs::path(RADVEX_COMMAND).parent_path() / "../page") ? 1
                                                                                          : 0;
}

} // namespace

TEST(HelpExamples, EachDoesWhatItSays) {
    std::size_t count = 0;
    for (const std::string& command : commandNames()) {
        const auto examples = examplesOf(command);
        EXPECT_FALSE(examples.empty()) << command << " has no example";
        for (const Example& example : examples) {
            const TemporaryFolder folder;
            writeFiles(folder);
            const std::string line =
                std::regex_replace(example.line, std::regex("(^|\\| )radvex "), "$1" RADVEX_COMMAND " ");
            const std::string start =
                isShown(example) ? "PATH=/nowhere /usr/bin/timeout -s INT --preserve-status 2 " : "";
            const ProcessResult run =
                runProcess({"bash", "-o", "pipefail", "-c", "cd '" + folder.path().string() + "' && " + start + line});
            const int expected = expectedStatus(example);
            EXPECT_TRUE(run.status == expected || run.status == 0) << example.line << "\n" << run.status << run.errors;
            EXPECT_TRUE(isWrittenToAFile(example.line) || !(run.output + run.errors).empty()) << example.line;
            ++count;
        }
    }
    EXPECT_GE(count, 45U);
}
