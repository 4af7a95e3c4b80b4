#include "Module.h"

extern "C" [[gnu::visibility("default")]] void
radvexStartIndexing(const std::string& folder, const std::string& place,
                    std::unique_ptr<radvex::study::FolderIndexing>& indexing) {
    indexing = radvex::study::startIndexing(folder, place);
}

static_assert(std::is_same_v<decltype(&radvexStartIndexing), radvex::study::StartIndexingEntry>);

extern "C" [[gnu::visibility("default")]] void
radvexStartAnonymization(const radvex::study::AnonymizationSettings& settings,
                         std::unique_ptr<radvex::study::Anonymization>& run) {
    run = radvex::study::startAnonymization(settings);
}

static_assert(std::is_same_v<decltype(&radvexStartAnonymization), radvex::study::StartAnonymizationEntry>);
