#include "view/ElementTable.h"

#include <array>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <map>
#include <utility>
#include <vector>

#include "deidentify/Anonymizer.h"
#include "files/Errors.h"
#include "media/ElementList.h"

namespace radvex::view {

using formats::Json;

namespace {

constexpr std::uint32_t kUndefinedLength = 0xFFFFFFFF;
constexpr std::uintmax_t kLargestTried = 256 << 20; // bytes; a de-identification copies the file

/// What a de-identification does, by the place of the attribute: "ContentSequence[1].PatientName".
struct Actions {
    std::map<std::string, std::string> byPlace{};
    std::string problem{};
};

/// De-identifies the file, and keeps nothing of the result.
Actions actionsOn(velmora::Host& host, const std::string& file) {
    std::error_code error;
    if (std::filesystem::file_size(file, error) > kLargestTried && !error) {
        return {{}, "The file is too large to try what a de-identification would do with it."};
    }
    try {
        const deidentify::ReplacementRules rules;
        deidentify::AnonymizationSettings settings;
        settings.profile.emplace();
        deidentify::Anonymizer anonymizer(
            host, rules, deidentify::openAnonymization(settings),
            {.examines = false, .keepsChanges = true, .hasProfile = true, .isDryRun = true});
        Actions actions;
        for (const deidentify::AnonymizedFile& result : anonymizer.anonymizeFile(file, "page").files) {
            actions.problem = result.error;
            for (const deidentify::ProfileStep& step : result.steps) {
                actions.byPlace.emplace(step.attribute, step.action); // the first says what happened
            }
        }
        return actions;
    } catch (const std::exception& failure) {
        return {{}, failure.what()};
    }
}

/// As the report of a de-identification names an attribute.
std::string nameOf(const media::Element& element) {
    if (!element.keyword.empty() && !element.isPrivate()) {
        return element.keyword;
    }
    std::array<char, 16> text{};
    std::snprintf(text.data(), text.size(), "%04X,%04X", unsigned{element.group}, unsigned{element.number});
    return text.data();
}

class Table {
  public:
    explicit Table(const Actions& actions) : mActions(actions) {}

    /// @param prefix   of the places in the item
    /// @param outer    what happens to the sequence around it
    Json rows(const std::vector<media::Element>& elements, const std::string& prefix, const std::string& outer) const {
        Json all = Json::array();
        for (const media::Element& element : elements) {
            all.push_back(row(element, prefix, outer));
        }
        return all;
    }

  private:
    Json row(const media::Element& element, const std::string& prefix, const std::string& outer) const {
        const std::string place = prefix + nameOf(element);
        const auto found = mActions.byPlace.find(place);
        // The report of a de-identification says nothing of the meta information, which belongs to each file anew.
        const std::string other = element.isMetaInformation() && mActions.problem.empty() ? "written anew" : outer;
        const std::string action = found != mActions.byPlace.end() ? found->second : other;
        Json json{{"tag", media::numberOf(element)}, {"vr", element.vr}, {"keyword", element.keyword}};
        if (!element.creator.empty()) {
            json["creator"] = element.creator;
        }
        json["action"] = action;
        if (!element.isSequence()) {
            json["value"] = element.text;
            if (element.length != kUndefinedLength) {
                json["bytes"] = element.length;
            }
            return json;
        }
        json["items"] = Json::array();
        for (const auto& item : element.items) {
            const std::size_t index = json["items"].size();
            json["items"].push_back(
                rows(item, place + '[' + std::to_string(index + 1) + "].", actionOnItem(element, action, index)));
        }
        return json;
    }

    /// What happens to all attributes of an item, if the sequence around it is not kept. Of a dummy, the first item
    /// stays and is rewritten; the content of a document is replaced as a whole.
    static std::string actionOnItem(const media::Element& sequence, const std::string& action, std::size_t index) {
        if (action == "removed" || action == "emptied") {
            return action;
        }
        const bool isReplaced = action == "dummy value" && (index > 0 || sequence.keyword == "ContentSequence");
        return isReplaced ? "removed" : "";
    }

    const Actions& mActions;
};

} // namespace

Message listElements(velmora::Host& host, const std::string& file) {
    const std::vector<media::Element> elements =
        media::listElements(file, {.values = media::ElementValues::Text, .wants = {}});
    const Actions actions = actionsOn(host, file);
    return {{{"elements", Table(actions).rows(elements, "", "")}, {"actionProblem", actions.problem}}, ""};
}

} // namespace radvex::view
