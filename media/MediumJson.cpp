#include "media/MediumJson.h"

namespace radvex::media {

using formats::Json;

namespace {

/// The text, or null for an empty one.
Json orNull(const std::string& text) { return text.empty() ? Json() : Json(text); }

/// A path, whose bytes need not be UTF-8.
Json pathOf(const std::string& path) { return formats::toJson(path); }

Json describe(const MediumSeries& series) {
    Json files = Json::array();
    for (const std::string& file : series.files) {
        files.push_back(pathOf(file));
    }
    return {{"key", series.key},
            {"uid", orNull(series.uid)},
            {"number", orNull(series.number)},
            {"modality", orNull(series.modality)},
            {"description", orNull(series.description)},
            {"files", std::move(files)}};
}

Json describe(const MediumStudy& study) {
    Json all = Json::array();
    for (const MediumSeries& series : study.series) {
        all.push_back(describe(series));
    }
    return {{"key", study.key},
            {"uid", orNull(study.uid)},
            {"date", orNull(study.date)},
            {"description", orNull(study.description)},
            {"series", std::move(all)}};
}

Json describe(const MediumPatient& patient) {
    Json studies = Json::array();
    for (const MediumStudy& study : patient.studies) {
        studies.push_back(describe(study));
    }
    return {{"key", patient.key},
            {"id", orNull(patient.id)},
            {"name", orNull(patient.name)},
            {"studies", std::move(studies)}};
}

Json describe(const LeftOut& leftOut) {
    Json refused = Json::array();
    for (const RefusedFile& file : leftOut.refused) {
        refused.push_back({{"path", pathOf(file.path)}, {"reason", file.reason}});
    }
    return {{"skipped", leftOut.skippedCount}, {"refused", std::move(refused)}};
}

} // namespace

Json describeTree(const std::vector<MediumPatient>& patients, const LeftOut& leftOut) {
    Json all = Json::array();
    for (const MediumPatient& patient : patients) {
        all.push_back(describe(patient));
    }
    return {{"patients", std::move(all)}, {"leftOut", describe(leftOut)}};
}

} // namespace radvex::media
