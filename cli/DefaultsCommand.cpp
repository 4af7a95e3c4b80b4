#include <cstdio>
#include <iostream>

#include "cli/Commands.h"
#include "cli/arguments/Words.h"
#include "formats/json/MetadataJson.h"
#include "formats/json/Text.h"

namespace radvex::cli {

namespace {

/// The keywords for which the library has a default value from the start.
const std::vector<std::string> kKeywords{"PatientName",
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

/// Sets the value when the word holds one. @return the keyword and its value after that
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
    std::string json;
    for (const std::string& word : options.words.empty() ? kKeywords : options.words) {
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
    const auto [command, options] = addCommand<DefaultsOptions>(
        program, session, "defaults", "Show the values that new files get for attributes that are not given", run);
    command.addWords("KEYWORD", options.words,
                     "Show only this one; KEYWORD=VALUE sets it for this run of the command first", Takes::Keyword);
    command.addFlag("--json", options.json, "Print one JSON object");
    command.addExample("radvex defaults", "The values that new files get");
    command.addExample("radvex defaults PatientName=Doe^Jane", "Whether a value would be taken");
}

} // namespace radvex::cli
