#include <iostream>

#include "cli/Commands.h"
#include "cli/arguments/MediumOptions.h"
#include "formats/json/LosslessJson.h"
#include "formats/json/Text.h"
#include "media/Medium.h"
#include "media/MediumTree.h"

namespace radvex::cli {

namespace {

struct TreeOptions {
    std::string medium{};
    SelectionOptions selection{};
    FileJobs jobs{};
    bool files = false;
    bool json = false;
};

/// The texts that are not empty, with two blanks between them.
std::string joined(std::initializer_list<std::string> texts) {
    std::string line;
    for (const std::string& text : texts) {
        if (!text.empty()) {
            line += (line.empty() ? "" : "  ") + formats::printable(text);
        }
    }
    return line;
}

void printSeries(const media::MediumSeries& series, const media::Medium& medium, bool withFiles) {
    std::cout << "    Series "
              << joined({series.number, series.modality, formats::counted(series.files.size(), "file", "files"),
                         series.description, series.uid.empty() ? series.key : series.uid})
              << '\n';
    for (std::size_t index = 0; withFiles && index < series.files.size(); ++index) {
        std::cout << "      " << formats::printable(medium.userPath(series.files[index])) << '\n';
    }
}

void printTree(const std::vector<media::MediumPatient>& patients, const media::Medium& medium, bool withFiles) {
    for (const media::MediumPatient& patient : patients) {
        std::cout << "Patient " << joined({patient.id, patient.name}) << '\n';
        for (const media::MediumStudy& study : patient.studies) {
            std::cout << "  Study "
                      << joined({study.date, study.description, study.uid.empty() ? study.key : study.uid}) << '\n';
            for (const media::MediumSeries& series : study.series) {
                printSeries(series, medium, withFiles);
            }
        }
    }
}

formats::Json describe(const media::MediumSeries& series, const media::Medium& medium, bool withFiles) {
    formats::Json json{
        {"key", series.key},           {"SeriesInstanceUID", series.uid},         {"SeriesNumber", series.number},
        {"Modality", series.modality}, {"SeriesDescription", series.description}, {"fileCount", series.files.size()}};
    if (withFiles) {
        json["files"] = formats::Json::array();
        for (const std::string& file : series.files) {
            json["files"].push_back(medium.userPath(file));
        }
    }
    return json;
}

formats::Json describe(const media::MediumStudy& study, const media::Medium& medium, bool withFiles) {
    formats::Json json{{"key", study.key},
                       {"StudyInstanceUID", study.uid},
                       {"StudyDate", study.date},
                       {"StudyDescription", study.description},
                       {"series", formats::Json::array()}};
    for (const media::MediumSeries& series : study.series) {
        json["series"].push_back(describe(series, medium, withFiles));
    }
    return json;
}

formats::Json describe(const std::vector<media::MediumPatient>& patients, const media::Medium& medium, bool withFiles) {
    formats::Json json = formats::Json::array();
    for (const media::MediumPatient& patient : patients) {
        json.push_back({{"key", patient.key},
                        {"PatientID", patient.id},
                        {"PatientName", patient.name},
                        {"studies", formats::Json::array()}});
        for (const media::MediumStudy& study : patient.studies) {
            json.back()["studies"].push_back(describe(study, medium, withFiles));
        }
    }
    return json;
}

void run(Session& session, const TreeOptions& options) {
    options.selection.check();
    const auto opened = openListedMedium(session, options.medium, options.jobs);
    const media::Medium& medium = *opened;
    const auto patients =
        media::listMedium(session.host(), medium, options.selection, media::Records::all, options.jobs.count());
    if (options.json) {
        std::cout << formats::dumpJson(describe(patients, medium, options.files)) << '\n';
    } else {
        printTree(patients, medium, options.files);
    }
}

} // namespace

void addTreeCommand(const CommandLine& program, Session& session) {
    const auto [command, options] = addCommand<TreeOptions>(
        program, session, "tree", "Print patients, studies and series of a medium or a folder", run);
    command.addRequired("MEDIUM", options.medium, "DICOMDIR, or a folder of DICOM files");
    options.selection.addTo(command);
    options.jobs.addTo(command);
    command.addFlag("--files", options.files, "List the files of each series too");
    command.addFlag("--json", options.json, "Print JSON: a list of patients");
}

} // namespace radvex::cli
