#include <unistd.h>

#include <iostream>

#include "cli/Commands.h"
#include "cli/Terminal.h"
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

/// What identifies and is not there is shown as a dash, so that nobody takes the next text for it.
std::string orDash(const std::string& text) { return text.empty() ? "-" : text; }

formats::Json orNull(const std::string& text) { return text.empty() ? formats::Json() : formats::Json(text); }

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

void printSeries(const media::MediumSeries& series, bool withFiles, bool isColoured) {
    std::cout << "    " << toned("Series", Tone::Quiet, isColoured) << ' '
              << joined({orDash(series.number), orDash(series.modality),
                         formats::counted(series.files.size(), "file", "files"), series.description,
                         series.uid.empty() ? series.key : series.uid})
              << '\n';
    for (std::size_t index = 0; withFiles && index < series.files.size(); ++index) {
        std::cout << "      " << formats::printable(series.files[index]) << '\n';
    }
}

void printTree(const std::vector<media::MediumPatient>& patients, bool withFiles) {
    const Look look = Look::of(STDOUT_FILENO);
    for (const media::MediumPatient& patient : patients) {
        std::cout << toned("Patient", Tone::Strong, look.isColoured) << ' '
                  << joined({orDash(patient.id), orDash(patient.name)}) << '\n';
        for (const media::MediumStudy& study : patient.studies) {
            std::cout << "  " << toned("Study", Tone::Name, look.isColoured) << ' '
                      << joined({orDash(study.date), study.description, study.uid.empty() ? study.key : study.uid})
                      << '\n';
            for (const media::MediumSeries& series : study.series) {
                printSeries(series, withFiles, look.isColoured);
            }
        }
    }
}

formats::Json describe(const media::MediumSeries& series, bool withFiles) {
    formats::Json json{{"key", series.key},
                       {"SeriesInstanceUID", orNull(series.uid)},
                       {"SeriesNumber", orNull(series.number)},
                       {"Modality", orNull(series.modality)},
                       {"SeriesDescription", orNull(series.description)},
                       {"fileCount", series.files.size()}};
    if (withFiles) {
        json["files"] = formats::Json::array();
        for (const std::string& file : series.files) {
            json["files"].push_back(file);
        }
    }
    return json;
}

formats::Json describe(const media::MediumStudy& study, bool withFiles) {
    formats::Json json{{"key", study.key},
                       {"StudyInstanceUID", orNull(study.uid)},
                       {"StudyDate", orNull(study.date)},
                       {"StudyDescription", orNull(study.description)},
                       {"series", formats::Json::array()}};
    for (const media::MediumSeries& series : study.series) {
        json["series"].push_back(describe(series, withFiles));
    }
    return json;
}

formats::Json describe(const std::vector<media::MediumPatient>& patients, bool withFiles) {
    formats::Json json = formats::Json::array();
    for (const media::MediumPatient& patient : patients) {
        json.push_back({{"key", patient.key},
                        {"PatientID", orNull(patient.id)},
                        {"PatientName", orNull(patient.name)},
                        {"studies", formats::Json::array()}});
        for (const media::MediumStudy& study : patient.studies) {
            json.back()["studies"].push_back(describe(study, withFiles));
        }
    }
    return json;
}

void run(Session& session, const TreeOptions& options) {
    options.selection.check();
    const auto medium = openListedMedium(session, options.medium, options.jobs);
    const auto patients =
        media::listMedium(session.host(), *medium, options.selection, media::Records::all, options.jobs.count());
    if (patients.empty()) {
        session.reportRefusal("", options.medium + " holds no series that matches.");
    }
    if (options.json) {
        std::cout << formats::dumpJson(describe(patients, options.files)) << '\n';
    } else {
        printTree(patients, options.files);
    }
}

} // namespace

void addTreeCommand(const CommandLine& program, Session& session) {
    const auto [command, options] = addCommand<TreeOptions>(
        program, session, "tree", "Print patients, studies and series of a medium or a folder", run);
    command.addRequired("MEDIUM", options.medium, "DICOMDIR, or a folder of DICOM files", Takes::Path);
    options.selection.addTo(command);
    options.jobs.addTo(command);
    command.addFlag("--files", options.files, "List the files of each series too");
    command.addFlag("--json", options.json, "Print JSON: a list of patients");
    command.addExample("radvex tree STUDIES", "Patients, studies and series of a folder");
    command.addExample("radvex tree MEDIUM/DICOMDIR --files", "Those of a medium, with the files");
    command.addExample("radvex tree STUDIES --patient A --json", "One patient, for programs");
}

} // namespace radvex::cli
