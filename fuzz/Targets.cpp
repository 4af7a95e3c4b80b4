#include "fuzz/Targets.h"

#include <stdexcept>

namespace radvex::fuzz {

const std::vector<Target>& targets() {
    static const std::vector<Target> all{
        {"metadata", runMetadata}, {"pixels", runPixels}, {"tables", runTables},       {"overlays", runOverlays},
        {"medium", runMedium},     {"write", runWrite},   {"anonymize", runAnonymize}, {"guard", runGuard},
        {"tether", runTether},     {"call", runCall},     {"jpeg2000", runJpeg2000},
    };
    return all;
}

const Target& targetNamed(const std::string& name) {
    for (const Target& target : targets()) {
        if (target.name == name) {
            return target;
        }
    }
    throw std::invalid_argument("There is no target '" + name + "'.");
}

} // namespace radvex::fuzz
