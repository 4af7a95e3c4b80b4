#include "view/Reading.h"

#include <cstring>
#include <map>
#include <vector>

#include "files/Errors.h"
#include "formats/json/Text.h"
#include "formats/json/TypeNames.h"
#include "media/ElementList.h"
#include "media/Medium.h"
#include "media/MediumJson.h"
#include "media/MediumTree.h"
#include "media/scan/FileDiagnosis.h"
#include "view/Wire.h"
#include "volume/SeriesReader.h"
#include "volume/VolumeAssembly.h"
#include "volume/samples/ModalityArray.h"
#include "volume/slices/AttributeValues.h"
#include "volume/slices/FileMetadata.h"
#include "volume/slices/PixelMeaning.h"

namespace radvex::view {

using formats::Json;
using velmora::Store;

namespace {

/// A path in a request, whose bytes need not be UTF-8.
std::string pathIn(const Json& json) {
    const velmora::Value value = formats::fromJson(json);
    return std::string(value.get<velmora::Text>().view());
}

class Reading {
  public:
    Reading(velmora::Host& host, std::size_t jobs) : mHost(host), mJobs(jobs) {}

    /// @throws Error, LibraryError
    Message answer(const Json& request) {
        const auto job = request.at("job").get<std::string>();
        return job == "tree"     ? tree(pathIn(request.at("path")))
               : job == "series" ? series(request.at("files"))
               : job == "values" ? values(pathIn(request.at("file")), request.at("frame").get<vint>())
               : job == "tags"   ? tags(pathIn(request.at("file")))
                                 : throw Error("'" + job + "' is no request.");
    }

  private:
    Message tree(const std::string& path) {
        const media::Medium medium(path, mJobs);
        return {media::describeTree(media::listMedium(mHost, medium, {}, media::Records::all, mJobs),
                                    medium.listing().leftOut),
                ""};
    }

    Message series(const Json& paths);
    Message values(const std::string& file, vint frame);
    Message tags(const std::string& file);

    velmora::Host& mHost;
    std::size_t mJobs;
};

Json slicesOf(const volume::SeriesSlices& slices, const std::map<std::string, std::size_t>& indices) {
    Json all = Json::array();
    for (const volume::SliceRecord& slice : slices.slices) {
        Json json{{"file", indices.at(slice.file)},
                  {"frame", slice.frame - 1},
                  {"rows", slice.rows},
                  {"columns", slice.columns},
                  {"colour", slice.isColour},
                  {"unit", slice.unit}};
        if (slice.instanceNumber) {
            json["instance"] = *slice.instanceNumber;
        }
        if (slice.position) {
            json["position"] = {slice.position->x, slice.position->y, slice.position->z};
        }
        if (slice.orientation) {
            const auto& [columns, rows] = *slice.orientation;
            json["orientation"] = {columns.x, columns.y, columns.z, rows.x, rows.y, rows.z};
        }
        if (slice.pixelSpacing) {
            json["spacing"] = {slice.pixelSpacing->betweenRows, slice.pixelSpacing->betweenColumns};
        }
        all.push_back(std::move(json));
    }
    return all;
}
