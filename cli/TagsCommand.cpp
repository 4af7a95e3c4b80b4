#include <functional>
#include <iostream>
#include <unordered_map>

#include "cli/Commands.h"
#include "cli/MetadataTree.h"
#include "cli/arguments/Files.h"
#include "cli/arguments/MediumOptions.h"
#include "cli/arguments/PartialOption.h"
#include "cli/arguments/Words.h"
#include "files/OutputFile.h"
#include "formats/json/Dictionary.h"
#include "formats/json/MetadataJson.h"
#include "formats/json/Text.h"
#include "media/MediumTree.h"

namespace radvex::cli {

using velmora::Store;
using velmora::Value;

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
    bool json = false;
};

/// Reads the tags from index `tag` on that have the same form, keywords or numbers. Moves `tag` behind them.
Value readRun(velmora::Host& host, const std::string& file, const TagsOptions& options, std::size_t& tag) {
    std::vector<Value> numbers;
    std::vector<std::string> keywords;
    for (; tag < options.tags.size(); ++tag) {
        const auto number = parseTagNumber(options.tags[tag]);
        if (number ? !keywords.empty() : !numbers.empty()) {
            break;
        }
        if (number) {
            numbers.emplace_back(Store::ofTexts({number->first, number->second}));
        } else {
            keywords.push_back(options.tags[tag]);
        }
    }
    return numbers.empty() ? host.call("ReadMetadata", {file, Store::ofTexts(keywords), options.validate})
                           : host.call("ReadMetadataIntTags", {file, Store::of(std::move(numbers))});
}

/// Reads the chosen tags in the order in which they were given.
Store readChosen(velmora::Host& host, const std::string& file, const TagsOptions& options) {
    Store all = Store::empty();
    for (std::size_t tag = 0; tag < options.tags.size();) {
        const Value found = readRun(host, file, options, tag);
        for (const velmora::NodeView node : found.get<Store>()) {
            all.add(std::string(node.name()), node.value());
        }
    }
    return all;
}

/// Reads the attributes of one file that the options ask for.
Store readTags(velmora::Host& host, const std::string& file, const TagsOptions& options) {
    Store tags =
        !options.tags.empty()
            ? readChosen(host, file, options)
            : std::get<Store>(host.call("ReadAllMetadata", {file, Store::ofTexts(options.excluded), options.validate}));
    host.call("CloseReader", {file});
    return tags;
}

/// Value representations from the dictionary, each asked for once. A private keyword has none, because its meaning
/// depends on the private creator in the file.
class VrNames {
  public:
    explicit VrNames(velmora::Host& host) : mDictionary(host) {}

    const std::string& operator()(const std::string& key) {
        const auto known = mVrs.find(key);
        if (known != mVrs.end()) {
            return known->second;
        }
        const std::string& vr = mDictionary.vrOf(key);
        const bool isUnknown = vr == "UN" || mDictionary.tagOf(key).group % 2 != 0;
        return mVrs.emplace(key, isUnknown ? "" : vr).first->second;
    }

  private:
    formats::Dictionary mDictionary;
    std::unordered_map<std::string, std::string> mVrs{};
};

/// Prints one file after the other: as text with a headline for each file, or as one JSON object.
class TagsPrinter {
  public:
    TagsPrinter(bool json, bool several) : mJson(json), mSeveral(several) {}

    void print(const std::string& file, const std::string& tags) {
        std::string headline;
        if (mJson && mSeveral) {
            headline = mIsFirst ? "{\n" : ",\n";
            formats::appendJsonText(headline, file);
            headline += ':';
        } else if (mSeveral) {
            headline = "# " + formats::printable(file) + '\n';
        }
        std::cout << headline << tags;
        mIsFirst = false;
    }

    void finish() {
        if (mJson && mSeveral) {
            std::cout << (mIsFirst ? "{" : "") << "\n}\n";
        } else if (mJson && !mIsFirst) {
            std::cout << '\n';
        }
    }

