#include "volume/VolumeSeries.h"

#include <cstdio>
#include <map>

#include "formats/json/Text.h"
#include "formats/json/TypeNames.h"

namespace radvex::volume {

std::vector<SeriesFiles> seriesOf(const std::vector<media::MediumPatient>& patients) {
    std::vector<SeriesFiles> all;
    for (std::size_t patient = 0; patient < patients.size(); ++patient) {
        const auto& studies = patients[patient].studies;
        for (std::size_t study = 0; study < studies.size(); ++study) {
            std::map<std::string, std::size_t> repetitions;
            for (const media::MediumSeries& series : studies[study].series) {
                all.push_back({patients[patient].key, studies[study].key, series.key, patient, study,
                               repetitions[series.key]++, series.files});
            }
        }
    }
    return all;
}

SeriesFiles seriesOfFile(velmora::Host& host, const std::string& path) {
    const velmora::Value found = host.call(
        "ReadMetadata", {path, velmora::Store::ofTexts({"PatientID", "StudyInstanceUID", "SeriesInstanceUID"}), false});
    const velmora::StoreView attributes = found.get<velmora::Store>().view();
    SeriesFiles series;
    series.patient = attributes.text("PatientID");
    series.study = attributes.text("StudyInstanceUID");
    series.series = attributes.text("SeriesInstanceUID");
    series.files = {path};
    return series;
}

formats::Json describeGeometry(const formats::VolumeGeometry& geometry) {
    return {{"space", "LPS"},
            {"hasPosition", geometry.hasPosition},
            {"origin", geometry.hasPosition ? formats::Json(geometry.origin) : formats::Json()},
            {"columnStep", geometry.columnStep},
            {"rowStep", geometry.rowStep},
            {"sliceStep", geometry.sliceStep},
            {"spacing", {length(geometry.columnStep), length(geometry.rowStep), length(geometry.sliceStep)}}};
}

formats::Json describeFindings(const std::vector<Finding>& findings) {
    formats::Json list = formats::Json::array();
    for (const Finding& finding : findings) {
        list.push_back({{"kind", findingName(finding.kind)},
                        {"error", finding.isError},
                        {"sentence", finding.sentence},
                        {"files", finding.files}});
        if (!finding.processEnd.empty()) {
            list.back()["processEnd"] = finding.processEnd;
        }
    }
    return list;
}

std::string volumeSummary(const formats::VolumeHeader& header) {
    const std::string volumes = header.volumes > 1 ? " x " + std::to_string(header.volumes) : "";
    char text[200];
    std::snprintf(text, sizeof text, "%d x %d x %d%s, %s%s, %.6g x %.6g x %.6g mm", header.columns, header.rows,
                  header.slices, volumes.c_str(), formats::typeName(formats::kArrayTypeNames, header.type),
                  header.channels > 1 ? " RGB" : "", length(header.geometry.columnStep),
                  length(header.geometry.rowStep), length(header.geometry.sliceStep));
    return text;
}

} // namespace radvex::volume
