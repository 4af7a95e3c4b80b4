#include <iostream>
#include <optional>
#include <unordered_map>

#include "Commands.h"
#include "FileArguments.h"
#include "FileJobs.h"
#include "Medium.h"
#include "MetadataText.h"
#include "Output.h"
#include "Selection.h"
#include "TagNumber.h"

namespace radvex::cli {

using velmora::Store;
using velmora::Value;

namespace {

struct TagsOptions {
    FileArguments files{};
    FileJobs jobs{};
    bool recursive = false;
    std::string series = ".*";
    std::vector<std::string> tags{};
    std::vector<std::string> excluded{};
    bool validate = false;
    bool json = false;
};

/// One attribute, in the form in which it was asked for.
Value readTag(velmora::Host& host, const std::string& file, const std::string& tag, bool validate) {
    if (const auto number = parseTagNumber(tag)) {
        return host.call("ReadMetadataIntTags", {file, Store::of({Store::ofTexts({number->first, number->second})})});
    }
    return host.call("ReadMetadata", {file, Store::ofTexts({tag}), validate});
}

/// All that was asked for of one file.
Store readTags(velmora::Host& host, const std::string& file, const TagsOptions& options) {
    if (options.tags.empty()) {
        return std::get<Store>(
            host.call("ReadAllMetadata", {file, Store::ofTexts(options.excluded), options.validate}));
    }
    Store all = Store::empty();
    for (const std::string& tag : options.tags) {
        const Value found = readTag(host, file, tag, options.validate);
        for (const velmora::NodeView node : found.get<Store>()) {
            all.add(std::string(node.name()), node.value());
        }
    }
    return all;
}

/// Value representations as the dictionary gives them, each asked for once. A private keyword has none there: what it
/// means depends on the file's private creator.
class VrNames {
  public:
    explicit VrNames(velmora::Host& host) : mHost(host) {}

    std::string operator()(const std::string& key) {
        const auto known = mKnown.find(key);
        return known != mKnown.end() ? known->second : mKnown.emplace(key, ask(key)).first->second;
    }

  private:
    std::string ask(const std::string& key) {
        const Value answer = mHost.call("ReadVRName", {Store::ofTexts({key})});
        const std::string vr = (*answer.get<Store>().begin()).cell().utf8String;
        return vr == "UN" || isPrivate(key) ? "" : vr;
    }

    bool isPrivate(const std::string& key) {
        const Value numbers = mHost.call("GetGroupElemNumbers", {key});
        return std::stoi((*numbers.get<Store>().begin()).cell().utf8String) % 2 != 0;
    }

    velmora::Host& mHost;
    std::unordered_map<std::string, std::string> mKnown{};
};

/// What is printed of one file's attributes.
class TagsFormat {
  public:
    TagsFormat(Session& session, bool json) : mSession(session), mJson(json) {}

    std::string operator()(velmora::StoreView tags) {
        std::string text;
        if (mJson) {
            appendJson(text, tags);
            return text;
        }
        if (!mVrNames) { // not before: the process that asks for them has a library of its own
            mVrNames.emplace(mSession.host());
        }
        appendTree(text, tags, std::ref(*mVrNames));
        return text;
    }

  private:
    Session& mSession;
    bool mJson;
    std::optional<VrNames> mVrNames{};
};

/// Prints one file after the other: as text with a headline for each, or as one JSON object.
class TagsPrinter {
  public:
    TagsPrinter(bool json, bool several) : mJson(json), mSeveral(several) {}

