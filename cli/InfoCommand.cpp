#include <iostream>

#include "cli/Commands.h"
#include "cli/MetadataTree.h"
#include "cli/arguments/Files.h"
#include "cli/arguments/MediumOptions.h"
#include "cli/arguments/PartialOption.h"
#include "formats/json/MetadataJson.h"
#include "formats/json/Text.h"

namespace radvex::cli {

using velmora::Store;

namespace {

struct InfoOptions {
    FileArguments files{};
    FileJobs jobs{};
    SelectionOptions selection{};
    PartialOption partial{};
    bool json = false;
};

struct Section {
    const char* title;
    std::string key;
    velmora::Value fields; ///< a store
};

const std::vector<std::string> kPatientFields{"Name", "ID",     "BirthDate", "BirthTime",   "Sex",   "BirthName", "Age",
                                              "Size", "Weight", "Address",   "Orientation", "State", "BMI"};
const std::vector<std::string> kStudyFields{"ID", "UID", "Date", "Time", "Description", "Modalities"};
const std::vector<std::string> kSeriesFields{"UID", "Date", "Time", "Description", "Number", "Type"};

std::vector<Section> readInfo(velmora::Host& host, const std::string& file, const media::Selection& selection) {
    std::vector<Section> sections;
    sections.push_back({"Patient", "patient",
                        host.call("ReadPatientInfo", {file, Store::ofTexts(kPatientFields), selection.patient})});
    sections.push_back(
        {"Study", "study",
         host.call("ReadStudyInfo", {file, Store::ofTexts(kStudyFields), selection.patient, selection.study})});
    sections.push_back({"Series", "series",
                        host.call("ReadSeriesInfo", {file, Store::ofTexts(kSeriesFields), selection.patient,
                                                     selection.study, selection.series})});
    return sections;
}

std::string describe(const std::vector<Section>& sections, bool asJson) {
    std::string text;
    for (const Section& section : sections) {
        const velmora::StoreView fields = section.fields.get<Store>().view();
        if (asJson) {
            text.append(text.empty() ? "{\"" : ",\"").append(section.key).append("\":");
            formats::appendJson(text, fields);
        } else {
            text.append(section.title).append("\n");
            appendTree(text, fields, {}, 1);
        }
    }
    return asJson ? text + '}' : text;
}

void run(Session& session, const InfoOptions& options) {
    options.selection.check();
    const auto files = options.files.all();
    const bool several = files.size() > 1;
    FileOpener opener(options.partial);
    const auto read = [&](const std::string& file) {
        return opener.open(file).read([&](const std::string& path) {
            const auto sections = readInfo(session.host(), path, options.selection);
            session.host().call("CloseReader", {path});
            return describe(sections, options.json);
        });
    };
    std::string text;
    options.jobs.forEach(session, files, true, read, [&](const std::string& file, const std::string& info) {
        PartialOption::tell(session, options.partial.noticeOf(file));
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
    command.addFlag("--json", options.json,
                    "Print JSON: of one file, an object; of several, an object by path of those "
                    "that can be read");
    options.partial.addTo(command);
    command.addExample("radvex info broken.dcm --partial", "Whose a cut file is");
    options.jobs.addTo(command);
    command.addExample("radvex info @files.txt", "the files that a list names, one a line");
}

} // namespace radvex::cli
