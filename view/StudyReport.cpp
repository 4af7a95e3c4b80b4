#include "view/StudyReport.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <span>
#include <string_view>
#include <utility>
#include <vector>

#include "formats/json/Base64.h"
#include "formats/json/Text.h"

namespace radvex::view {

using formats::Json;

namespace {

constexpr const char* kStart = R"(<!doctype html>
<html lang="en">
<head>
<meta charset="utf-8">
<meta http-equiv="Content-Security-Policy" content="default-src 'none'; style-src 'unsafe-inline'; img-src data:">
<title>DICOM report</title>
<style>
body { font: 15px/1.45 system-ui, sans-serif; margin: 2rem auto; max-width: 62rem; padding: 0 1rem; color: #1c1c1c; }
h1 { font-size: 1.5rem; } h2 { font-size: 1.15rem; margin-top: 2rem; } h3 { font-size: 1rem; margin: 0 0 .4rem; }
section { border-top: 1px solid #c8c8c8; padding: 1rem 0; break-inside: avoid; }
figure { display: inline-block; margin: 0 .5rem .5rem 0; } img { display: block; background: #000; }
figcaption { font-size: .8rem; color: #555; }
table { border-collapse: collapse; } th { font-weight: 600; } th, td { text-align: left; padding: .1rem .8rem .1rem 0; vertical-align: top; }
.error { color: #9a1b0e; } .error::before { content: "Error: "; font-weight: 600; }
.columns { display: flex; flex-wrap: wrap; gap: 2rem; } .pictures { flex: 1 1 26rem; }
</style>
</head>
<body>
)";

/// Attributes of the acquisition, of which those are shown that a file has.
constexpr std::array<std::string_view, 40> kProtocol{"Manufacturer",
                                                     "ManufacturerModelName",
                                                     "ProtocolName",
                                                     "BodyPartExamined",
                                                     "PatientPosition",
                                                     "ContrastBolusAgent",
                                                     "KVP",
                                                     "XRayTubeCurrent",
                                                     "ExposureTime",
                                                     "Exposure",
                                                     "ConvolutionKernel",
                                                     "GantryDetectorTilt",
                                                     "SpiralPitchFactor",
                                                     "CTDIvol",
                                                     "ReconstructionDiameter",
                                                     "MagneticFieldStrength",
                                                     "ScanningSequence",
                                                     "SequenceName",
                                                     "MRAcquisitionType",
                                                     "RepetitionTime",
                                                     "EchoTime",
                                                     "InversionTime",
                                                     "FlipAngle",
                                                     "EchoTrainLength",
                                                     "NumberOfAverages",
                                                     "PixelBandwidth",
                                                     "ReceiveCoilName",
                                                     "Units",
                                                     "DecayCorrection",
                                                     "AttenuationCorrectionMethod",
                                                     "ScatterCorrectionMethod",
                                                     "ReconstructionMethod",
                                                     "ActualFrameDuration",
                                                     "SliceThickness",
                                                     "SpacingBetweenSlices",
                                                     "PixelSpacing",
                                                     "ImagerPixelSpacing",
                                                     "DoseUnits",
                                                     "DoseSummationType",
                                                     "FrameTime"};

std::string escaped(std::string_view text) {
    std::string html;
    for (const char character : text) {
        switch (character) {
        case '&': html += "&amp;"; break;
        case '<': html += "&lt;"; break;
        case '>': html += "&gt;"; break;
        case '"': html += "&quot;"; break;
        default: html += character; break;
        }
    }
    return html;
}

/// A text that may be null.
std::string textOf(const Json& json, const char* name) {
    return json.contains(name) && json[name].is_string() ? json[name].get<std::string>() : "";
}

/// "20240131" as "2024-01-31".
std::string dateOf(const std::string& date) {
    const bool isWhole = date.size() == 8 && date.find_first_not_of("0123456789") == std::string::npos;
    return isWhole ? date.substr(0, 4) + '-' + date.substr(4, 2) + '-' + date.substr(6) : date;
}

std::string sizeOf(double bytes) {
    constexpr double kKibibyte = 1 << 10;
    const bool isSmall = bytes < kKibibyte * kKibibyte;
    char text[32];
    std::snprintf(text, sizeof text, isSmall ? "%.0f KiB" : "%.1f MiB",
                  isSmall ? bytes / kKibibyte : bytes / kKibibyte / kKibibyte);
    return text;
}

/// The texts that are not empty, with a comma between them.
std::string joined(std::initializer_list<std::string> texts) {
    std::string line;
    for (const std::string& text : texts) {
        line += (line.empty() || text.empty() ? "" : ", ") + text;
    }
    return line;
}

std::string row(std::string_view name, const std::string& value) {
    return value.empty() ? ""
                         : "<tr><th scope=\"row\">" + escaped(name) + "</th><td>" + escaped(value) + "</td></tr>\n";
}

class Report {
  public:
    explicit Report(Answers& answers) : mAnswers(answers) {}

    std::string write() {
        mHtml = kStart;
        mHtml += "<h1>DICOM report</h1>\n";
        for (const Json& patient : mAnswers.catalogue().shown()["patients"]) {
            for (const Json& study : patient["studies"]) {
                addStudy(patient, study);
            }
        }
        addLeftOut(mAnswers.catalogue().shown()["leftOut"]);
        return mHtml + "</body>\n</html>\n";
    }

  private:
    void addStudy(const Json& patient, const Json& study) {
        const std::string who = joined({textOf(patient, "name"), textOf(patient, "id")});
        mHtml += "<h2>" +
                 escaped(joined({who.empty() ? "Nameless patient" : who, dateOf(textOf(study, "date")),
                                 textOf(study, "description")})) +
                 "</h2>\n<p>" + escaped(formats::counted(study["series"].size(), "series", "series")) + ", study " +
                 escaped(textOf(study, "key")) + "</p>\n";
        for (const Json& series : study["series"]) {
            addSeries(series);
        }
    }

    void addSeries(const Json& series) {
        const std::string start = "series/" + std::to_string(series["id"].get<std::size_t>());
        const Answer answer = mAnswers.to(start);
        const std::size_t files = series["files"].get<std::size_t>();
        mHtml += "<section>\n<h3>" +
                 escaped(joined({"Series " + (textOf(series, "number").empty() ? "-" : textOf(series, "number")),
                                 textOf(series, "modality"), textOf(series, "description")})) +
                 "</h3>\n<p>" +
                 escaped(joined({formats::counted(files, "file", "files"), sizeOf(series["bytes"].get<double>())})) +
                 "</p>\n";
        mHtml += "<div class=\"columns\">\n<div class=\"pictures\">\n";
        if (!answer.isRefusal) {
            addPreviews(start, answer.message->json);
            addVerdict(answer.message->json);
        } else {
            mHtml += "<p class=\"error\">" + escaped(textOf(answer.message->json, "error")) + "</p>\n";
        }
        mHtml += "</div>\n";
        addProtocol(start + "/files/0/tags");
        mHtml += "</div>\n</section>\n";
    }

    /// The slices at a quarter, the half and three quarters of the first volume, or of all slices.
    void addPreviews(const std::string& start, const Json& series) {
        const Json& slices = series["slices"];
        std::vector<std::size_t> order;
        if (!series["volumes"].empty()) {
            order = series["volumes"][0]["order"].get<std::vector<std::size_t>>();
        }
        for (std::size_t index = 0; order.empty() && index < slices.size(); ++index) {
            order.push_back(index);
        }
        std::vector<std::size_t> places{order.size() / 4, order.size() / 2, order.size() * 3 / 4};
        places.erase(std::unique(places.begin(), places.end()), places.end());
        for (const std::size_t place : places) {
            const bool hasPicture = place < order.size() && slices[order[place]]["rows"].get<vint>() > 0;
            if (hasPicture) { // otherwise a finding says why not
                addPreview(start, slices[order[place]], place, order.size());
            }
        }
    }

    void addPreview(const std::string& start, const Json& slice, std::size_t place, std::size_t count) {
        const Answer picture = mAnswers.to(start + "/files/" + std::to_string(slice["file"].get<std::size_t>()) +
                                           "/preview?frame=" + std::to_string(slice["frame"].get<std::size_t>()));
        const std::string caption = "slice " + std::to_string(place + 1) + " of " + std::to_string(count);
        if (picture.isRefusal) {
            mHtml += "<p>" + caption + ": " + escaped(textOf(picture.message->json, "error")) + "</p>\n";
            return;
        }
        mHtml += "<figure><img alt=\"" + caption + "\" src=\"data:image/png;base64," +
                 formats::toBase64(std::as_bytes(std::span(picture.message->body))) + "\"><figcaption>" + caption +
                 "</figcaption></figure>\n";
    }

    void addVerdict(const Json& series) {
        addFindings(series["findings"]);
        for (const Json& volume : series["volumes"]) {
            std::string shape;
            for (const Json& length : volume["shape"]) {
                shape += (shape.empty() ? "" : " x ") + std::to_string(length.get<std::size_t>());
            }
            const std::string label = textOf(volume, "label");
            const bool isSound = volume["findings"].empty() && series["findings"].empty();
            mHtml += "<p>Volume" + escaped(label.empty() ? "" : " " + label.substr(1)) + ": " + shape +
                     (isSound ? ", nothing to object" : "") + ".</p>\n";
            addFindings(volume["findings"]);
        }
    }

    void addFindings(const Json& findings) {
        for (const Json& finding : findings) {
            mHtml += std::string("<p") + (finding["error"].get<bool>() ? " class=\"error\"" : "") + ">" +
                     escaped(textOf(finding, "sentence")) + "</p>\n";
        }
    }

    void addProtocol(const std::string& question) {
        const Answer answer = mAnswers.to(question);
        if (answer.isRefusal) {
            mHtml += "<p class=\"error\">" + escaped(textOf(answer.message->json, "error")) + "</p>\n";
            return;
        }
        std::array<std::string, kProtocol.size()> values;
        for (const Json& element : answer.message->json["elements"]) {
            const auto found = std::ranges::find(kProtocol, textOf(element, "keyword"));
            if (found != kProtocol.end()) {
                values.at(static_cast<std::size_t>(found - kProtocol.begin())) = textOf(element, "value");
            }
        }
        mHtml += "<table>\n";
        for (std::size_t index = 0; index < values.size(); ++index) {
            mHtml += row(kProtocol.at(index), values.at(index));
        }
        mHtml += "</table>\n";
    }

    void addLeftOut(const Json& leftOut) {
        const auto skipped = leftOut["skipped"].get<std::size_t>();
        const std::size_t refused = leftOut["refused"].size();
        if (skipped > 0) {
            mHtml += "<p>" + formats::counted(skipped, "file is", "files are") + " no DICOM.</p>\n";
        }
        if (refused > 0) {
            mHtml +=
                "<p class=\"error\">" + formats::counted(refused, "file was", "files were") + " left out:</p>\n<ul>\n";
            for (const Json& reason : leftOut["refused"]) {
                mHtml += "<li>" + escaped(reason.get<std::string>()) + "</li>\n";
            }
            mHtml += "</ul>\n";
        }
    }

    Answers& mAnswers;
    std::string mHtml{};
};

} // namespace

std::string studyReport(Answers& answers) { return Report(answers).write(); }

} // namespace radvex::view
