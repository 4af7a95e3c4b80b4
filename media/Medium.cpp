#include "media/Medium.h"

#include <filesystem>

#include "files/Errors.h"
#include "media/scan/FileDiagnosis.h"
#include "media/scan/FileStart.h"

namespace radvex::media {

namespace {

namespace fs = std::filesystem;

bool isNamedAsDicomdir(const std::string& path) { return path.ends_with("DICOMDIR") || path.ends_with("dicomdir"); }

/// Path of the DICOMDIR in a folder; empty if there is none.
std::string dicomdirIn(const std::string& folder) {
    for (const char* name : {"DICOMDIR", "dicomdir"}) {
        const fs::path path = fs::path(folder) / name;
        std::error_code error;
        if (fs::is_regular_file(path, error)) {
            return path.string();
        }
    }
    return "";
}

std::string whyEmpty(const std::string& folder, const LeftOut& leftOut) {
    std::string sentence = folder + " holds no DICOM file that can be listed (" + std::to_string(leftOut.skippedCount) +
                           " skipped, " + std::to_string(leftOut.refused.size()) + " refused";
    if (!leftOut.refused.empty()) {
        const RefusedFile& first = leftOut.refused.front();
        sentence += "; " + first.path + ": " + first.reason;
    }
    return sentence + ").";
}

} // namespace

Medium::Medium(const std::string& path, std::size_t jobs, const workers::Progress& progress) : mPath(path) {
    std::error_code error;
    const fs::file_status status = fs::status(path, error);
    if (status.type() == fs::file_type::directory) {
        mDicomdir = dicomdirIn(path);
        if (mDicomdir.empty()) {
            mListing = listFolder(mPath, jobs, progress);
            if (mListing.patients.empty()) {
                throw FileError(whyEmpty(mPath, mListing.leftOut));
            }
        }
    } else if (isNamedAsDicomdir(path)) {
        mDicomdir = path; // if anything is wrong with it, the library says so
    } else if (status.type() == fs::file_type::not_found || status.type() == fs::file_type::none) {
        throw FileError(path + ' ' + whatIsWrong(path) + '.');
    } else {
        throw UsageError(path +
                         (FileStart(path).isDirectory()
                              ? " is not read as a DICOMDIR, because its name does not end in DICOMDIR. Give the "
                                "folder of the files, or rename it to DICOMDIR."
                              : " is a single file; a folder of files or a DICOMDIR is expected here."));
    }
}

} // namespace radvex::media
