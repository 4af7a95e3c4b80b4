#include "formats/json/Dictionary.h"

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

bool Dictionary::isFileMetaInformation(const std::string& keyword) {
    return vrOf(keyword) != "UN" && tagOf(keyword).group == 2;
}

} // namespace radvex::formats
