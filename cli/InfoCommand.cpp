#include <iostream>
#include <regex>

#include "Commands.h"
#include "FileArguments.h"
#include "MetadataText.h"
#include "Output.h"

namespace radvex::cli {

using velmora::Store;

namespace {

struct InfoOptions {
    FileArguments files{};
    std::string patient = ".*";
    std::string study = ".*";
    std::string series = ".*";
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

/// @throws UsageError  when a pattern is none
void checkPattern(const char* option, const std::string& pattern) {
    constexpr std::size_t kLongest = 1024; // the library's limit too; longer ones cost the matcher's stack
    try {
        if (pattern.size() > kLongest) {
            throw std::regex_error(std::regex_constants::error_space);
        }
        (void)std::regex(pattern, std::regex::ECMAScript);
    } catch (const std::regex_error& error) {
        throw UsageError(std::string(option) + " '" + shortened(pattern) +
                         "' is no regular expression that can be used: " + error.what());
    }
}

Info readInfo(velmora::Host& host, const std::string& file, const InfoOptions& options) {
    return {std::get<Store>(host.call("ReadPatientInfo", {file, Store::ofTexts(kPatientFields), options.patient})),
            std::get<Store>(
                host.call("ReadStudyInfo", {file, Store::ofTexts(kStudyFields), options.patient, options.study})),
            std::get<Store>(host.call("ReadSeriesInfo", {file, Store::ofTexts(kSeriesFields), options.patient,
                                                         options.study, options.series}))};
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
    appendJson(text, info.patient.view());
    text += R"(,"study":)";
    appendJson(text, info.study.view());
    text += R"(,"series":)";
    appendJson(text, info.series.view());
    text += '}';
}

void run(Session& session, const InfoOptions& options) {
    checkPattern("--patient", options.patient);
    checkPattern("--study", options.study);
    checkPattern("--series", options.series);
    const auto files = options.files.all();
    const bool several = files.size() > 1;
    std::string text;
    for (const std::string& file : files) {
        session.attempt(file, [&] {
            const Info info = readInfo(session.host(), file, options);
            session.host().call("CloseReader", {file});
            if (options.json) {
                text += text.empty() ? "" : ",\n";
                if (several) {
                    appendJsonText(text, file);
                    text += ':';
                }
                appendJsonInfo(text, info);
            } else {
                text += several ? "# " + printable(file) + '\n' : "";
                appendText(text, info);
            }
        });
    }
    std::cout << (options.json && several ? "{" + text + "}\n" : options.json && !text.empty() ? text + "\n" : text);
}

} // namespace

void addInfoCommand(CLI::App& app, Session& session) {
    auto options = std::make_shared<InfoOptions>();
    CLI::App* command = app.add_subcommand("info", "Print patient, study and series of files");
    options->files.addTo(command);
    command->add_option("--patient", options->patient, "Only if the whole PatientID matches this regular expression");
    command->add_option("--study", options->study, "Only if the whole StudyInstanceUID matches");
    command->add_option("--series", options->series, "Only if the whole SeriesInstanceUID matches");
    command->add_flag("--json", options->json, "Print JSON");
    command->callback([&session, options] { run(session, *options); });
}

} // namespace radvex::cli
