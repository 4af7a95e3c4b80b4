#include "deidentify/profile/ProfileOptions.h"

#include <algorithm>

namespace radvex::deidentify {

const std::array<ProfileOptionNames, kProfileOptionCount>& profileOptionNames() {
    using enum ProfileOption;
    static constexpr std::array<ProfileOptionNames, kProfileOptionCount> names{{
        {SafePrivate, "safe-private", "retain safe private", "113111", "Retain Safe Private Option"},
        {Uids, "uids", "retain UIDs", "113110", "Retain UIDs Option"},
        {Device, "device", "retain device identity", "113109", "Retain Device Identity Option"},
        {Institution, "institution", "retain institution identity", "113112", "Retain Institution Identity Option"},
        {PatientCharacteristics, "patient", "retain patient characteristics", "113108",
         "Retain Patient Characteristics Option"},
        {FullDates, "dates", "retain full dates", "113106",
         "Retain Longitudinal Temporal Information Full Dates Option"},
        {ModifiedDates, "shifted-dates", "modified dates", "113107",
         "Retain Longitudinal Temporal Information Modified Dates Option"},
        {Descriptors, "descriptors", "clean descriptors", "113105", "Clean Descriptors Option"},
        {StructuredContent, "structured-content", "clean structured content", "113104",
         "Clean Structured Content Option"},
        {Graphics, "graphics", "clean graphics", "113103", "Clean Graphics Option"},
    }};
    return names;
}

const ProfileOptionNames& namesOf(ProfileOption option) {
    return profileOptionNames()[static_cast<std::size_t>(option)];
}

std::string ProfileOptions::describe(std::string_view separator) const {
    std::string text = "basic profile " + std::string(kProfileEdition);
    for (const ProfileOptionNames& names : profileOptionNames()) {
        if (has(names.option)) {
            text.append(separator).append(names.column);
        }
    }
    return text;
}

std::vector<std::string> splitList(const std::string& list) {
    std::vector<std::string> words;
    for (std::size_t begin = 0; begin <= list.size();) {
        const std::size_t end = std::min(list.find(',', begin), list.size());
        words.push_back(list.substr(begin, end - begin));
        begin = end + 1;
    }
    return words;
}

std::pair<std::vector<ProfileOption>, std::string> parseProfileOptions(const std::vector<std::string>& words,
                                                                       const std::vector<ProfileOption>& allowed) {
    std::vector<ProfileOption> options;
    for (const std::string& list : words) {
        for (const std::string& word : splitList(list)) {
            const auto option =
                std::ranges::find_if(allowed, [&](ProfileOption one) { return namesOf(one).word == word; });
            if (option == allowed.end()) {
                return {{}, word.empty() ? "(nothing)" : word};
            }
            options.push_back(*option);
        }
    }
    return {options, ""};
}

} // namespace radvex::deidentify
