#include "Module.h"

extern "C" [[gnu::visibility("default")]] void radvexIndexFolder(const std::string& folder, const std::string& place,
                                                                 const radvex::study::Progress& progress,
                                                                 radvex::study::FolderIndex& index) {
    index = radvex::study::indexFolder(folder, place, progress);
}

static_assert(std::is_same_v<decltype(&radvexIndexFolder), radvex::study::IndexFolderEntry>);
