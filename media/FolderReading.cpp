#include "media/FolderReading.h"

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

void forEachDescription(FolderReading& reading, std::size_t jobs, const std::string& what,
                        const workers::Progress& progress,
                        const std::function<void(std::size_t file, const FileDescription& description)>& take) {
    const std::size_t count = reading.fileCount();
    const auto describe = [&](std::size_t file) { return workers::toParcel(reading.describe(file)); };
    workers::forEachInBlocks(count > 1 ? jobs : 0, count, describe,
                             [&](std::size_t file, const workers::WorkResult& result) {
                                 take(file, descriptionOf(result));
                                 progress(what, file + 1, count);
                             });
}

} // namespace radvex::media
