#include <string>
#include <utility>
#include <vector>

#include "files/Errors.h"
#include "media/Medium.h"
#include "python/worker/FileList.h"
#include "python/worker/Jobs.h"
#include "volume/SeriesReader.h"
#include "volume/VolumeAssembly.h"
#include "volume/VolumeDescription.h"
#include "volume/VolumeSeries.h"

namespace radvex::python {

using formats::Json;

namespace {

/// @throws UsageError  the counts are not those of the list
std::vector<volume::SeriesFiles> seriesOfList(const Request& request) {
    std::vector<std::string> files = pathsIn(request.list);
    std::vector<volume::SeriesFiles> all;
    auto next = files.begin();
    for (const std::size_t count : request.counts) {
        if (count == 0 || count > static_cast<std::size_t>(files.end() - next)) {
            throw UsageError("The list of files holds other series than the request.");
        }
        const auto end = next + static_cast<std::ptrdiff_t>(count);
        volume::SeriesFiles& series = all.emplace_back();
        series.files.assign(std::make_move_iterator(next), std::make_move_iterator(end));
        next = end;
    }
    return all;
}

Json volumeOf(const volume::Volume& volume) {
    const formats::VolumeHeader& header = volume.header;
    return {{"label", volume.label},
            {"shape", header.shape()},
            {"unit", header.unit.empty() ? Json() : Json(header.unit)},
            {"geometry", volume::describeGeometry(header.geometry)},
            {"tiltDegrees", volume.tiltDegrees ? Json(*volume.tiltDegrees) : Json()},
            {"findings", volume::describeFindings(volume.findings)}};
}

/// Names of files say who they are about, and there may be thousands.
Json withoutFiles(Json findings) {
    for (Json& finding : findings) {
        finding["files"] = finding["files"].size();
    }
    return findings;
}

Json verdictOn(volume::SeriesReader& reader, std::size_t index, const volume::SeriesFiles& series) {
    volume::SeriesSlices slices = reader.read(index, [] {});
    if (series.files.size() == 1) {
        volume::requirePlacedFrames(slices, "", "");
    }
    const volume::SeriesVolumes all = volume::assembleVolumes(slices, {}, false);
    Json volumes = Json::array();
    for (const volume::Volume& volume : all.volumes) {
        volumes.push_back(volumeOf(volume));
        volumes.back()["findings"] = withoutFiles(volumes.back()["findings"]);
    }
    return {{"volumes", volumes}, {"findings", withoutFiles(volume::describeFindings(all.findings))}};
}

/// What the reader says of a series, or why there is no volume.
Json attempt(volume::SeriesReader& reader, std::size_t index, const volume::SeriesFiles& series) {
    try {
        return verdictOn(reader, index, series);
    } catch (const volume::NoPicturesError& error) {
        return {{"noPictures", error.what()}};
    } catch (const volume::ReaderEndedError& error) {
        return {{"refused", error.what()}, {"end", error.first().processEnd}};
    } catch (const Error& error) {
        return {{"refused", error.what()}};
    } catch (const velmora::LibraryError& error) {
        return {{"refused", error.what()}};
    }
}

} // namespace

void sendVerdicts(velmora::Host& host, const Request& request, const Messages& messages) {
    const std::vector<volume::SeriesFiles> all = seriesOfList(request);
    const media::Medium medium(media::Medium::SingleFile{request.path});
    volume::SeriesReader reader(host, medium, all, volume::SampleKind::none, {}, request.jobs);
    for (std::size_t index = 0; index < all.size(); ++index) {
        Json verdict = attempt(reader, index, all[index]);
        verdict["i"] = index;
        messages.send({{"verdict", std::move(verdict)}});
    }
}

} // namespace radvex::python
