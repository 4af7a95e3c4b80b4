#include "deidentify/pixels/MaskRules.h"

#include <algorithm>
#include <charconv>
#include <string_view>

#include "deidentify/pixels/AttributeText.h"
#include "deidentify/pixels/RuleFile.h"

namespace radvex::deidentify {

namespace {

/// Whether a text is what a pattern says, in which * stands for any text. Takes no more steps than the product of both
/// lengths: it only ever goes back to the last *.
bool isLike(std::string_view text, std::string_view pattern) {
    std::size_t inText = 0;
    std::size_t inPattern = 0;
    std::size_t behindStar = std::string_view::npos;
    std::size_t resume = 0;
    while (inText < text.size()) {
        if (inPattern < pattern.size() && pattern[inPattern] == '*') {
            behindStar = ++inPattern;
            resume = inText;
        } else if (inPattern < pattern.size() && pattern[inPattern] == text[inText]) {
            ++inPattern;
            ++inText;
        } else if (behindStar != std::string_view::npos) {
            inPattern = behindStar;
            inText = ++resume;
        } else {
            return false;
        }
    }
    return pattern.find_first_not_of('*', inPattern) == std::string_view::npos;
}

bool isNumber(std::string_view text, double wanted) {
    double number = 0;
    text.remove_prefix(text.starts_with('+') ? 1 : 0);
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    return error == std::errc() && end == text.data() + text.size() && number == wanted;
}

bool holds(const MaskCondition& condition, DcmItem& dataset) {
    const std::vector<std::string> values = capitalValues(dataset, condition.key);
    const auto isWanted = [&](const std::string& value) {
        return condition.number ? isNumber(value, *condition.number) : isLike(value, condition.pattern);
    };
    if (std::any_of(values.begin(), values.end(), isWanted)) {
        return true;
    }
    return !condition.number && isLike(capitals(wholeText(dataset, condition.key)), condition.pattern);
}

} // namespace

MaskRules MaskRules::parse(const std::string& text, const std::string& file) {
    MaskRules rules;
    rules.mRules = readRuleFile(text, file);
    return rules;
}

std::vector<const MaskRule*> MaskRules::matching(DcmItem& dataset) const {
    std::vector<const MaskRule*> matching;
    for (const MaskRule& rule : mRules) {
        const bool isMatch = std::all_of(rule.match.begin(), rule.match.end(),
                                         [&](const MaskCondition& condition) { return holds(condition, dataset); });
        if (isMatch) {
            matching.push_back(&rule);
        }
    }
    return matching;
}

} // namespace radvex::deidentify
