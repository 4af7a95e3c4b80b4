#include "media/Medium.h"
#include "media/MediumTree.h"
#include "python/worker/Jobs.h"

namespace radvex::python {

using formats::Json;

namespace {

/// The text, or null for an empty one.
Json orNull(const std::string& text) { return text.empty() ? Json() : Json(text); }

/// A path, whose bytes need not be UTF-8.
Json pathOf(const std::string& path) { return formats::toJson(path); }

Json describe(const media::MediumSeries& series) {
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

Json describe(const media::MediumStudy& study) {
    Json all = Json::array();
    for (const media::MediumSeries& series : study.series) {
        all.push_back(describe(series));
    }
    return {{"key", study.key},
            {"uid", orNull(study.uid)},
            {"date", orNull(study.date)},
            {"description", orNull(study.description)},
            {"series", std::move(all)}};
}

Json describe(const media::MediumPatient& patient) {
    Json studies = Json::array();
    for (const media::MediumStudy& study : patient.studies) {
        studies.push_back(describe(study));
    }
    return {{"key", patient.key},
            {"id", orNull(patient.id)},
            {"name", orNull(patient.name)},
            {"studies", std::move(studies)}};
}

Json describe(const media::LeftOut& leftOut) {
    Json refused = Json::array();
    for (const media::RefusedFile& file : leftOut.refused) {
        refused.push_back({{"path", pathOf(file.path)}, {"reason", file.reason}});
    }
    return {{"skipped", leftOut.skippedCount}, {"refused", std::move(refused)}};
}

} // namespace

void sendTree(velmora::Host& host, const Request& request, const Messages& messages) {
    const media::Medium medium(request.path, request.jobs, messages.progress());
    Json patients = Json::array();
    for (const media::MediumPatient& patient :
         media::listMedium(host, medium, request.selection, media::Records::all, request.jobs)) {
        patients.push_back(describe(patient));
    }
    messages.send({{"tree", {{"patients", std::move(patients)}, {"leftOut", describe(medium.listing().leftOut)}}}});
}

} // namespace radvex::python
