#include "deidentify/pixels/RuleFile.h"

#include <algorithm>
#include <limits>
#include <nlohmann/json.hpp>
#include <stdexcept>
#include <unordered_set>

#include "dcmtk/dcmdata/dctag.h"
#include "deidentify/pixels/AttributeText.h"
#include "formats/json/Text.h"

namespace radvex::deidentify {

namespace {

using Json = nlohmann::json;

constexpr const char* kExample =
    R"( For example: [{"match": {"Modality": "US", "Rows": 480}, "rectangles": [[0, 0, 640, 40]]}])";

/// A place in the file, for messages.
struct Place {
    std::string file;
    std::size_t rule = 0;

    [[noreturn]] void fail(const std::string& why) const {
        const std::string where = rule == 0 ? "" : "rule " + std::to_string(rule) + ": ";
        throw std::runtime_error(file + ": " + where + why + kExample);
    }
};

/// Of two equal keys in an object, the JSON library silently keeps one; a rule that was lost would leave text in view.
Json parseJson(const std::string& text, const Place& place) {
    std::vector<std::unordered_set<std::string>> keys;
    const auto refuseRepeatedKeys = [&](int /*depth*/, Json::parse_event_t event, const Json& parsed) {
        if (event == Json::parse_event_t::object_start) {
            keys.emplace_back();
        } else if (event == Json::parse_event_t::object_end) {
            keys.pop_back();
        } else if (event == Json::parse_event_t::key && !keys.back().insert(parsed.get<std::string>()).second) {
            place.fail('"' + formats::printable(parsed.get<std::string>()) + "\" occurs twice in one object.");
        }
        return true;
    };
    try {
        return Json::parse(text, refuseRepeatedKeys);
    } catch (const Json::parse_error& error) {
        place.fail("it is not valid JSON: the error is at byte " + std::to_string(error.byte) + '.');
    }
}

/// A whole number. One beyond 64 bits, which JSON gives as a floating-point one, is none.
std::int64_t wholeNumber(const Json& value, const Place& place, const std::string& what) {
    constexpr std::int64_t kFarAway = std::int64_t{1} << 40; // beyond every image, and sums of two stay in 64 bits
    if (!value.is_number_integer()) {
        place.fail(what + " holds something other than whole numbers.");
    }
    if (value.is_number_unsigned()) {
        return static_cast<std::int64_t>(std::min(value.get<std::uint64_t>(), std::uint64_t{kFarAway}));
    }
    return std::clamp(value.get<std::int64_t>(), -kFarAway, kFarAway);
}

MaskRectangle readRectangle(const Json& value, const Place& place, std::size_t number) {
    const std::string what = "rectangle " + std::to_string(number);
    if (!value.is_array() || value.size() != 4) {
        place.fail(what + " is not a list of four numbers: x, y, width, height.");
    }
    const auto at = [&](std::size_t index) { return wholeNumber(value[index], place, what); };
    const MaskRectangle rectangle{at(0), at(1), at(2), at(3)};
    if (rectangle.width < 1 || rectangle.height < 1) {
        place.fail(what + " has a width or height below 1.");
    }
    return rectangle;
}

std::vector<MaskRectangle> readRectangles(const Json& value, const Place& place) {
    if (!value.is_array()) {
        place.fail("\"rectangles\" is not a list.");
    }
    std::vector<MaskRectangle> rectangles;
    for (const Json& entry : value) {
        rectangles.push_back(readRectangle(entry, place, rectangles.size() + 1));
    }
    return rectangles;
}

DcmTagKey keyOf(const std::string& keyword, const Place& place) {
    const std::string shown = '"' + formats::printable(keyword) + '"';
    DcmTag tag;
    if (DcmTag::findTagFromName(keyword.c_str(), tag).bad()) {
        place.fail(shown + " in \"match\" is no keyword of the data dictionary.");
    }
    switch (tag.getEVR()) {
    case EVR_SQ:
    case EVR_OB:
    case EVR_OW:
    case EVR_OF:
    case EVR_OD:
    case EVR_OL:
    case EVR_OV:
    case EVR_ox:
    case EVR_px:
    case EVR_UN: place.fail(shown + " in \"match\" has no text to compare with.");
    default: return tag.getXTag();
    }
}

MaskCondition readCondition(const std::string& keyword, const Json& value, const Place& place) {
    MaskCondition condition;
    condition.key = keyOf(keyword, place);
    if (value.is_number()) {
        condition.number = value.get<double>();
    } else if (value.is_string()) {
        condition.pattern = capitals(trimmed(value.get_ref<const std::string&>()));
    } else {
        place.fail('"' + formats::printable(keyword) + "\" in \"match\" is neither a text nor a number.");
    }
    return condition;
}

std::vector<MaskCondition> readMatch(const Json& value, const Place& place) {
    if (!value.is_object()) {
        place.fail("\"match\" is not an object of keywords and values.");
    }
    std::vector<MaskCondition> match;
    for (const auto& [keyword, wanted] : value.items()) {
        match.push_back(readCondition(keyword, wanted, place));
    }
    return match;
}

void readKey(MaskRule& rule, const std::string& key, const Json& value, const Place& place) {
    if (key == "match") {
        rule.match = readMatch(value, place);
    } else if (key == "rectangles") {
        rule.rectangles = readRectangles(value, place);
    } else if (key == "outsideRegions") {
        if (!value.is_boolean()) {
            place.fail("\"outsideRegions\" is neither true nor false.");
        }
        rule.isOutsideRegions = value.get<bool>();
    } else if (key == "fill") {
        if (!value.is_number()) {
            place.fail("\"fill\" is not a number.");
        }
        rule.fill = value.get<double>();
    } else if (key == "burnedIn") {
        // A rule cannot be the reason to say YES: it takes text away.
        if (value != "NO") {
            place.fail("\"burnedIn\" is not \"NO\".");
        }
        rule.claimsNoText = true;
    } else {
        place.fail('"' + formats::printable(key) +
                   "\" is unknown. Rules have match, rectangles, outsideRegions, fill and burnedIn.");
    }
}

MaskRule readRule(const Json& value, const Place& place) {
    if (!value.is_object()) {
        place.fail("it is not an object.");
    }
    MaskRule rule;
    rule.number = place.rule;
    for (const auto& [key, content] : value.items()) {
        readKey(rule, key, content, place);
    }
    if (rule.rectangles.empty() && !rule.isOutsideRegions) {
        place.fail("it blanks nothing: it has neither \"rectangles\" nor \"outsideRegions\": true.");
    }
    return rule;
}

} // namespace

std::vector<MaskRule> readRuleFile(const std::string& text, const std::string& file) {
    Place place{file};
    const Json json = parseJson(text, place);
    if (!json.is_array()) {
        place.fail("it is not a list of rules.");
    }
    std::vector<MaskRule> rules;
    for (const Json& value : json) {
        ++place.rule;
        rules.push_back(readRule(value, place));
    }
    return rules;
}

} // namespace radvex::deidentify
