#include "Indexing.h"

#include <stdexcept>

#include "Blocks.h"
#include "Output.h"
#include "OutputFile.h"
#include "Parcel.h"
#include "ProgressBar.h"
#include "StudyModule.h"

namespace radvex::cli {

namespace {

std::string toParcel(const study::FileDescription& file) {
    ParcelWriter parcel;
    parcel.put(file.outcome);
    parcel.put(file.instanceType);
    for (const std::string* text : {&file.reason, &file.patientId, &file.patientName, &file.study, &file.series,
                                    &file.patientRecord, &file.studyRecord, &file.seriesRecord, &file.instanceRecord}) {
        parcel.putText(*text);
    }
    return parcel.take();
}

study::FileDescription descriptionOfParcel(const std::string& bytes) {
    ParcelReader parcel(bytes);
    study::FileDescription file;
    file.outcome = parcel.get<study::FileDescription::Outcome>();
    file.instanceType = parcel.get<int>();
    for (std::string* text : {&file.reason, &file.patientId, &file.patientName, &file.study, &file.series,
                              &file.patientRecord, &file.studyRecord, &file.seriesRecord, &file.instanceRecord}) {
        *text = parcel.getText();
    }
    return file;
}

study::FileDescription descriptionOf(const WorkResult& result) {
    if (!result.end.empty()) {
        return {study::FileDescription::Refused, "the reading process " + result.end};
    }
    if (!result.error.empty()) {
        return {study::FileDescription::Refused, "it cannot be read: " + result.error};
    }
    return descriptionOfParcel(result.output);
}

} // namespace

study::FolderIndex indexFolder(const std::string& folder, const std::string& place, const FileJobs& jobs) {
    const auto indexing = openIndexing(folder, place);
    const std::size_t count = indexing->fileCount();
    ProgressBar bar("Indexing " + folder);
    const auto describe = [&](std::size_t file) { return WorkResult{toParcel(indexing->describe(file)), "", ""}; };
    const auto take = [&](std::size_t file, const WorkResult& result) {
        indexing->take(file, descriptionOf(result));
        bar.show(file + 1, count);
    };
    try {
        forEachInBlocks(count > 1 ? jobs.count() : 0, count, describe, take);
        return indexing->finish();
    } catch (const std::runtime_error& error) {
        throw FileError(error.what());
    }
}

void reportLeftOut(const study::FolderIndex& index) {
    if (index.skippedCount == 1) {
        printError("1 file is not DICOM and was skipped.");
    } else if (index.skippedCount > 1) {
        printError(std::to_string(index.skippedCount) + " files are not DICOM and were skipped.");
    }
    for (const study::RefusedFile& file : index.refused) {
        printError(file.path + " was not indexed: " + file.reason + ".");
    }
}

} // namespace radvex::cli
