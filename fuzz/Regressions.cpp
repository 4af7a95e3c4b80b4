#include "Regressions.h"

#include <map>

namespace radvex::fuzz {

std::vector<SeedFile> regressionsOf(const std::string& target) {
    static const std::map<std::string, std::vector<SeedFile>> all{};
    const auto found = all.find(target);
    return found == all.end() ? std::vector<SeedFile>{} : found->second;
}

} // namespace radvex::fuzz
