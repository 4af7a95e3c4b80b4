#include <iostream>

#include "cli/Commands.h"
#include "cli/MetadataTree.h"
#include "cli/arguments/Files.h"
#include "cli/arguments/MediumOptions.h"
#include "formats/json/MetadataJson.h"
#include "formats/json/Text.h"

namespace radvex::cli {

using velmora::Store;

namespace {

struct InfoOptions {
    FileArguments files{};
    FileJobs jobs{};
    SelectionOptions selection{};
    bool json = false;
};

struct Info {
    Store patient;
    Store study;
    Store series;
};

const std::vector<std::string> kPatientFields{"Name", "ID",     "BirthDate", "BirthTime",   "Sex",   "BirthName", "Age",
                                              "Size", "Weight", "Address",   "Orientation", "State", "BMI"};
const std::vector<std::string> kStudyFields{"ID", "UID", "Date", "Time", "Description", "Modalities"};
const std::vector<std::string> kSeriesFields{"UID", "Date", "Time", "Description", "Number", "Type"};

Info readInfo(velmora::Host& host, const std::string& file, const InfoOptions& options) {
    return {std::get<Store>(
                host.call("ReadPatientInfo", {file, Store::ofTexts(kPatientFields), options.selection.patient})),
            std::get<Store>(host.call("ReadStudyInfo", {file, Store::ofTexts(kStudyFields), options.selection.patient,
                                                        options.selection.study})),
            std::get<Store>(host.call("ReadSeriesInfo", {file, Store::ofTexts(kSeriesFields), options.selection.patient,
                                                         options.selection.study, options.selection.series}))};
}

void appendText(std::string& text, const Info& info) {
    const auto append = [&](const char* title, const Store& fields) {
        text += title;
        text += '\n';
        appendTree(text, fields.view(), {}, 1);
    };
    append("Patient", info.patient);
    append("Study", info.study);
    append("Series", info.series);
}

void appendJsonInfo(std::string& text, const Info& info) {
    text += R"({"patient":)";
    formats::appendJson(text, info.patient.view());
    text += R"(,"study":)";
    formats::appendJson(text, info.study.view());
    text += R"(,"series":)";
    formats::appendJson(text, info.series.view());
    text += '}';
}

void run(Session& session, const InfoOptions& options) {
    options.selection.check();
    const auto files = options.files.all();
    const bool several = files.size() > 1;
    const auto read = [&](const std::string& file) {
        const Info info = readInfo(session.host(), file, options);
        session.host().call("CloseReader", {file});
        std::string text;
        options.json ? appendJsonInfo(text, info) : appendText(text, info);
        return text;
    };
    std::string text;
    options.jobs.forEach(session, files, true, read, [&](const std::string& file, const std::string& info) {
        if (options.json) {
            text += text.empty() ? "" : ",\n";
            if (several) {
                formats::appendJsonText(text, file);
                text += ':';
            }
        } else {
            text += several ? "# " + formats::printable(file) + '\n' : "";
        }
        text += info;
    });
    std::cout << (options.json && several ? "{" + text + "}\n" : options.json && !text.empty() ? text + "\n" : text);
}

} // namespace

void addInfoCommand(const CommandLine& program, Session& session) {
    const auto [command, options] =
        addCommand<InfoOptions>(program, session, "info", "Print patient, study and series of files", run);
    options.files.addTo(command);
    options.selection.addTo(command);
    command.addFlag("--json", options.json, "Print JSON");
    options.jobs.addTo(command);
}

} // namespace radvex::cli
