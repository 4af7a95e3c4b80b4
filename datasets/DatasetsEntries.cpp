// The entries of radvexDatasets.so.

#include "compare/AttributeComparison.h"
#include "deidentify/Anonymization.h"
#include "deidentify/FileCheck.h"
#include "media/WrittenTexts.h"
#include "media/dicomdir/FolderIndexer.h"
#include "media/elements/ElementReader.h"
#include "media/elements/KnownAttributes.h"
#include "media/elements/WrittenText.h"

using radvex::deidentify::Anonymization;
using radvex::media::FolderIndexing;
using radvex::media::FolderReading;
using radvex::media::IndexTarget;

extern "C" [[gnu::visibility("default")]] void radvexStartListing(const std::string& folder,
                                                                  std::unique_ptr<FolderReading>& reading) {
    reading = radvex::media::startListing(folder);
}

static_assert(std::is_same_v<decltype(&radvexStartListing), radvex::media::StartListingEntry>);

extern "C" [[gnu::visibility("default")]] void radvexStartIndexing(const std::string& folder, IndexTarget& target,
                                                                   std::unique_ptr<FolderIndexing>& indexing) {
    indexing = radvex::media::startIndexing(folder, target);
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

extern "C" [[gnu::visibility("default")]] void
radvexCompareAttributes(const std::string& first, const std::string& second,
                        const radvex::compare::AttributeSettings& settings,
                        radvex::compare::AttributeComparison& result) {
    result = radvex::compare::compareAttributes(first, second, settings);
}

static_assert(std::is_same_v<decltype(&radvexCompareAttributes), radvex::compare::CompareAttributesEntry>);

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

extern "C" [[gnu::visibility("default")]] void radvexEncodeText(const std::string& text, const std::string& vr,
                                                                const std::string& characterSet,
                                                                std::optional<std::string>& encoded) {
    encoded = radvex::media::encodedText(text, vr, characterSet);
}

static_assert(std::is_same_v<decltype(&radvexEncodeText), radvex::media::ConvertTextEntry>);

extern "C" [[gnu::visibility("default")]] void radvexDecodeText(const std::string& bytes, const std::string& vr,
                                                                const std::string& characterSet,
                                                                std::optional<std::string>& decoded) {
    decoded = radvex::media::decodedText(bytes, vr, characterSet);
}

static_assert(std::is_same_v<decltype(&radvexDecodeText), radvex::media::ConvertTextEntry>);

extern "C" [[gnu::visibility("default")]] void radvexReplaceText(const std::string& bytes, const std::string& vr,
                                                                 const std::string& characterSet,
                                                                 std::optional<std::string>& replaced) {
    replaced = radvex::media::replacedText(bytes, vr, characterSet);
}

static_assert(std::is_same_v<decltype(&radvexReplaceText), radvex::media::ConvertTextEntry>);
