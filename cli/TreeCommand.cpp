#include <iostream>

#include "Commands.h"
#include "LosslessJson.h"
#include "Medium.h"
#include "MediumTree.h"
#include "Output.h"

namespace radvex::cli {

namespace {

struct TreeOptions {
    std::string medium{};
    Selection selection{};
    FileJobs jobs{};
    bool files = false;
    bool json = false;
};

/// The texts that are not empty, two blanks between them.
std::string joined(std::initializer_list<std::string> texts) {
    std::string line;
    for (const std::string& text : texts) {
        if (!text.empty()) {
            line += (line.empty() ? "" : "  ") + printable(text);
        }
    }
    return line;
}

std::string counted(std::size_t count) { return std::to_string(count) + (count == 1 ? " file" : " files"); }

void printSeries(const MediumSeries& series, const Medium& medium, bool withFiles) {
    std::cout << "    Series "
              << joined({series.number, series.modality, counted(series.files.size()), series.description,
                         series.uid.empty() ? series.key : series.uid})
              << '\n';
    for (std::size_t index = 0; withFiles && index < series.files.size(); ++index) {
        std::cout << "      " << printable(medium.userPath(series.files[index])) << '\n';
    }
}

void printTree(const std::vector<MediumPatient>& patients, const Medium& medium, bool withFiles) {
    for (const MediumPatient& patient : patients) {
        std::cout << "Patient " << joined({patient.id, patient.name}) << '\n';
        for (const MediumStudy& study : patient.studies) {
            std::cout << "  Study "
                      << joined({study.date, study.description, study.uid.empty() ? study.key : study.uid}) << '\n';
            for (const MediumSeries& series : study.series) {
                printSeries(series, medium, withFiles);
            }
        }
    }
}

Json describe(const MediumSeries& series, const Medium& medium, bool withFiles) {
    Json json{
        {"key", series.key},           {"SeriesInstanceUID", series.uid},         {"SeriesNumber", series.number},
        {"Modality", series.modality}, {"SeriesDescription", series.description}, {"fileCount", series.files.size()}};
    if (withFiles) {
        json["files"] = Json::array();
        for (const std::string& file : series.files) {
            json["files"].push_back(medium.userPath(file));
        }
    }
    return json;
}

Json describe(const MediumStudy& study, const Medium& medium, bool withFiles) {
    Json json{{"key", study.key},
              {"StudyInstanceUID", study.uid},
              {"StudyDate", study.date},
              {"StudyDescription", study.description},
              {"series", Json::array()}};
    for (const MediumSeries& series : study.series) {
        json["series"].push_back(describe(series, medium, withFiles));
    }
    return json;
}

Json describe(const std::vector<MediumPatient>& patients, const Medium& medium, bool withFiles) {
    Json json = Json::array();
    for (const MediumPatient& patient : patients) {
        json.push_back({{"key", patient.key},
                        {"PatientID", patient.id},
                        {"PatientName", patient.name},
                        {"studies", Json::array()}});
        for (const MediumStudy& study : patient.studies) {
            json.back()["studies"].push_back(describe(study, medium, withFiles));
        }
    }
    return json;
}

void run(Session& session, const TreeOptions& options) {
    options.selection.check();
    const Medium medium(options.medium, options.jobs);
    medium.report();
    const auto patients = readMediumTree(session.host(), medium.dicomdir(), options.selection);
    if (options.json) {
        std::cout << dumpJson(describe(patients, medium, options.files)) << '\n';
    } else {
        printTree(patients, medium, options.files);
    }
}

} // namespace

void addTreeCommand(const CommandLine& program, Session& session) {
    auto options = std::make_shared<TreeOptions>();
    const CommandLine command =
        program.addCommand("tree", "Print patients, studies and series of a medium or a folder");
    command.addRequired("MEDIUM", options->medium, "DICOMDIR, or a folder of DICOM files");
    options->selection.addTo(command);
    options->jobs.addTo(command);
    command.addFlag("--files", options->files, "The files of each series too");
    command.addFlag("--json", options->json, "Print JSON: a list of patients");
    command.setAction([&session, options] { run(session, *options); });
}

} // namespace radvex::cli
