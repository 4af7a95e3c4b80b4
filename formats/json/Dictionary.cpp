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
    return mVrs.emplace(keyword, (*answer.get<Store>().begin()).cell().utf8String).first->second;
}

bool Dictionary::isFileMetaInformation(const std::string& keyword) {
    if (vrOf(keyword) == "UN") {
        return false;
    }
    const Value numbers = mHost.call("GetGroupElemNumbers", {keyword}); // in decimal
    return std::string((*numbers.get<Store>().begin()).cell().utf8String) == "2";
}

} // namespace radvex::formats
