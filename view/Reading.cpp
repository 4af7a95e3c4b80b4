#include "view/Reading.h"

#include <map>
#include <string>
#include <vector>

#include "files/Errors.h"
#include "formats/pictures/NpyHeader.h"
#include "media/ElementList.h"
#include "media/Medium.h"
#include "media/MediumJson.h"
#include "media/MediumTree.h"
#include "media/scan/FileDiagnosis.h"
#include "view/Wire.h"
#include "volume/SeriesReader.h"
#include "volume/VolumeAssembly.h"
#include "volume/VolumeSeries.h"
#include "volume/samples/ModalityArray.h"
#include "volume/slices/AttributeValues.h"
#include "volume/slices/FileMetadata.h"
#include "volume/slices/PixelMeaning.h"

namespace radvex::view {

using formats::Json;
using velmora::Store;

namespace {

/// A path in a message, whose bytes need not be UTF-8.
std::string pathIn(const Json& json) {
    return json.is_string() ? json.get<std::string>() : formats::fromJson(json).get<std::string>();
}

Json slicesOf(const volume::SeriesSlices& slices, const std::map<std::string, std::size_t>& indices) {
    Json all = Json::array();
    for (const volume::SliceRecord& slice : slices.slices) {
        Json json{{"file", indices.at(slice.file)}, {"frame", slice.frame - 1}, {"rows", slice.rows},
                  {"columns", slice.columns},       {"colour", slice.isColour}, {"unit", slice.unit}};
        if (slice.instanceNumber) {
            json["instance"] = *slice.instanceNumber;
        }
        if (slice.position) {
            json["position"] = *slice.position;
        }
        if (slice.orientation) {
            const auto& [columns, rows] = *slice.orientation;
            json["orientation"] = {columns, rows};
        }
        if (slice.pixelSpacing) {
            json["spacing"] = {slice.pixelSpacing->betweenRows, slice.pixelSpacing->betweenColumns};
        }
        all.push_back(std::move(json));
    }
    return all;
}

Json volumesOf(const volume::SeriesVolumes& all) {
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

/// The windows of a file as pairs of centre and width; on modality values.
Json windowsOf(velmora::Host& host, const std::string& file) {
    const velmora::Value found =
        host.call("ReadMetadata", {file, Store::ofTexts({"WindowCenter", "WindowWidth"}), false});
    const auto centers = volume::realsOf(found.get<Store>().view(), "WindowCenter");
    const auto widths = volume::realsOf(found.get<Store>().view(), "WindowWidth");
    Json windows = Json::array();
    for (std::size_t index = 0; index < centers.size() && index < widths.size(); ++index) {
        windows.push_back({centers[index], widths[index]});
    }
    return windows;
}

Json elementOf(const media::Element& element) {
    Json json{{"tag", media::numberOf(element)}, {"vr", element.vr}, {"keyword", element.keyword}};
    if (!element.creator.empty()) {
        json["creator"] = element.creator;
    }
    if (!element.isSequence()) {
        json["value"] = element.text;
        json["bytes"] = element.length;
        return json;
    }
    json["items"] = Json::array();
    for (const auto& item : element.items) {
        Json elements = Json::array();
        for (const media::Element& inner : item) {
            elements.push_back(elementOf(inner));
        }
        json["items"].push_back(std::move(elements));
    }
    return json;
}

class Reading {
  public:
    Reading(velmora::Host& host, std::size_t jobs) : mHost(host), mJobs(jobs) {}

    /// @throws Error, LibraryError
    Message answer(const Json& request) {
        const auto job = request.at("job").get<std::string>();
        if (job == "tree") {
            return tree(pathIn(request.at("path")));
        }
        if (job == "series") {
            return series(request.at("files"));
        }
        if (job == "values") {
            return values(pathIn(request.at("file")), request.at("frame").get<vint>());
        }
        if (job == "tags") {
            return tags(pathIn(request.at("file")));
        }
        throw Error("'" + job + "' is no request.");
    }

  private:
    Message tree(const std::string& path) {
        const media::Medium medium(path, mJobs);
        const auto patients = media::listMedium(mHost, medium, {}, media::Records::all, mJobs);
        return {media::describeTree(patients, medium.listing().leftOut), ""};
    }

    Message series(const Json& paths) {
        volume::SeriesFiles files;
        std::map<std::string, std::size_t> indices;
        for (const Json& path : paths) {
            files.files.push_back(pathIn(path));
            indices.emplace(files.files.back(), files.files.size() - 1);
        }
        const media::Medium medium(media::Medium::SingleFile{files.files.empty() ? "" : files.files.front()});
        const std::vector<volume::SeriesFiles> all{files};
        volume::SeriesReader reader(mHost, medium, all, volume::SampleKind::none, {}, mJobs);
        volume::SeriesSlices slices = reader.read(0, [] {});
        const volume::SeriesVolumes volumes = volume::assembleVolumes(slices, {}, false);
        return {{{"slices", slicesOf(slices, indices)},
                 {"volumes", volumesOf(volumes)},
                 {"findings", volume::describeFindings(volumes.findings)}},
                ""};
    }

    Message values(const std::string& file, vint frame) {
        const volume::PixelMeaning meaning = volume::readPixelMeaning(mHost, file);
        if (frame < 0 || frame >= meaning.frames) {
            throw Error("The file has no such frame.");
        }
        Message answer =
            meaning.photometricInterpretation.starts_with("MONOCHROME") ? grey(file, frame) : colour(file, frame);
        answer.json["unit"] = meaning.unit;
        answer.json["windows"] = windowsOf(mHost, file);
        answer.json["photometricInterpretation"] = meaning.photometricInterpretation;
        return answer;
    }

    Message grey(const std::string& file, vint frame) {
        const volume::ModalityArray array = volume::readModalityArray(mHost, file, file, [frame](vint /*available*/) {
            return volume::FrameSpan{frame, 1};
        });
        return {{{"type", formats::numpyType(array.type)}, {"shape", array.shape}}, bytesOf(array.bytes)};
    }

    Message colour(const std::string& file, vint frame) {
        const media::Rendering asStored{.scaling = media::Rendering::Scaling::none};
        const velmora::Value found =
            mHost.call("ReadImageData", {file, frame, 1, asStored.scalingTensor(), false, media::kImageFlags});
        for (const velmora::NodeView node : found.get<Store>()) {
            const VelmoraNumericArray& array = *node.cell().numericArray;
            const auto bytes = static_cast<std::size_t>(array.length) * velmora::numericArrayElementSize(array.type);
            return {{{"type", formats::numpyType(array.type)}, {"shape", array.dimensions}},
                    std::string(static_cast<const char*>(array.data.get()), bytes)};
        }
        throw Error(file + " has no such frame.");
    }

    static std::string bytesOf(formats::SliceBytes bytes) {
        return {reinterpret_cast<const char*>(bytes.data()), bytes.size()};
    }

    Message tags(const std::string& file) {
        Json elements = Json::array();
        for (const media::Element& element :
             media::listElements(file, {.values = media::ElementValues::Text, .wants = {}})) {
            elements.push_back(elementOf(element));
        }
        return {{{"elements", std::move(elements)}}, ""};
    }

    velmora::Host& mHost;
    std::size_t mJobs;
};

/// The answer, or the sentence that says why there is none.
Message attempt(Reading& reading, const Json& request) {
    try {
        return reading.answer(request);
    } catch (const velmora::LibraryError& error) {
        const std::string file = request.contains("file") ? pathIn(request["file"]) : "";
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
