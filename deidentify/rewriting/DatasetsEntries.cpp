// The entries of radvexDatasets.so.

#include "deidentify/Anonymization.h"
#include "deidentify/FileCheck.h"
#include "media/dicomdir/FolderIndexer.h"
#include "media/elements/ElementReader.h"
#include "media/elements/KnownAttributes.h"

using radvex::deidentify::Anonymization;
using radvex::media::FolderIndexing;

extern "C" [[gnu::visibility("default")]] void radvexStartIndexing(const std::string& folder, const std::string& output,
                                                                   std::unique_ptr<FolderIndexing>& indexing) {
    indexing = radvex::media::startIndexing(folder, output);
}

static_assert(std::is_same_v<decltype(&radvexStartIndexing), radvex::media::StartIndexingEntry>);

extern "C" [[gnu::visibility("default")]] void
radvexStartAnonymization(const radvex::deidentify::AnonymizationSettings& settings,
                         std::unique_ptr<Anonymization>& run) {
    run = radvex::deidentify::startAnonymization(settings);
}

static_assert(std::is_same_v<decltype(&radvexStartAnonymization), radvex::deidentify::StartAnonymizationEntry>);

extern "C" [[gnu::visibility("default")]] void radvexStartCheck(const radvex::deidentify::CheckSettings& settings,
                                                                std::unique_ptr<radvex::deidentify::FileCheck>& check) {
    check = radvex::deidentify::startCheck(settings);
}

static_assert(std::is_same_v<decltype(&radvexStartCheck), radvex::deidentify::StartCheckEntry>);

extern "C" [[gnu::visibility("default")]] void radvexListElements(const std::string& path,
                                                                  const radvex::media::ElementRequest& request,
                                                                  std::vector<radvex::media::Element>& elements) {
    elements = radvex::media::readElements(path, request);
}

static_assert(std::is_same_v<decltype(&radvexListElements), radvex::media::ListElementsEntry>);

extern "C" [[gnu::visibility("default")]] void
radvexListAttributes(std::vector<radvex::media::KnownAttribute>& attributes) {
    attributes = radvex::media::listKnownAttributes();
}

static_assert(std::is_same_v<decltype(&radvexListAttributes), radvex::media::ListAttributesEntry>);