    void print(const std::string& file, const std::string& tags) {
        std::string headline;
        if (mJson && mSeveral) {
            headline = mIsFirst ? "{\n" : ",\n";
            appendJsonText(headline, file);
            headline += ':';
        } else if (mSeveral) {
            headline = "# " + printable(file) + '\n';
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

void printFiles(Session& session, const TagsOptions& options, const std::vector<std::string>& files) {
    TagsFormat format(session, options.json);
    TagsPrinter printer(options.json, files.size() > 1);
    const auto read = [&](const std::string& file) {
        std::string text = format(readTags(session.host(), file, options).view());
        session.host().call("CloseReader", {file});
        return text;
    };
    options.jobs.forEach(session, files, true, read,
                         [&](const std::string& file, const std::string& tags) { printer.print(file, tags); });
    printer.finish();
}

/// Keywords and numbers of the request, in the two forms in which the library takes them.
std::pair<std::vector<std::string>, std::vector<Value>> sortedTags(const std::vector<std::string>& tags) {
    std::pair<std::vector<std::string>, std::vector<Value>> sorted;
    for (const std::string& tag : tags) {
        if (const auto number = parseTagNumber(tag)) {
            sorted.second.emplace_back(Store::ofTexts({number->first, number->second}));
        } else {
            sorted.first.push_back(tag);
        }
    }
    return sorted;
}

Value readRecursively(velmora::Host& host, const std::string& dicomdir, const TagsOptions& options) {
    if (options.tags.empty()) {
        return host.call("ReadAllMetadataRecursive",
                         {dicomdir, Store::ofTexts(options.excluded), options.series, options.validate});
    }
    auto [keywords, numbers] = sortedTags(options.tags);
    if (numbers.empty()) {
        return host.call("ReadMetadataRecursive",
                         {dicomdir, Store::ofTexts(keywords), options.series, options.validate});
    }
    if (!keywords.empty() || options.series != ".*") {
        throw UsageError("--recursive takes either keywords or numbers after --tag, and --series with keywords only.");
    }
    return host.call("ReadMetadataIntTagsRecursive", {dicomdir, Store::of(std::move(numbers))});
}

void printMedium(Session& session, const TagsOptions& options, const std::string& place) {
    const Medium medium(place);
    medium.report();
    TagsFormat format(session, options.json);
    TagsPrinter printer(options.json, true);
    try {
        const Value result = readRecursively(session.host(), medium.dicomdir(), options);
        for (const velmora::NodeView file : result.get<Store>()) {
            printer.print(medium.userPath(std::string(file.name())), format(velmora::StoreView(file.cell().dataStore)));
        }
        printer.finish();
    } catch (const velmora::LibraryError& error) {
        session.reportRefusal("", medium.userText(error.what()));
    }
}

void run(Session& session, const TagsOptions& options) {
    for (const std::string& tag : options.tags) {
        (void)parseTagNumber(tag); // wrong usage is found before the first file is read
    }
    Selection{".*", ".*", options.series}.check();
    const auto files = options.files.all();
    if (!options.recursive && options.series != ".*") {
        throw UsageError("--series chooses among the series of a medium: it needs --recursive.");
    }
    if (!options.recursive) {
        return printFiles(session, options, files);
    }
    if (files.size() > 1) {
        throw UsageError("--recursive takes one medium or folder at a time.");
    }
    printMedium(session, options, files.front());
}

} // namespace

void addTagsCommand(const CommandLine& program, Session& session) {
    auto options = std::make_shared<TagsOptions>();
    const CommandLine command = program.addCommand("tags", "Print the attributes of files, sequences and all");
    options->files.addTo(command);
    command.addRepeatable("--tag", options->tags, "Only this attribute: keyword or gggg,eeee; may be repeated");
    command.addRepeatable("--exclude", options->excluded, "Leave out this keyword; may be repeated");
    command.addFlag("--validate", options->validate, "Leave out values that do not fit their value representation");
    command.addFlag("--recursive", options->recursive,
                    "Of every file of a medium: a DICOMDIR or a folder in place of FILE");
    command.addOption("--series", options->series, "With --recursive: only if the whole SeriesInstanceUID matches");
    command.addFlag("--json", options->json, "Print JSON: one object, or with several files one object by file");
    options->jobs.addTo(command);
    command.setAction([&session, options] { run(session, *options); });
}

} // namespace radvex::cli
