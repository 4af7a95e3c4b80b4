#include "view/Reading.h"

#include <sys/stat.h>

#include <filesystem>
#include <string>
#include <vector>

#include "files/Errors.h"
#include "media/Medium.h"
#include "media/MediumJson.h"
#include "media/MediumTree.h"
#include "media/scan/FileDiagnosis.h"
#include "view/ElementTable.h"
#include "view/FrameReader.h"
#include "view/SeriesReading.h"
#include "view/Wire.h"

namespace radvex::view {

using formats::Json;

namespace {

/// A path in a message, whose bytes need not be UTF-8.
std::string pathIn(const Json& json) {
    return json.is_string() ? json.get<std::string>() : formats::fromJson(json).get<std::string>();
}

std::vector<std::string> pathsIn(const Json& json) {
    std::vector<std::string> paths;
    for (const Json& path : json) {
        paths.push_back(pathIn(path));
    }
    return paths;
}

std::uintmax_t sizeOf(const std::vector<std::string>& files) {
    std::uintmax_t bytes = 0;
    for (const std::string& file : files) {
        std::error_code error;
        const std::uintmax_t size = std::filesystem::file_size(file, error);
        bytes += error ? 0 : size;
    }
    return bytes;
}

bool isSingleFile(const std::string& path) {
    std::error_code error;
    return !path.ends_with("DICOMDIR") && !path.ends_with("dicomdir") && std::filesystem::is_regular_file(path, error);
}

/// A file alone as a tree. @throws LibraryError  it cannot be read
std::vector<media::MediumPatient> treeOfFile(velmora::Host& host, const std::string& path) {
    const velmora::Value found = host.call(
        "ReadMetadata",
        {path,
         velmora::Store::ofTexts({"PatientID", "PatientName", "StudyInstanceUID", "StudyDate", "StudyDescription",
                                  "SeriesInstanceUID", "SeriesNumber", "Modality", "SeriesDescription"}),
         false});
    const velmora::StoreView file = found.get<velmora::Store>().view();
    const auto text = [&](const char* keyword) { return std::string(file.text(keyword)); };
    media::MediumSeries series;
    series.uid = series.key = text("SeriesInstanceUID");
    series.number = text("SeriesNumber");
    series.modality = text("Modality");
    series.description = text("SeriesDescription");
    series.files = {path};
    media::MediumStudy study;
    study.uid = study.key = text("StudyInstanceUID");
    study.date = text("StudyDate");
    study.description = text("StudyDescription");
    study.series = {series};
    media::MediumPatient patient;
    patient.id = patient.key = text("PatientID");
    patient.name = text("PatientName");
    patient.studies = {study};
    return {patient};
}

/// Changes when the file does. Empty if there is none.
std::string stateOf(const std::string& path) {
    struct stat status {};
    if (::stat(path.c_str(), &status) != 0) {
        return "";
    }
    return std::to_string(status.st_ino) + ' ' + std::to_string(status.st_size) + ' ' +
           std::to_string(status.st_mtim.tv_sec) + ' ' + std::to_string(status.st_mtim.tv_nsec);
}

class Reading {
  public:
    Reading(velmora::Host& host, std::size_t jobs) : mHost(host), mJobs(jobs), mFrames(host) {}

    /// @throws Error, LibraryError
    Message answer(const Json& request) {
        const auto job = request.at("job").get<std::string>();
        if (job == "tree") {
            return tree(pathIn(request.at("path")), request.at("series").get<std::string>());
        }
        if (job == "series") {
            return describeSeries(mHost, pathsIn(request.at("files")), mJobs);
        }
        if (job == "volume") {
            return makeVolume(mHost, pathsIn(request.at("files")), request.at("volume").get<std::size_t>(),
                              request.at("most").get<std::size_t>(), mJobs);
        }
        const std::string file = pathIn(request.at("file"));
        turnTo(file);
        if (job == "tags") {
            return listElements(mHost, file);
        }
        const auto frame = request.at("frame").get<std::size_t>();
        if (job == "values") {
            return mFrames.values(file, frame);
        }
        if (job == "overlays") {
            return mFrames.overlays(file, frame);
        }
        if (job == "preview") {
            return mFrames.preview(file, frame);
        }
        throw Error("'" + job + "' is no request.");
    }

  private:
    /// The library keeps what it has opened. Only the last file stays open, as long as it does not change.
    void turnTo(const std::string& file) {
        const std::string state = stateOf(file);
        if (file == mFile && state == mState) {
            return;
        }
        mFrames.forget();
        try {
            mHost.call("CloseReader", {mFile});
        } catch (const velmora::LibraryError&) { // it was never opened
        }
        mFile = file;
        mState = state;
    }

    Message tree(const std::string& path, const std::string& series) const {
        Json tree = treeOf(path, series);
        for (Json& patient : tree["patients"]) {
            for (Json& study : patient["studies"]) {
                for (Json& each : study["series"]) {
                    each["bytes"] = sizeOf(pathsIn(each["files"]));
                }
            }
        }
        return {std::move(tree), ""};
    }

    Json treeOf(const std::string& path, const std::string& series) const {
        if (isSingleFile(path)) {
            return media::describeTree(treeOfFile(mHost, path), {});
        }
        const media::Medium medium(path, mJobs);
        return media::describeTree(media::listMedium(mHost, medium, {.series = series}, media::Records::all, mJobs),
                                   medium.listing().leftOut);
    }

    velmora::Host& mHost;
    std::size_t mJobs;
    FrameReader mFrames;
    std::string mFile{}; ///< the last one
    std::string mState{};
};

/// The answer, or the sentence that says why there is none.
Message attempt(Reading& reading, const Json& request) {
    try {
        return reading.answer(request);
    } catch (const velmora::LibraryError& error) {
        const char* const named = request.contains("file") ? "file" : "path";
        const std::string file = request.contains(named) ? pathIn(request[named]) : "";
        return {{{"error", file.empty() ? error.what() : media::explain(error, file, file)}}, ""};
    } catch (const std::exception& error) {
        return {{{"error", error.what()}}, ""};
    }
}

} // namespace

void answerRequests(velmora::Host& host, int socket, std::size_t jobs) {
    Reading reading(host, jobs);
    while (const auto request = receiveMessage(socket)) {
        sendMessage(socket, attempt(reading, request->json));
    }
}

} // namespace radvex::view
