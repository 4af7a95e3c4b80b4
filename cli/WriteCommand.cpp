#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <iostream>
#include <map>

#include "cli/Commands.h"
#include "cli/arguments/Files.h"
#include "cli/arguments/OutputRule.h"
#include "cli/arguments/OverlayInput.h"
#include "cli/arguments/Words.h"
#include "cli/tags/TagPath.h"
#include "cli/tags/TagsPrinter.h"
#include "files/Errors.h"
#include "files/InputFile.h"
#include "files/OutputFile.h"
#include "formats/json/Attributes.h"
#include "formats/json/Text.h"
#include "formats/pictures/Compression.h"
#include "formats/pictures/Picture.h"
#include "formats/pictures/PictureFiles.h"
#include "media/WrittenTexts.h"

namespace radvex::cli {

using velmora::Image;
using velmora::Store;
using velmora::Value;

namespace {

struct WriteOptions {
    FileArguments pictures{};
    std::string output{};
    OutputRule rule{};
    std::string axes{};
    std::vector<std::string> tags{};
    std::string metadata{};
    std::vector<std::string> overlays{};
    std::vector<std::string> overlayProperties{};
    std::string compression = "Uncompressed";
    std::vector<std::string> defaults{};
    bool isDryRun = false;
};

/// The parsed options, before the first file is read.
struct Request {
    std::vector<std::string> pictures{};
    formats::AxesRule axes{};
    std::vector<Assignment> tags{};
    std::vector<OverlayProperty> overlayProperties{};
    formats::Compression compression{};
    std::vector<Assignment> defaults{};
};

std::vector<Assignment> parseAssignments(const std::string& option, const std::vector<std::string>& words) {
    std::vector<Assignment> assignments;
    for (const std::string& word : words) {
        assignments.push_back(parseAssignment(option, word));
        for (std::size_t before = 0; before + 1 < assignments.size(); ++before) {
            if (assignments[before].keyword == assignments.back().keyword) {
                throw UsageError(assignments.back().label +
                                 ": the keyword is given twice; several values of one attribute need a "
                                 "backslash between them.");
            }
        }
    }
    return assignments;
}

Request parse(const WriteOptions& options) {
    Request request{.pictures = options.pictures.all(),
                    .axes = {.given = formats::parseAxes(options.axes)},
                    .tags = parseAssignments("--tag", options.tags),
                    .compression = formats::parseCompression("--compress ", options.compression),
                    .defaults = parseAssignments("--default", options.defaults)};
    for (const std::string& word : options.overlayProperties) {
        request.overlayProperties.push_back(parseOverlayProperty(word, options.overlays.size()));
    }
    if (options.output == "-" && isatty(STDOUT_FILENO) != 0 && !options.isDryRun) {
        throw UsageError("A DICOM file cannot be shown on a terminal: name a file, or redirect the output.");
    }
    return request;
}

/// Refuses what the library would write as it is given, and the file could not be read, or not rightly.
void checkTag(const Assignment& tag, const Image& image, formats::Dictionary& dictionary) {
    if (dictionary.isFileMetaInformation(tag.keyword)) {
        throw FileError(tag.label + ": the library alone writes the file's meta information.");
    }
    if (dictionary.isPrivate(tag.keyword)) { // the library would write it without the creator that gives it its meaning
        throw FileError(tag.label + ": only standard attributes can be written, and this one is private.");
    }
    const VelmoraImage& info = image.info();
    const std::map<std::string, std::string> determined{
        {"NumberOfFrames", info.rank == 3 ? std::to_string(info.slices) : "1"},
        {"PlanarConfiguration", "0"}, // the samples of a pixel lie together
    };
    const auto found = determined.find(tag.keyword);
    if (found != determined.end() && found->second != tag.value) {
        throw FileError(tag.label + ": the pictures determine this attribute, and it is " + found->second +
                        " for them; leave it out.");
    }
}

/// The attributes of the new file. An attribute of --tag replaces an equal one of --meta.
formats::Attributes readAttributes(const WriteOptions& options, const Request& request, const Image& image,
                                   formats::Dictionary& dictionary) {
    formats::Attributes attributes;
    if (!options.metadata.empty()) {
        auto input = formats::attributesFromJson(options.metadata, files::readInputText(options.metadata), dictionary);
        attributes = std::move(input.attributes);
        std::ranges::for_each(input.remarks, printError);
    }
    for (const Assignment& tag : request.tags) {
        checkTag(tag, image, dictionary);
        std::erase_if(attributes, [&](const formats::Attribute& each) { return each.keyword == tag.keyword; });
        attributes.push_back({.keyword = tag.keyword, .source = tag.label, .value = tag.value});
    }
    return attributes;
}

/// Puts all texts into the character set that the file is to have.
void encodeTexts(formats::Attributes& attributes, Request& request, formats::Dictionary& dictionary) {
    std::vector<media::AddedText> added;
    for (const Assignment& given : request.defaults) {
        added.push_back({.vr = dictionary.vrOf(given.keyword), .text = given.value});
    }
    for (const OverlayProperty& property : request.overlayProperties) {
        added.push_back({.vr = "LO", .text = property.value});
    }
    media::encodeTexts(attributes, added, dictionary);
    auto next = added.begin();
    for (Assignment& given : request.defaults) {
        given.value = (next++)->text;
    }
    for (OverlayProperty& property : request.overlayProperties) {
        property.value = (next++)->text;
    }
}

/// Returns false after reporting that the library refuses a value.
bool setDefaults(Session& session, const Request& request) {
    for (const Assignment& given : request.defaults) {
        session.attempt(given.label, [&] { session.host().call("SetDefaultTagValue", {given.keyword, given.value}); });
    }
    return session.status() == kDone;
}

/// The arguments of WriteImage. An initializer list would copy the image.
std::vector<Value> argumentsOf(const std::string& path, Image image, const formats::Attributes& attributes,
                               Store overlays, const Request& request) {
    const std::size_t count = overlays.size();
    std::vector<Value> arguments;
    arguments.emplace_back(path);
    arguments.emplace_back(std::move(image));
    arguments.emplace_back(formats::toStore(attributes));
    arguments.emplace_back(std::move(overlays));
    arguments.emplace_back(request.compression.name);
    arguments.emplace_back(request.compression.first);
    arguments.emplace_back(request.compression.second);
    arguments.emplace_back(overlayOptions(request.overlayProperties, count));
    return arguments;
}

/// How the user gave the value that the library refused to write; empty when the error has another cause.
std::string originOf(const velmora::LibraryError& error, velmora::Host& host, formats::Dictionary& dictionary,
                     const formats::Attributes& attributes, const Request& request) {
    if (const formats::Attribute* refused = formats::findRefused(attributes, error, host, dictionary)) {
        return refused->source + ": ";
    }
    for (const Assignment& given : request.defaults) { // the library refuses some values only when it uses them
        if (error.name() == "TagWriteError" &&
            std::string(error.what()).find(" " + given.keyword + " ") != std::string::npos) {
            return given.label + ": ";
        }
    }
    return "";
}

std::string explain(const velmora::LibraryError& error, const std::string& picture, const std::string& compression) {
    std::string message = messageOf(error);
    if (message.find("`reason`") != std::string::npos) { // this refusal has no reason
        return "A picture of " + picture + " cannot be compressed as " + compression + ".";
    }
    return message;
}

/// What would be written, as it lies in a file that is removed again: its size, and its attributes as `radvex tags`
/// shows them. UIDs that were not given are new in each run.
void printRehearsal(Session& session, const WriteOptions& options, const std::string& picture,
                    const formats::Compression& compression, const std::string& temporary) {
    std::error_code error;
    const bool isThere = options.output != "-" && std::filesystem::exists(options.output, error);
    const std::string name = options.output == "-" ? "The standard output" : formats::printable(options.output);
    std::cout << name << (isThere ? " would be replaced: " : " would be written: ")
              << std::filesystem::file_size(temporary) << " bytes, " << picture << ", " << compression.name << '\n';
    const TagsRequest request{.text = {.look = Look::of(STDOUT_FILENO)}};
    printTags(session, request, FileJobs(), PartialOption(), {temporary}, false,
              [&](const std::string& file) { return describeFile(session.host(), request, file); });
}

void run(Session& session, const WriteOptions& options) {
    Request request = parse(options);
    std::vector<std::string> inputs = request.pictures;
    inputs.insert(inputs.end(), options.overlays.begin(), options.overlays.end());
    inputs.push_back(options.metadata);
    options.rule.check({options.output}, inputs);
    Image image = formats::readPictureFiles(request.pictures, request.axes);
    Store overlays = readOverlays(options.overlays);
    velmora::Host& host = session.host();
    formats::Dictionary dictionary(host);
    formats::Attributes attributes = readAttributes(options, request, image, dictionary);
    encodeTexts(attributes, request, dictionary);
    if (!setDefaults(session, request)) {
        return;
    }
    const std::string picture = formats::describePicture(image);
    const auto write = [&](const std::string& temporary) {
        host.call("WriteImage", argumentsOf(temporary, std::move(image), attributes, std::move(overlays), request));
    };
    try {
        if (options.isDryRun) {
            files::rehearseOutputPath(options.rule.to(options.output), write, [&](const std::string& temporary) {
                printRehearsal(session, options, picture, request.compression, temporary);
            });
        } else {
            files::writeOutputPath(options.rule.to(options.output), write);
        }
    } catch (const velmora::LibraryError& error) {
        session.reportRefusal("", originOf(error, host, dictionary, attributes, request) +
                                      explain(error, picture, request.compression.name));
    }
}

} // namespace

void addWriteCommand(const CommandLine& program, Session& session) {
    const auto [command, options] =
        addCommand<WriteOptions>(program, session, "write", "Make a DICOM file from pictures", run);
    options.pictures.addTo(command, "PICTURE",
                           "PNG (grey or RGB) or .npy (bool, u1, u2, f4, f8); more become further frames");
    command.addRequired("-o,--output", options.output, "DICOM file to write; - for the standard output", Takes::File);
    options.rule.addTo(command);
    command.addOption("--axes", options.axes,
                      "Axes of .npy files, such as frames,rows,columns; by themselves [a][b][3] is rows, columns and "
                      "RGB, any other [a][b][c] frames, rows and columns");
    command.addRepeatable("--tag", options.tags, "Attribute as KEYWORD=VALUE, several values as A\\B",
                          Takes::Assignment);
    command.addOption("--meta", options.metadata,
                      "Attributes as JSON, as 'radvex tags --json' or 'radvex tags --dicom-json' prints them; an equal "
                      "--tag takes precedence",
                      Takes::File);
    command.addRepeatable("--overlay", options.overlays,
                          "PNG or .npy to lay over the picture; every value but 0 is set", Takes::File);
    command.addRepeatable(
        "--overlay-option", options.overlayProperties,
        "[NUMBER:]PROPERTY=VALUE of one overlay or of all: OriginRow, OriginColumn, ImageFrameOrigin, "
        "OverlayType, OverlayDescription, OverlaySubtype, OverlayLabel");
    command.addOption("--compress", options.compression, "NAME[:P1[,P2]]: " + formats::compressionHelp());
    command.suggest("--compress", formats::compressionNames());
    command.addFlag("--dry-run", options.isDryRun, "Show size and attributes of the new file, and write nothing");
    command.addRepeatable("--default", options.defaults, "Default value as KEYWORD=VALUE; see 'radvex defaults'",
                          Takes::Assignment);
    command.addExample("radvex write picture.png -o out.dcm --tag PatientID=P1 --dry-run",
                       "what would be written, and nothing done");
    command.addExample("radvex write picture.png -o out.dcm --meta tags.json",
                       "a DICOM file with attributes from JSON");
}

} // namespace radvex::cli
