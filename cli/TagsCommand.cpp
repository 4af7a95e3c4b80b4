#include <iostream>
#include <unordered_map>

#include "Commands.h"
#include "FileArguments.h"
#include "MetadataText.h"
#include "Output.h"
#include "TagNumber.h"

namespace radvex::cli {

using velmora::Store;
using velmora::Value;

namespace {

struct TagsOptions {
    FileArguments files{};
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

void printTrees(Session& session, const TagsOptions& options, const std::vector<std::string>& files) {
    for (const std::string& file : files) {
        session.attempt(file, [&] {
            const Store tags = readTags(session.host(), file, options);
            std::string text = files.size() > 1 ? "# " + printable(file) + '\n' : "";
            appendTree(text, tags.view(), VrNames(session.host()));
            std::cout << text;
            session.host().call("CloseReader", {file});
        });
    }
}

void printJson(Session& session, const TagsOptions& options, const std::vector<std::string>& files) {
    std::string text = files.size() > 1 ? "{" : "";
    for (const std::string& file : files) {
        session.attempt(file, [&] {
            const Store tags = readTags(session.host(), file, options);
            if (files.size() > 1) {
                text += text.size() > 1 ? ",\n" : "\n";
                appendJsonText(text, file);
                text += ':';
            }
            appendJson(text, tags.view());
            session.host().call("CloseReader", {file});
        });
    }
    text += files.size() > 1 ? "\n}\n" : text.empty() ? "" : "\n";
    std::cout << text;
}

void run(Session& session, const TagsOptions& options) {
    for (const std::string& tag : options.tags) {
        (void)parseTagNumber(tag); // wrong usage is found before the first file is read
    }
    const auto files = options.files.all();
    options.json ? printJson(session, options, files) : printTrees(session, options, files);
}

} // namespace

void addTagsCommand(CLI::App& app, Session& session) {
    auto options = std::make_shared<TagsOptions>();
    CLI::App* command = app.add_subcommand("tags", "Print the attributes of files, sequences and all");
    options->files.addTo(command);
    command->add_option("--tag", options->tags, "Only this attribute: keyword or gggg,eeee; may be repeated")
        ->allow_extra_args(false)
        ->take_all();
    command->add_option("--exclude", options->excluded, "Leave out this keyword; may be repeated")
        ->allow_extra_args(false)
        ->take_all();
    command->add_flag("--validate", options->validate, "Leave out values that do not fit their value representation");
    command->add_flag("--json", options->json, "Print JSON: one object, or with several files one object by file");
    command->callback([&session, options] { run(session, *options); });
}

} // namespace radvex::cli
