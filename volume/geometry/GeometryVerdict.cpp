#include "volume/geometry/GeometryVerdict.h"

#include <algorithm>
#include <iterator>

namespace radvex::volume {

const char* findingName(FindingKind kind) {
    return std::ranges::find(kFindingNames, kind, &std::pair<FindingKind, const char*>::first)->second;
}

bool hasErrors(const std::vector<Finding>& findings) { return std::ranges::any_of(findings, &Finding::isError); }

bool Verdict::has(FindingKind kind) const {
    return std::ranges::find(findings, kind, &Finding::kind) != findings.end();
}

std::string namesOf(const std::vector<std::string>& files) {
    constexpr std::size_t kShown = 6;
    std::string text;
    for (std::size_t index = 0; index < std::min(files.size(), kShown); ++index) {
        text += (index == 0 ? "" : ", ") + files[index];
    }
    return files.size() > kShown ? text + " and " + std::to_string(files.size() - kShown) + " more" : text;
}

} // namespace radvex::volume
