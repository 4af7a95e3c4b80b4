#include "VolumeSeries.h"

#include <map>

namespace radvex::cli {

using velmora::NodeView;
using velmora::Store;
using velmora::StoreView;

namespace {

StoreView innerStore(NodeView node) {
    return StoreView(node.type() == VType_DataStore ? node.cell().dataStore : nullptr);
}

std::vector<std::string> textsOf(StoreView list) {
    std::vector<std::string> texts;
    for (const NodeView node : list) {
        if (node.type() == VType_UTF8String && node.cell().utf8String != nullptr) {
            texts.emplace_back(node.cell().utf8String);
        }
    }
    return texts;
}

} // namespace

std::vector<SeriesFiles> listSeries(velmora::Host& host, const std::string& dicomdir, const Selection& selection) {
    const velmora::Value structure =
        host.call("ReadDICOMDIRStructure", {dicomdir, selection.patient, selection.study, selection.series, true});
    std::vector<SeriesFiles> all;
    std::size_t patientIndex = 0;
    for (const NodeView patient : structure.get<Store>()) {
        std::size_t studyIndex = 0;
        for (const NodeView study : innerStore(patient)) {
            std::map<std::string, std::size_t> repetitions;
            for (const NodeView series : innerStore(study)) {
                const std::string key(series.name());
                all.push_back({std::string(patient.name()), std::string(study.name()), key, patientIndex, studyIndex,
                               repetitions[key]++, textsOf(innerStore(series))});
            }
            ++studyIndex;
        }
        ++patientIndex;
    }
    return all;
}

} // namespace radvex::cli
