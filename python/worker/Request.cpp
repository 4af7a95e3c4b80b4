#include "python/worker/Request.h"

#include <algorithm>

#include "files/Errors.h"
#include "formats/json/LosslessJson.h"
#include "python/Pictures.h"

namespace radvex::python {

using formats::Json;

namespace {

/// The value of a word. @throws UsageError  the word is none of the names
template <typename Value, std::size_t N>
Value chosen(const Json& json, const char* key, const std::pair<const char*, Value> (&names)[N]) {
    if (!json.contains(key)) {
        return names[0].second;
    }
    const auto word = json.at(key).get<std::string>();
    std::string known;
    for (const auto& [name, value] : names) {
        if (word == name) {
            return value;
        }
        known += (known.empty() ? "" : ", ") + std::string(name);
    }
    throw UsageError(std::string(key) + "='" + word + "' is unknown: " + known + ".");
}

/// The pattern that selects exactly the given text, or everything.
std::string patternOf(const Json& json, const char* key) {
    const bool isGiven = json.contains(key) && !json.at(key).is_null();
    return isGiven ? media::exactPattern(json.at(key).get<std::string>()) : ".*";
}

Request requestFrom(std::string path, const Json& json) {
    using Plan = volume::PlanOptions;
    using volume::SampleKind;
    constexpr std::pair<const char*, SampleKind> kKinds[] = {
        {"modality", SampleKind::modality}, {"stored", SampleKind::stored}, {"rendered", SampleKind::rendered}};
    constexpr std::pair<const char*, Plan::Sort> kSorts[] = {
        {"auto", Plan::Sort::automatic}, {"instance", Plan::Sort::instance}, {"position", Plan::Sort::position}};
    constexpr std::pair<const char*, Plan::Strangers> kStrangers[] = {
        {"refuse", Plan::Strangers::refuse}, {"largest", Plan::Strangers::leaveOut}, {"split", Plan::Strangers::split}};
    Request request;
    request.job = json.at("job").get<std::string>();
    request.path = std::move(path);
    request.selection = {patternOf(json, "patient"), patternOf(json, "study"), patternOf(json, "series")};
    request.jobs = std::max<std::size_t>(1, json.value("jobs", std::size_t{1}));
    request.list = json.value("list", -1);
    request.keywords = json.value("keywords", std::vector<std::string>{});
    request.counts = json.value("counts", std::vector<std::size_t>{});
    request.withPixels = json.value("pixels", false);
    request.isSingle = json.value("single", false);
    request.isFourD = json.value("fourD", false);
    request.kind = chosen(json, "values", kKinds);
    request.plan.sort = chosen(json, "sort", kSorts);
    request.plan.strangers = chosen(json, "strangers", kStrangers);
    request.plan.isForced = json.value("force", false);
    request.plan.isResampled = json.value("resample", false);
    request.rendering = renderingFrom(json);
    if (request.kind == SampleKind::stored && request.plan.isResampled) {
        throw UsageError("Stored values cannot be resampled.");
    }
    return request;
}

} // namespace

Request Request::parse(std::string path, const std::string& json) {
    try {
        return requestFrom(std::move(path), formats::parseJson(json));
    } catch (const Json::exception& error) {
        throw formats::JsonError(std::string("This is no request: ") + error.what());
    }
}

} // namespace radvex::python
