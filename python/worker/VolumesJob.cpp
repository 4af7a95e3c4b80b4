#include <filesystem>
#include <memory>

#include "formats/json/Text.h"
#include "media/Medium.h"
#include "media/MediumTree.h"
#include "python/HeaderJson.h"
#include "python/worker/FileList.h"
#include "python/worker/Jobs.h"
#include "volume/SeriesReader.h"
#include "volume/VolumeAssembly.h"
#include "volume/VolumeDescription.h"

namespace radvex::python {

using formats::Json;
using formats::VolumeError;

namespace {

/// Whether one file is to become a volume, and no medium.
bool isFile(const std::string& path) {
    std::error_code error;
    return !path.ends_with("DICOMDIR") && !path.ends_with("dicomdir") && std::filesystem::is_regular_file(path, error);
}

/// @throws VolumeError  nothing matches, or there is more than one series where one is wanted
std::vector<volume::SeriesFiles> requireSeries(velmora::Host& host, const media::Medium& medium,
                                               const Request& request) {
    std::vector<volume::SeriesFiles> all =
        volume::seriesOf(media::listMedium(host, medium, request.selection, media::Records::keys, request.jobs));
    if (all.empty()) {
        throw VolumeError(request.path + " holds no series that matches.");
    }
    if (request.isSingle && all.size() > 1) {
        throw VolumeError(request.path + " holds " + std::to_string(all.size()) + " series that match, such as " +
                          all[0].series + " and " + all[1].series +
                          "; choose one with series=, or take radvex.volumes().");
    }
    return all;
}

/// The one file, or the files of a list as one series. @throws VolumeError, LibraryError
volume::SeriesFiles seriesOfFiles(velmora::Host& host, const Request& request) {
    if (request.list < 0) {
        return volume::seriesOfFile(host, request.path);
    }
    std::vector<std::string> files = pathsIn(request.list);
    if (files.empty()) {
        throw VolumeError("The list of files is empty.");
    }
    volume::SeriesFiles series = volume::seriesOfFile(host, files.front());
    series.files = std::move(files);
    return series;
}

class VolumesJob {
  public:
    VolumesJob(const Request& request, Messages& messages) : mRequest(request), mMessages(messages) {}

    /// @param series  for messages
    void send(volume::SeriesReader& reader, std::size_t index, const volume::SeriesFiles& series) {
        const workers::Progress progress = mMessages.progress();
        std::size_t done = 0;
        volume::SeriesSlices slices =
            reader.read(index, [&] { progress("Reading series " + series.series, ++done, series.files.size()); });
        const bool isFileAlone = mRequest.list < 0 ? isFile(mRequest.path) : series.files.size() == 1;
        if (isFileAlone && !mRequest.plan.isForced) {
            volume::requirePlacedFrames(slices, mRequest.path + ": ", "; force=True stacks them in their order");
        }
        const volume::SeriesVolumes all = volume::assembleVolumes(slices, mRequest.plan, mRequest.isFourD);
        requireSingle(all);
        for (const volume::Volume& volume : all.volumes) {
            Json json = volume::describeVolume(series, slices, all, volume, mRequest.kind);
            json.erase("written");
            json.erase("sort");
            json["label"] = volume.label;
            json["header"] = jsonOf(volume.header);
            if (mRequest.plan.isForced || !(all.hasErrors() || volume.hasErrors())) {
                mMessages.sendVolume(json, volume.bytes);
            } else {
                mMessages.send({{"refused", json}});
            }
        }
    }

  private:
    void requireSingle(const volume::SeriesVolumes& all) const {
        if (!mRequest.isSingle || all.volumes.size() < 2) {
            return;
        }
        std::string labels;
        for (std::size_t index = 0; index < std::min<std::size_t>(3, all.volumes.size()); ++index) {
            labels += (index == 0 ? "" : ", ") + all.volumes[index].label.substr(1);
        }
        throw VolumeError("The series holds " + std::to_string(all.volumes.size()) + " volumes (" + labels +
                          (all.volumes.size() > 3 ? ", ...)" : ")") +
                          "; four_d=True joins them, and radvex.volumes() gives each.");
    }

    const Request& mRequest;
    Messages& mMessages;
};

} // namespace

void sendVolumes(velmora::Host& host, const Request& request, Messages& messages) {
    const bool isAlone = request.list >= 0 || isFile(request.path);
    const auto medium = isAlone ? std::make_unique<media::Medium>(media::Medium::SingleFile{request.path})
                                : std::make_unique<media::Medium>(request.path, request.jobs, messages.progress());
    const auto all = isAlone ? std::vector{seriesOfFiles(host, request)} : requireSeries(host, *medium, request);
    volume::SeriesReader reader(host, *medium, all, request.kind, request.rendering, request.jobs);
    VolumesJob job(request, messages);
    for (std::size_t index = 0; index < all.size(); ++index) {
        const auto refuse = [&](const char* kind, const std::string& sentence, const std::string& end) {
            messages.send({{"refused",
                            {{"patient", all[index].patient},
                             {"study", all[index].study},
                             {"series", all[index].series},
                             {"kind", kind},
                             {"sentence", sentence},
                             {"processEnd", end}}}});
        };
        try {
            job.send(reader, index, all[index]);
        } catch (const volume::NoPicturesError& error) {
            refuse("noPictures", error.what(), "");
        } catch (const volume::ReaderEndedError& error) {
            refuse("readerDied", error.first().files.front(), error.first().processEnd);
        } catch (const NobodyListensError&) {
            throw;
        } catch (const Error& error) {
            refuse("volume", error.what(), "");
        } catch (const velmora::LibraryError& error) {
            refuse("volume", error.what(), "");
        }
    }
}

} // namespace radvex::python
