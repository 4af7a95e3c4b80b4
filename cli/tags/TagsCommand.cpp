#include <unistd.h>

#include <algorithm>

#include "cli/Commands.h"
#include "cli/Terminal.h"
#include "cli/arguments/Files.h"
#include "cli/arguments/MediumOptions.h"
#include "cli/arguments/Words.h"
#include "cli/tags/TagPath.h"
#include "cli/tags/TagsPrinter.h"
#include "media/MediumTree.h"

namespace radvex::cli {

namespace {

struct TagsOptions {
    FileArguments files{};
    FileJobs jobs{};
    PartialOption partial{};
    bool recursive = false;
    std::string series = ".*";
    std::vector<std::string> tags{};
    std::vector<std::string> excluded{};
    bool validate = false;
    bool replacesBytes = false;
    bool json = false;
    bool dicomJson = false;
    bool byFile = false;
    bool lists = false;
    bool csv = false;
    bool table = false;
    bool numbers = false;
    bool whole = false;
};

TagsForm formOf(const TagsOptions& options) {
    const std::vector<std::pair<bool, TagsForm>> forms{{options.json, TagsForm::Json},
                                                       {options.dicomJson, TagsForm::DicomJson},
                                                       {options.csv, TagsForm::Csv},
                                                       {options.table, TagsForm::Table},
                                                       {options.numbers, TagsForm::Numbers}};
    if (std::ranges::count(forms, true, &std::pair<bool, TagsForm>::first) > 1) {
        throw UsageError("--json, --dicom-json, --csv, --table and --numbers are forms of the output: choose one.");
    }
    const auto chosen = std::ranges::find(forms, true, &std::pair<bool, TagsForm>::first);
    return chosen == forms.end() ? TagsForm::Text : chosen->second;
}

/// Finds wrong usage before the first file is read.
void check(const TagsOptions& options, TagsForm form) {
    checkPattern("--series", options.series);
    const bool isTable = form == TagsForm::Csv || form == TagsForm::Table;
    const bool isText = form == TagsForm::Text || form == TagsForm::Json;
    if (isTable && options.tags.empty()) {
        throw UsageError("--csv and --table need at least one --tag: each is a column.");
    }
    if (!isText && (options.validate || options.replacesBytes || !options.excluded.empty())) {
        throw UsageError("--validate, --replace-bytes and --exclude go with the plain output and with --json.");
    }
    if (options.byFile && form != TagsForm::Json && form != TagsForm::DicomJson) {
        throw UsageError("--by-file goes with --json and --dicom-json.");
    }
    if (options.lists && form != TagsForm::Json) {
        throw UsageError("--lists goes with --json.");
    }
    if (!options.recursive && options.series != ".*") {
        throw UsageError("--series chooses among the series of a medium and needs --recursive.");
    }
}

TagsRequest requestOf(Session& session, const TagsOptions& options, TagsForm form) {
    TagsRequest request{.form = form, .byFile = options.byFile, .lists = options.lists};
    for (const std::string& words : options.tags) {
        request.choice.paths.push_back(parseTagPath(session.host(), words));
    }
    for (const TagPath& path : request.choice.paths) {
        if (form == TagsForm::DicomJson && (path.steps.size() > 1 || path.last().group == 2)) {
            throw UsageError("'" + path.words +
                             "': the DICOM JSON Model is made of attributes of the dataset; those of items and of the "
                             "file meta information cannot stand there.");
        }
    }
    for (const std::string& words : options.excluded) {
        request.choice.excluded.push_back(excludedKey(session.host(), words));
    }
    request.choice.validate = options.validate;
    request.choice.replacesBytes = options.replacesBytes;
    request.text = {.look = Look::of(STDOUT_FILENO), .whole = options.whole};
    return request;
}

void printMedium(Session& session, const TagsOptions& options, const TagsRequest& request,
                 const std::string& mediumPath) {
    const auto medium = openListedMedium(session, mediumPath, options.jobs);
    std::vector<std::string> files;
    const auto patients = media::listMedium(session.host(), *medium, {.series = options.series}, media::Records::keys,
                                            options.jobs.count());
    media::forEachSeries(patients, [&](const auto&, const auto&, const media::MediumSeries& series) {
        files.insert(files.end(), series.files.begin(), series.files.end());
    });
    if (files.empty()) {
        session.reportRefusal("", mediumPath + " holds no series that matches.");
    }
    printTags(session, request, options.jobs, options.partial, files, true,
              [&](const std::string& file) { return describeFile(session.host(), request, file); });
}

void run(Session& session, const TagsOptions& options) {
    const TagsForm form = formOf(options);
    check(options, form);
    const TagsRequest request = requestOf(session, options, form);
    const auto files = options.files.all();
    if (!options.recursive) {
        FileOpener opener(options.partial);
        return printTags(session, request, options.jobs, options.partial, files, files.size() > 1,
                         [&](const std::string& file) {
                             return opener.open(file).read(
                                 [&](const std::string& path) { return describeFile(session.host(), request, path); });
                         });
    }
    if (files.size() > 1) {
        throw UsageError("--recursive takes one medium or folder at a time.");
    }
    printMedium(session, options, request, files.front());
}

void addChoices(const CommandLine& command, TagsOptions& options) {
    command.addRepeatable("--tag", options.tags,
                          "Only this attribute: a keyword in any case, gggg,eeee, CREATOR:gggg,ee for a private one, "
                          "or SEQUENCE[0].KEYWORD in an item, with [*] for all items",
                          Takes::Keyword);
    command.addRepeatable("--exclude", options.excluded, "Leave out this keyword", Takes::Keyword);
    command.addFlag("--validate", options.validate, "Leave out values that do not fit their value representation");
    command.addFlag(
        "--replace-bytes", options.replacesBytes,
        "Show U+FFFD for each byte of a text that is in no character set; such a text stays bytes otherwise");
    command.addFlag("--recursive", options.recursive, "Read every file of a medium; FILE is a DICOMDIR or a folder");
    command.addOption("--series", options.series, "With --recursive: only if the whole SeriesInstanceUID matches");
}

void addForms(const CommandLine& command, TagsOptions& options) {
    command.addFlag("--json", options.json, "Print JSON: one object, for several files by path");
    command.addFlag("--dicom-json", options.dicomJson,
                    "Print the DICOM JSON Model (PS3.18, annex F): one object, for several files a list of them");
    command.addFlag("--by-file", options.byFile, "With --json and --dicom-json: by path for a single file too");
    command.addFlag("--lists", options.lists, "With --json: a list for a text of several values");
    command.addFlag("--csv", options.csv, "Print comma-separated values: a row for each file, a column for each --tag");
    command.addFlag("--table", options.table, "Print the same as a table with aligned columns");
    command.addFlag("--numbers", options.numbers,
                    "Print tag number, value representation, value and length as DCMTK's dcmdump does");
    command.addFlag("--full", options.whole, "Print long values whole");
}

void addExamples(const CommandLine& command) {
    command.addExample("radvex tags ct.dcm", "all attributes, with their sequences");
    command.addExample("radvex tags --tag patientname --tag 0028,0010 ct.dcm", "two attributes");
    command.addExample("radvex tags --recursive SERIES --tag PatientID --tag InstanceNumber --table",
                       "a table with a row for each file of a folder");
    command.addExample("find SERIES -type f -print0 | radvex tags -0 --tag PatientID --csv",
                       "comma-separated values of the files that find names");
    command.addExample("radvex tags --tag PatientID --csv @files.txt", "the files that a list names, one a line");
    command.addExample("radvex tags --numbers --tag 0008,0018 --tag 0028,0010 ct.dcm", "as dcmdump prints them");
    command.addExample("radvex tags --dicom-json ct.dcm", "the DICOM JSON Model, as web services exchange it");
    command.addExample("radvex tags --json --by-file --lists ct.dcm",
                       "JSON for programs that read any number of files");
    command.addExample("radvex tags broken.dcm --partial", "The attributes in front of the place where a file is cut");
}

} // namespace

void addTagsCommand(const CommandLine& program, Session& session) {
    const auto [command, options] =
        addCommand<TagsOptions>(program, session, "tags", "Print the attributes of files with their sequences", run);
    options.files.addTo(command);
    addChoices(command, options);
    addForms(command, options);
    options.partial.addTo(command);
    command.exclude("--partial", "--recursive");
    options.jobs.addTo(command);
    addExamples(command);
}

} // namespace radvex::cli
