#include <array>
#include <cstdio>
#include <iostream>

#include "cli/Commands.h"
#include "cli/arguments/Assignment.h"
#include "formats/json/MetadataJson.h"
#include "formats/json/Text.h"

namespace radvex::cli {

namespace {

/// The keywords that the library has a default value for from the start.
constexpr std::array<const char*, 25> kKeywords{"PatientName",
                                                "PatientID",
                                                "PatientBirthDate",
                                                "PatientSex",
                                                "StudyID",
                                                "StudyDate",
                                                "StudyTime",
                                                "AccessionNumber",
                                                "ReferringPhysicianName",
                                                "Modality",
                                                "SeriesNumber",
                                                "Manufacturer",
                                                "ManufacturerModelName",
                                                "DeviceSerialNumber",
                                                "SoftwareVersions",
                                                "ConversionType",
                                                "ContentLabel",
                                                "ContentDescription",
                                                "ContentCreatorName",
                                                "PositionReferenceIndicator",
                                                "PixelSpacing",
                                                "SliceThickness",
                                                "SpacingBetweenSlices",
                                                "RecognizableVisualFeatures",
                                                "RepresentationLUTShape"};

struct DefaultsOptions {
    std::vector<std::string> words{};
    bool json = false;
};

/// Sets a value when the word has one, and gives keyword and value as they are then.
std::pair<std::string, std::string> apply(velmora::Host& host, const std::string& word) {
    std::string keyword = word;
    if (word.find('=') != std::string::npos) {
        const Assignment given = parseAssignment("defaults", word);
        host.call("SetDefaultTagValue", {given.keyword, given.value});
        keyword = given.keyword;
    }
    return {keyword, host.call("GetDefaultTagValue", {keyword}).get<std::string>()};
}

void print(const std::string& keyword, const std::string& value) {
    std::printf("%-34s%s\n", formats::printable(keyword).c_str(), formats::printable(value).c_str());
}

void run(Session& session, const DefaultsOptions& options) {
    const std::vector<std::string> all(kKeywords.begin(), kKeywords.end());
    std::string json;
    for (const std::string& word : options.words.empty() ? all : options.words) {
        session.attempt(word, [&] {
            const auto [keyword, value] = apply(session.host(), word);
            if (!options.json) {
                return print(keyword, value);
            }
            json += json.empty() ? "" : ",";
            formats::appendJsonText(json, keyword);
            json += ':';
            formats::appendJsonText(json, value);
        });
    }
    if (options.json) {
        std::cout << '{' << json << "}\n";
    }
}

} // namespace

void addDefaultsCommand(const CommandLine& program, Session& session) {
    auto options = std::make_shared<DefaultsOptions>();
    const CommandLine command =
        program.addCommand("defaults", "Show the values that files get for attributes not given");
    command.addWords("KEYWORD", options->words,
                     "Only this one; KEYWORD=VALUE shows what it would be: the library keeps it for this run");
    command.addFlag("--json", options->json, "Print one JSON object");
    command.setAction([&session, options] { run(session, *options); });
}

} // namespace radvex::cli
