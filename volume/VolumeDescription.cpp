#include "volume/VolumeDescription.h"

#include <algorithm>

#include "formats/json/TypeNames.h"

namespace radvex::volume {

using formats::Json;

namespace {

std::string valuesName(const Volume& volume, SampleKind kind) {
    return volume.isPicture ? "rendered" : kind == SampleKind::stored ? "stored" : "modality";
}

std::vector<Finding> findingsOf(const SeriesVolumes& all, const Volume& volume) {
    std::vector<Finding> findings = all.findings;
    if (&volume != &all.volumes.front()) {
        for (Finding& finding : findings) {
            finding.files.clear();
        }
    }
    findings.insert(findings.end(), volume.findings.begin(), volume.findings.end());
    return findings;
}

} // namespace

Json describeVolume(const SeriesFiles& files, const SeriesSlices& slices, const SeriesVolumes& all,
                    const Volume& volume, SampleKind kind) {
    const formats::VolumeHeader& header = volume.header;
    std::vector<std::string> names;
    names.reserve(volume.slices.size());
    for (const std::size_t index : volume.slices) {
        names.push_back(slices.slices[index].name());
    }
    Json group = Json::object();
    for (const auto& [keyword, value] : volume.traits) {
        group[keyword] = value;
    }
    Json json{{"patient", files.patient},
              {"study", files.study},
              {"series", files.series},
              {"seriesNumber", slices.seriesNumber},
              {"written", nullptr},
              {"group", group},
              {"values", valuesName(volume, kind)},
              {"unit", header.unit.empty() ? Json() : Json(header.unit)},
              {"type", formats::typeName(formats::kArrayTypeNames, header.type)},
              {"shape", header.shape()},
              {"sort", nullptr},
              {"geometry", describeGeometry(header.geometry)},
              {"tiltDegrees", volume.tiltDegrees ? Json(*volume.tiltDegrees) : Json()},
              {"findings", describeFindings(findingsOf(all, volume))},
              {"slices", names}};
    if (kind == SampleKind::stored) {
        json["slope"] = header.slope;
        json["intercept"] = header.intercept;
    }
    if (!volume.seconds.empty()) {
        json["seconds"] = volume.seconds;
    }
    return json;
}

void requirePlacedFrames(const SeriesSlices& slices, const std::string& subject, const std::string& advice) {
    const bool arePlaced =
        std::ranges::any_of(slices.slices, [](const SliceRecord& slice) { return slice.hasPosition(); });
    if (slices.slices.size() > 1 && !arePlaced) {
        throw formats::VolumeError(subject + "nothing says where its " + std::to_string(slices.slices.size()) +
                                   " frames lie in the patient (functional groups, GridFrameOffsetVector, detectors), "
                                   "so that they need not be slices of a volume" +
                                   advice + ".");
    }
}

} // namespace radvex::volume
