#include "view/SeriesReading.h"

#include <algorithm>
#include <iterator>
#include <map>

#include "files/Errors.h"
#include "formats/volumes/Nifti.h"
#include "media/Medium.h"
#include "volume/SeriesReader.h"
#include "volume/VolumeAssembly.h"
#include "volume/VolumeSeries.h"
#include "volume/slices/FileMetadata.h"

namespace radvex::view {

using formats::Json;

namespace {

/// A series that was read, and its volumes.
class Series {
  public:
    Series(velmora::Host& host, const std::vector<std::string>& files, volume::SampleKind kind, std::size_t jobs)
        : mMedium(media::Medium::SingleFile{files.empty() ? "" : files.front()}),
          mAll{volume::SeriesFiles{.files = files}},
          mReader(host, mMedium, mAll, kind, {}, jobs),
          mSlices(mReader.read(0, [] {})),
          mVolumes(assemble()) {}

    const volume::SeriesSlices& slices() const { return mSlices; }
    const volume::SeriesVolumes& volumes() const { return mVolumes; }

  private:
    volume::SeriesVolumes assemble() {
        try {
            return volume::assembleVolumes(mSlices, {}, true);
        } catch (const formats::VolumeError&) { // they do not lie in the same places
            return volume::assembleVolumes(mSlices, {}, false);
        }
    }

    media::Medium mMedium;
    std::vector<volume::SeriesFiles> mAll;
    volume::SeriesReader mReader;
    volume::SeriesSlices mSlices;
    volume::SeriesVolumes mVolumes;
};

Json describeSlice(const volume::SliceRecord& slice, std::size_t file) {
    Json json{{"file", file},
              {"frame", slice.frame - 1},
              {"rows", slice.rows},
              {"columns", slice.columns},
              {"colour", slice.isColour},
              {"unit", slice.unit}};
    if (slice.instanceNumber) {
        json["instance"] = *slice.instanceNumber;
    }
    if (slice.position) {
        json["position"] = *slice.position;
    }
    if (slice.orientation) {
        json["orientation"] = {slice.orientation->alongColumns, slice.orientation->alongRows};
    }
    if (slice.pixelSpacing) {
        json["spacing"] = {slice.pixelSpacing->betweenRows, slice.pixelSpacing->betweenColumns};
    }
    return json;
}

/// The slices as volumes refer to them, and behind them one of no size for each file that gave none: the page says why.
Json describeSlices(const std::vector<volume::SliceRecord>& slices, const std::vector<std::string>& files) {
    std::map<std::string, std::size_t> missing;
    for (const std::string& file : files) {
        missing.emplace(file, missing.size());
    }
    const std::map<std::string, std::size_t> indices = missing;
    Json all = Json::array();
    for (const volume::SliceRecord& slice : slices) {
        all.push_back(describeSlice(slice, indices.at(slice.file)));
        missing.erase(slice.file);
    }
    for (const auto& [file, index] : missing) {
        all.push_back(describeSlice({}, index));
    }
    return all;
}

/// What the files say of themselves, each alone.
std::vector<volume::SliceRecord> slicesAlone(velmora::Host& host, const std::vector<std::string>& files) {
    constexpr vint kMostFrames = 10000; // a file may promise more than there are
    std::vector<volume::SliceRecord> slices;
    for (const std::string& file : files) {
        try {
            const auto metadata = volume::FileMetadata::ofAttributes(host, file);
            if (metadata.rows() > 0 && metadata.columns() > 0) {
                std::ranges::move(metadata.slices(std::min(metadata.promisedFrames(), kMostFrames)),
                                  std::back_inserter(slices));
            }
        } catch (const velmora::LibraryError&) { // said when its picture is asked for
        } catch (const Error&) {
        }
    }
    return slices;
}

Json describeVolumes(const volume::SeriesVolumes& all) {
    Json volumes = Json::array();
    for (const volume::Volume& volume : all.volumes) {
        volumes.push_back({{"label", volume.label},
                           {"order", volume.slices},
                           {"shape", volume.header.shape()},
                           {"geometry", volume::describeGeometry(volume.header.geometry)},
                           {"tiltDegrees", volume.tiltDegrees ? Json(*volume.tiltDegrees) : Json()},
                           {"findings", volume::describeFindings(volume.findings)}});
    }
    return volumes;
}

std::size_t bytesOf(const volume::Volume& volume) {
    std::size_t bytes = 0;
    for (const formats::SliceBytes slice : volume.bytes) {
        bytes += slice.size();
    }
    return bytes;
}

Message withoutVolumes(const std::vector<volume::SliceRecord>& slices, const std::vector<std::string>& files,
                       const std::string& why) {
    const Json finding{{"kind", "noVolume"}, {"error", true}, {"sentence", why}, {"files", Json::array()}};
    return {
        {{"slices", describeSlices(slices, files)}, {"volumes", Json::array()}, {"findings", Json::array({finding})}},
        ""};
}

} // namespace

Message describeSeries(velmora::Host& host, const std::vector<std::string>& files, std::size_t jobs) {
    try {
        const Series series(host, files, volume::SampleKind::none, jobs);
        return {{{"slices", describeSlices(series.slices().slices, files)},
                 {"volumes", describeVolumes(series.volumes())},
                 {"findings", volume::describeFindings(series.volumes().findings)}},
                ""};
    } catch (const volume::ReaderEndedError&) { // nothing of it may be read by this process
        return withoutVolumes({}, files, "Every file of the series ends the process that reads it.");
    } catch (const formats::VolumeError& error) {
        return withoutVolumes(slicesAlone(host, files), files, error.what());
    }
}

Message makeVolume(velmora::Host& host, const std::vector<std::string>& files, std::size_t volume, std::size_t most,
                   std::size_t jobs) {
    const Series series(host, files, volume::SampleKind::modality, jobs);
    if (volume >= series.volumes().volumes.size()) {
        throw Error("The series has no such volume; its files may have changed. Load the page again.");
    }
    const volume::Volume& chosen = series.volumes().volumes[volume];
    const std::size_t bytes = bytesOf(chosen);
    if (bytes > most) {
        constexpr std::size_t kMebibyte = 1 << 20;
        throw Error("The volume has " + std::to_string(bytes / kMebibyte) + " MiB, and the page shows " +
                    std::to_string(most / kMebibyte) + " MiB at most. radvex volume makes a file of it.");
    }
    Message answer{{{"unit", chosen.header.unit}, {"shape", chosen.header.shape()}, {"seconds", chosen.seconds}},
                   formats::niftiHeader(chosen.header)};
    answer.body.reserve(answer.body.size() + bytes);
    for (const formats::SliceBytes slice : chosen.bytes) {
        answer.body.append(reinterpret_cast<const char*>(slice.data()), slice.size());
    }
    return answer;
}

} // namespace radvex::view
