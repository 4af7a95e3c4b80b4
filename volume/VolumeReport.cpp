#include "volume/VolumeReport.h"

#include <cstdio>

#include "formats/json/TypeNames.h"

namespace radvex::volume {

formats::Json describeGeometry(const formats::VolumeGeometry& geometry) {
    return {{"space", "LPS"},
            {"placed", geometry.isPlaced},
            {"origin", geometry.isPlaced ? formats::Json(geometry.origin) : formats::Json()},
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
    }
    return list;
}

std::string volumeSummary(const formats::VolumeHeader& header) {
    char text[160];
    std::snprintf(text, sizeof text, "%d x %d x %d, %s%s, %.6g x %.6g x %.6g mm", header.columns, header.rows,
                  header.slices, formats::typeName(formats::kArrayTypeNames, header.type),
                  header.channels > 1 ? " RGB" : "", length(header.geometry.columnStep),
                  length(header.geometry.rowStep), length(header.geometry.sliceStep));
    return text;
}

} // namespace radvex::volume
