#include "deidentify/ReplacementRules.h"

#include <algorithm>

#include "files/InputFile.h"
#include "formats/json/Dictionary.h"
#include "formats/json/LosslessJson.h"
#include "formats/json/Text.h"

namespace radvex::deidentify {

using velmora::Store;

void ReplacementRules::set(const std::string& keyword, const std::string& value) {
    const auto known = std::ranges::find(mRules, keyword, &ReplacementRule::keyword);
    if (known != mRules.end()) {
        known->value = value;
    } else {
        mRules.push_back({keyword, value});
    }
}

void ReplacementRules::read(const std::string& path) {
    formats::Json rules;
    try {
        rules = formats::parseJson(files::readInputText(path));
    } catch (const formats::JsonError& error) {
        throw formats::JsonError(path + ": " + error.what());
    }
    if (!rules.is_object()) {
        throw formats::JsonError(path +
                                 ": an object of keywords and new values is expected, such as {\"PatientName\":\"\"}.");
    }
    for (const auto& [keyword, value] : rules.items()) {
        if (!value.is_string() && !value.is_number()) {
            throw formats::JsonError(path + ": the new value of " + formats::printable(keyword) +
                                     " has to be a text or a number.");
        }
        set(keyword, value.is_string() ? value.get<std::string>() : value.dump());
    }
}

Store ReplacementRules::toStore() const {
    Store store = Store::empty();
    for (const ReplacementRule& rule : mRules) {
        store.add(rule.keyword, rule.value);
    }
    return store;
}

std::vector<GivenValue> ReplacementRules::resolve(velmora::Host& host) const {
    std::vector<GivenValue> given;
    formats::Dictionary dictionary(host);
    for (const ReplacementRule& rule : mRules) {
        const auto tag = dictionary.tagOf(rule.keyword);
        given.push_back({tag.group, tag.element, rule.value});
    }
    return given;
}

} // namespace radvex::deidentify
