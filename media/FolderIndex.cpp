#include "media/FolderIndex.h"

#include <stdexcept>

#include "files/Errors.h"
#include "formats/json/Text.h"
#include "media/DatasetsModule.h"
#include "media/FolderIndexing.h"
#include "workers/Parcel.h"

namespace radvex::media {

namespace {

FileDescription descriptionOf(const workers::WorkResult& result) {
    if (result.isDone()) {
        return workers::fromParcel<FileDescription>(result.output);
    }
    const bool hasEnded = !result.end.empty();
    return {FileDescription::Refused,
            hasEnded ? "the reading process " + result.end : "it cannot be read: " + result.error};
}

} // namespace

FolderIndex indexFolder(const std::string& folder, const std::string& output, std::size_t jobs,
                        const workers::Progress& progress) {
    try {
        std::unique_ptr<FolderIndexing> indexing;
        void* const start = datasetsEntry(kStartIndexingEntry, "Folders cannot be indexed");
        reinterpret_cast<StartIndexingEntry>(start)(folder, output, indexing);
        const std::size_t count = indexing->fileCount();
        const auto describe = [&](std::size_t file) { return workers::toParcel(indexing->describe(file)); };
        workers::forEachInBlocks(count > 1 ? jobs : 0, count, describe,
                                 [&](std::size_t file, const workers::WorkResult& result) {
                                     indexing->take(file, descriptionOf(result));
                                     progress("Indexing " + folder, file + 1, count);
                                 });
        return indexing->finish();
    } catch (const std::runtime_error& error) {
        throw FileError(error.what());
    }
}

std::vector<std::string> whatIsLeftOut(const FolderIndex& index) {
    std::vector<std::string> sentences;
    if (index.skippedCount > 0) {
        sentences.push_back(formats::counted(index.skippedCount, "file is not DICOM and was skipped.",
                                             "files are not DICOM and were skipped."));
    }
    for (const RefusedFile& file : index.refused) {
        sentences.push_back(file.path + " was not indexed: " + file.reason + ".");
    }
    return sentences;
}

} // namespace radvex::media
