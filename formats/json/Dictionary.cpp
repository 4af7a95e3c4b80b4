#include "formats/json/Dictionary.h"

#include <string_view>

namespace radvex::formats {

using velmora::Store;
using velmora::Value;

const std::string& Dictionary::vrOf(const std::string& keyword) {
    const auto known = mVrs.find(keyword);
    if (known != mVrs.end()) {
        return known->second;
    }
    const Value answer = mHost.call("ReadVRName", {Store::ofTexts({keyword})});
    return mVrs.emplace(keyword, answer.get<Store>().view().at(0).text()).first->second;
}

Dictionary::Tag Dictionary::tagOf(const std::string& keyword) {
    const Value answer = mHost.call("GetGroupElemNumbers", {keyword});
    const auto numberAt = [&](std::size_t index) { // in decimal
        return static_cast<std::uint16_t>(std::stoi(std::string(answer.get<Store>().view().at(index).text())));
    };
    return {numberAt(0), numberAt(1)};
}

const std::string& Dictionary::keywordOf(const std::string& tag) {
    const auto known = mKeywords.find(tag);
    if (known != mKeywords.end()) {
        return known->second;
    }
    std::string keyword = mHost.call("GetKeyword", {tag.substr(0, 4), tag.substr(4)}).get<std::string>();
    const bool isPrivate = std::string_view("13579BbDdFf").find(tag[3]) != std::string_view::npos;
    if (isPrivate || vrOf(keyword) == "UN") {
        keyword.clear();
    }
    const std::string retired = "RETIRED_";
    return mKeywords.emplace(tag, keyword.starts_with(retired) ? keyword.substr(retired.size()) : keyword)
        .first->second;
}

bool Dictionary::isFileMetaInformation(const std::string& keyword) { return groupOf(keyword) == 2; }

bool Dictionary::isPrivate(const std::string& keyword) { return groupOf(keyword) % 2 == 1; }

std::uint16_t Dictionary::groupOf(const std::string& keyword) {
    try {
        return tagOf(keyword).group;
    } catch (const velmora::LibraryError&) {
        return 0;
    }
}

} // namespace radvex::formats