  private:
    bool mJson;
    bool mSeveral;
    bool mIsFirst = true;
};

/// Reads the attributes of one file.
using ReadFile = std::function<Store(const std::string& file)>;

/// @param several  whether to name each file
void printFiles(Session& session, const TagsOptions& options, const std::vector<std::string>& files, bool several,
                const ReadFile& read) {
    VrNames vrNames(session.host());
    const auto describe = [&](const std::string& file) {
        const Store tags = read(file);
        std::string text;
        options.json ? formats::appendJson(text, tags.view()) : appendTree(text, tags.view(), std::ref(vrNames));
        return text;
    };
    TagsPrinter printer(options.json, several);
    options.jobs.forEach(session, files, true, describe, [&](const std::string& file, const std::string& tags) {
        PartialOption::tell(session, options.partial.noticeOf(file));
        printer.print(file, tags);
    });
    printer.finish();
}

/// Reports an unknown keyword once and not for every file. @throws velmora::LibraryError
void checkKeywords(velmora::Host& host, const TagsOptions& options) {
    for (const auto* keywords : {&options.tags, &options.excluded}) {
        for (const std::string& keyword : *keywords) {
            if (!parseTagNumber(keyword)) {
                host.call("GetGroupElemNumbers", {keyword});
            }
        }
    }
}

void printMedium(Session& session, const TagsOptions& options, const std::string& mediumPath) {
    const auto opened = openListedMedium(session, mediumPath, options.jobs);
    const media::Medium& medium = *opened;
    checkKeywords(session.host(), options);
    std::vector<std::string> files;
    const auto patients = media::listMedium(session.host(), medium, {.series = options.series}, media::Records::keys,
                                            options.jobs.count());
    media::forEachSeries(patients, [&](const auto&, const auto&, const media::MediumSeries& series) {
        files.insert(files.end(), series.files.begin(), series.files.end());
    });
    printFiles(session, options, files, true,
               [&](const std::string& file) { return readTags(session.host(), file, options); });
}

void run(Session& session, const TagsOptions& options) {
    for (const std::string& tag : options.tags) {
        (void)parseTagNumber(tag); // finds wrong usage before the first file is read
    }
    checkPattern("--series", options.series);
    const auto files = options.files.all();
    if (!options.recursive && options.series != ".*") {
        throw UsageError("--series chooses among the series of a medium and needs --recursive.");
    }
    if (!options.recursive) {
        FileOpener opener(options.partial);
        return printFiles(session, options, files, files.size() > 1, [&](const std::string& file) {
            return opener.open(file).read(
                [&](const std::string& path) { return readTags(session.host(), path, options); });
        });
    }
    if (files.size() > 1) {
        throw UsageError("--recursive takes one medium or folder at a time.");
    }
    printMedium(session, options, files.front());
}

} // namespace

void addTagsCommand(const CommandLine& program, Session& session) {
    const auto [command, options] =
        addCommand<TagsOptions>(program, session, "tags", "Print the attributes of files with their sequences", run);
    options.files.addTo(command);
    command.addRepeatable("--tag", options.tags, "Only this attribute: keyword or gggg,eeee");
    command.addRepeatable("--exclude", options.excluded, "Leave out this keyword");
    command.addFlag("--validate", options.validate, "Leave out values that do not fit their value representation");
    command.addFlag("--recursive", options.recursive, "Read every file of a medium; FILE is a DICOMDIR or a folder");
    command.addOption("--series", options.series, "With --recursive: only if the whole SeriesInstanceUID matches");
    command.addFlag("--json", options.json, "Print JSON: one object, for several files by path");
    options.partial.addTo(command);
    command.exclude("--partial", "--recursive");
    options.jobs.addTo(command);
    command.addExample("radvex tags broken.dcm --partial", "The attributes in front of the place where a file is cut");
}

} // namespace radvex::cli
