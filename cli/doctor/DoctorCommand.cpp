#include <dlfcn.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <filesystem>
#include <fstream>
#include <iostream>

#include "cli/Commands.h"
#include "cli/ProgressBar.h"
#include "cli/Terminal.h"
#include "cli/doctor/CodecChecks.h"
#include "cli/doctor/LibraryVersions.h"
#include "cli/doctor/Machine.h"
#include "cli/doctor/ProgramOutput.h"
#include "files/Errors.h"
#include "files/StagingFolder.h"
#include "formats/json/LosslessJson.h"
#include "formats/json/Text.h"
#include "media/DatasetsModule.h"
#include "media/ElementList.h"

namespace radvex::cli {

namespace {

namespace fs = std::filesystem;

struct DoctorOptions {
    bool json = false;
};

/// Something that works, something that is not there and need not be, or something that has failed.
enum class Health { Well, Absent, Failed };

constexpr std::array<const char*, 3> kHealthNames{"ok", "absent", "failed"};

const char* nameOf(Health health) { return kHealthNames[static_cast<std::size_t>(health)]; }

struct Finding {
    std::string subject{};
    Health health = Health::Well;
    std::string detail{}; ///< what was found, or a sentence that says what is wrong
    std::string advice{}; ///< a sentence: what to do
};

/// The program's own folder.
fs::path ownFolder() {
    std::error_code error;
    return fs::read_symlink("/proc/self/exe", error).parent_path();
}

Finding lookAtLibrary(Session& session) {
    Finding finding{.subject = "library"};
    try {
        (void)session.host();
        finding.detail = session.library();
    } catch (const std::exception& error) {
        finding.health = Health::Failed;
        finding.detail = error.what();
        finding.advice = "Install the command with all of its files, or name the library with --library FILE.";
    }
    return finding;
}

/// The module of datasets, which brings DCMTK's dictionary.
Finding lookAtDatasets() {
    Finding finding{.subject = "datasets library"};
    try {
        const std::size_t count = media::knownAttributes().size();
        void* const entry = media::datasetsEntry(media::kListAttributesEntry, "The dictionary cannot be read");
        Dl_info found{};
        const bool isKnown = dladdr(entry, &found) != 0 && found.dli_fname != nullptr;
        std::error_code error;
        finding.detail = (isKnown ? fs::canonical(found.dli_fname, error).string() : "") + ", " +
                         std::to_string(count) + " attributes";
    } catch (const std::exception& error) {
        finding.health = Health::Failed;
        finding.detail = error.what();
        finding.advice = "radvexDatasets.so belongs beside Radvex.so: install the command with all of its files.";
    }
    return finding;
}

/// The folder that the server of the page says it has; it is a program of its own, with libraries of its own.
Finding lookAtPage() {
    Finding finding{.subject = "page"};
    const std::string program = (ownFolder() / "radvex-view").string();
    finding.detail = outputOfProgram({program, "page"});
    finding.detail.erase(finding.detail.find_last_not_of('\n') + 1);
    if (finding.detail.empty()) {
        finding.health = Health::Absent;
        std::error_code error;
        finding.detail = fs::exists(program, error) ? "radvex view shows no page; its other uses work"
                                                    : program + " is not there, which radvex view needs";
        finding.advice = "Build with npm installed, and install the command with all of its files.";
    }
    return finding;
}

Finding lookAtDcmtk(const std::vector<LibraryVersion>& versions) {
    const std::size_t patchCount = dcmtkPatches().size();
    Finding finding{.subject = "DCMTK"};
    for (const LibraryVersion& library : versions) {
        finding.detail += library.name == "DCMTK" ? library.version : "";
    }
    finding.detail += " with " + formats::counted(patchCount, "patch", "patches");
    if (patchCount == 0) {
        finding.health = Health::Failed;
        finding.advice = "Some broken files crash this DCMTK. Build without RADVEX_UNPATCHED_DCMTK.";
    }
    return finding;
}

Finding lookAtCores(const Machine& machine) {
    return {"cores", Health::Well,
            std::to_string(machine.cores) + ", as many processes read several files unless --jobs says otherwise", ""};
}

Finding lookAtMemory(const Machine& machine) {
    return {"memory", machine.memoryBytes == 0 ? Health::Absent : Health::Well,
            sizeText(machine.memoryBytes) + ", " + sizeText(machine.freeMemoryBytes) + " free", ""};
}

Finding lookAtTerminal() {
    const Look look = Look::of(STDOUT_FILENO);
    Finding finding{.subject = "terminal"};
    finding.detail = look.width > 0 ? std::to_string(look.width) + " columns" : "the output goes elsewhere";
    finding.detail += look.isColoured ? ", with colours" : ", without colours";
    return finding;
}

/// Whether as much as the codecs need can be written there.
bool hasRoom(const fs::path& folder) {
    constexpr std::size_t kNeeded = 256UL * 1024;
    const fs::path path = folder / "room";
    std::ofstream file(path, std::ios::binary);
    file << std::string(kNeeded, '.');
    file.close();
    std::error_code error;
    fs::remove(path, error);
    return file.good();
}

/// Tries the folder for temporary files, and in it the codecs when there is a library.
void lookAtWork(Session& session, const Machine& machine, bool hasLibrary, std::vector<Finding>& findings) {
    Finding folder{"temporary folder", Health::Well,
                   machine.temporaryFolder + ", " + sizeText(machine.freeTemporaryBytes) + " free", ""};
    try {
        const files::StagingFolder staging;
        if (!hasRoom(staging.path())) {
            folder.health = Health::Failed;
            folder.advice = "There is no room for small files: make some, or name another folder in TMPDIR.";
        }
        findings.push_back(folder);
        if (!hasLibrary || folder.health == Health::Failed) {
            return;
        }
        for (const CodecCheck& check : checkCodecs(session.host(), staging.path(), ProgressBar::forEachWork())) {
            const bool isWell = check.problem.empty();
            findings.push_back({check.name, isWell ? Health::Well : Health::Failed,
                                isWell ? check.meaning : check.problem,
                                isWell ? ""
                                       : "Files in this compression cannot be trusted: install the command again "
                                         "with the libraries that it was built with."});
        }
    } catch (const Error& error) {
        folder.health = Health::Failed;
        folder.detail = error.what(); // which says what to do
        findings.push_back(folder);
    }
}

void printText(const std::vector<Finding>& findings, const std::vector<LibraryVersion>& versions) {
    const bool isColoured = Look::of(STDOUT_FILENO).isColoured;
    constexpr std::size_t kSubject = 29;
    for (const Finding& finding : findings) {
        const Tone tone = finding.health == Health::Well ? Tone::Quiet : Tone::Strong;
        std::cout << padded(finding.subject, kSubject) << toned(padded(nameOf(finding.health), 8), tone, isColoured)
                  << formats::printable(finding.detail) << '\n';
    }
    std::cout << '\n';
    for (const LibraryVersion& library : versions) {
        std::cout << padded(library.name, kSubject) << padded(library.version, 8)
                  << formats::printable(library.file.empty() ? "compiled in" : library.file) << '\n';
    }
}

formats::Json describe(const std::vector<Finding>& findings, const std::vector<LibraryVersion>& versions,
                       const Machine& machine) {
    formats::Json json{{"version", RADVEX_VERSION},
                       {"findings", formats::Json::array()},
                       {"libraries", formats::Json::array()},
                       {"dcmtkPatches", dcmtkPatches()},
                       {"cores", machine.cores},
                       {"memoryBytes", machine.memoryBytes},
                       {"freeMemoryBytes", machine.freeMemoryBytes},
                       {"temporaryFolder", machine.temporaryFolder},
                       {"freeTemporaryBytes", machine.freeTemporaryBytes}};
    for (const Finding& finding : findings) {
        json["findings"].push_back(
            {{"subject", finding.subject},
             {"health", nameOf(finding.health)},
             {"detail", finding.detail},
             {"advice", finding.advice.empty() ? formats::Json() : formats::Json(finding.advice)}});
    }
    for (const LibraryVersion& library : versions) {
        json["libraries"].push_back({{"name", library.name},
                                     {"version", library.version},
                                     {"file", library.file.empty() ? formats::Json() : formats::Json(library.file)}});
    }
    return json;
}

void run(Session& session, const DoctorOptions& options) {
    const Machine machine = lookAtMachine();
    std::vector<Finding> findings{
        {"radvex", Health::Well, std::string(RADVEX_VERSION) + ", " + (ownFolder() / "radvex").string(), ""}};
    findings.push_back(lookAtLibrary(session));
    const bool hasLibrary = findings.back().health == Health::Well;
    findings.push_back(lookAtDatasets());
    const std::vector<LibraryVersion> versions = libraryVersions(); // now all are loaded
    for (Finding& finding : std::array{lookAtDcmtk(versions), lookAtPage(), lookAtCores(machine), lookAtMemory(machine),
                                       lookAtTerminal()}) {
        findings.push_back(std::move(finding));
    }
    lookAtWork(session, machine, hasLibrary, findings);
    if (options.json) {
        std::cout << formats::dumpJson(describe(findings, versions, machine)) << '\n';
    } else if (!Messages::ofThisRun().isQuiet) {
        printText(findings, versions);
    }
    for (Finding& finding : findings) {
        if (finding.health == Health::Failed) {
            finding.detail += finding.detail.ends_with('.') ? "" : "."; // those of the system have none
            session.reportRefusal(finding.subject,
                                  finding.detail + (finding.advice.empty() ? "" : " ") + finding.advice);
        }
    }
}

} // namespace

void addDoctorCommand(const CommandLine& program, Session& session) {
    const auto [command, options] = addCommand<DoctorOptions>(
        program, session, "doctor", "Look whether this installation works: libraries, codecs, machine", run);
    command.addFlag("--json", options.json, "Print one JSON object");
    command.setFooter(
        "A small picture is written in each compression, read again and compared, in a temporary folder of "
        "which nothing is left. The exit status is 0 when all is well, and 1 when something has failed, "
        "with a sentence that says what to do. What is absent, such as the page of radvex view, is only "
        "listed.");
    command.addExample("radvex doctor", "What was found, and whether each codec works");
    command.addExample("radvex doctor --json", "The same for a report to those who maintain the machine");
}

} // namespace radvex::cli
