#include "view/Catalogue.h"

namespace radvex::view {

using formats::Json;

Catalogue::Catalogue(const Json& tree) : mShown(tree) {
    for (Json& patient : mShown["patients"]) {
        for (Json& study : patient["studies"]) {
            for (Json& series : study["series"]) {
                mFiles.push_back(series["files"]);
                series["id"] = mFiles.size() - 1;
                series["files"] = mFiles.back().size();
            }
        }
    }
    // Files that are left out are told by their number and reasons.
    Json reasons = Json::array();
    for (const Json& refused : mShown["leftOut"]["refused"]) {
        reasons.push_back(refused["reason"]);
    }
    mShown["leftOut"]["refused"] = std::move(reasons);
}

const Json* Catalogue::filesOf(std::size_t series) const { return series < mFiles.size() ? &mFiles[series] : nullptr; }

const Json* Catalogue::fileOf(std::size_t series, std::size_t file) const {
    const Json* const files = filesOf(series);
    return files != nullptr && file < files->size() ? &(*files)[file] : nullptr;
}

} // namespace radvex::view
