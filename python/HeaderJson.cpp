#include "python/HeaderJson.h"

namespace radvex::python {

using formats::Json;

Json jsonOf(const formats::VolumeHeader& header) {
    const formats::VolumeGeometry& geometry = header.geometry;
    return {{"type", header.type},
            {"channels", header.channels},
            {"columns", header.columns},
            {"rows", header.rows},
            {"slices", header.slices},
            {"volumes", header.volumes},
            {"origin", geometry.origin},
            {"columnStep", geometry.columnStep},
            {"rowStep", geometry.rowStep},
            {"sliceStep", geometry.sliceStep},
            {"hasPosition", geometry.hasPosition},
            {"secondsBetweenVolumes", header.secondsBetweenVolumes},
            {"slope", header.slope},
            {"intercept", header.intercept},
            {"unit", header.unit},
            {"isResampled", header.isResampled}};
}

formats::VolumeHeader headerOf(const Json& json) {
    const auto vector = [&](const char* key) {
        const auto values = json.at(key).get<std::array<double, 3>>();
        return formats::Vector3{values};
    };
    try {
        formats::VolumeHeader header;
        header.type = json.at("type").get<vint>();
        header.channels = json.at("channels").get<vint>();
        header.columns = json.at("columns").get<vint>();
        header.rows = json.at("rows").get<vint>();
        header.slices = json.at("slices").get<vint>();
        header.volumes = json.at("volumes").get<vint>();
        header.geometry = {.origin = vector("origin"),
                           .columnStep = vector("columnStep"),
                           .rowStep = vector("rowStep"),
                           .sliceStep = vector("sliceStep"),
                           .hasPosition = json.at("hasPosition").get<bool>()};
        header.secondsBetweenVolumes = json.at("secondsBetweenVolumes").get<double>();
        header.slope = json.at("slope").get<double>();
        header.intercept = json.at("intercept").get<double>();
        header.unit = json.at("unit").get<std::string>();
        header.isResampled = json.at("isResampled").get<bool>();
        return header;
    } catch (const Json::exception& error) {
        throw formats::JsonError(std::string("This is no header of a volume: ") + error.what());
    }
}

} // namespace radvex::python
