#include "media/FolderIndex.h"

#include <stdexcept>

#include "files/Errors.h"
#include "formats/json/Text.h"
#include "media/DatasetsModule.h"
#include "media/FolderReading.h"
#include "media/IndexOutput.h"

namespace radvex::media {

namespace {

FolderIndex makeIndex(const std::string& folder, IndexTarget& target, std::size_t jobs,
                      const workers::Progress& progress) {
    void* const start = datasetsEntry(kStartIndexingEntry, "Folders cannot be indexed");
    std::unique_ptr<FolderIndexing> indexing;
    reinterpret_cast<StartIndexingEntry>(start)(folder, target, indexing);
    forEachDescription(
        *indexing, jobs, "Indexing " + folder, progress,
        [&](std::size_t file, const FileDescription& description) { indexing->take(file, description); });
    return indexing->finish();
}

} // namespace

FolderIndex indexFolder(const std::string& folder, const std::string& output, bool mayReplace, std::size_t jobs,
                        const workers::Progress& progress) {
    try {
        IndexOutput target(output, mayReplace);
        return makeIndex(folder, target, jobs, progress);
    } catch (const std::runtime_error& error) {
        throw FileError(error.what());
    }
}

std::pair<FolderIndex, LinkChanges> rehearseIndex(const std::string& folder, const std::string& output, bool mayReplace,
                                                  std::size_t jobs, const workers::Progress& progress) {
    try {
        IndexRehearsal target(output, mayReplace);
        FolderIndex index = makeIndex(folder, target, jobs, progress);
        return {std::move(index), target.changes()};
    } catch (const std::runtime_error& error) {
        throw FileError(error.what());
    }
}

std::vector<std::string> sentencesOf(const LeftOut& leftOut) {
    std::vector<std::string> sentences;
    if (leftOut.skippedCount > 0) {
        sentences.push_back(formats::counted(leftOut.skippedCount, "file is not DICOM and was skipped.",
                                             "files are not DICOM and were skipped."));
    }
    for (const RefusedFile& file : leftOut.refused) {
        sentences.push_back(file.path + " was left out: " + file.reason + ".");
    }
    return sentences;
}

} // namespace radvex::media
