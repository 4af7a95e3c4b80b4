#include "VolumeSeries.h"

#include <map>

#include "Parcel.h"

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

std::string toParcel(const std::vector<SeriesFiles>& all) {
    ParcelWriter parcel;
    parcel.put(all.size());
    for (const SeriesFiles& series : all) {
        parcel.putText(series.patient);
        parcel.putText(series.study);
        parcel.putText(series.series);
        parcel.put(series.patientIndex);
        parcel.put(series.studyIndex);
        parcel.put(series.repetition);
        parcel.putTexts(series.files);
    }
    return parcel.take();
}

std::vector<SeriesFiles> seriesOfParcel(const std::string& bytes) {
    ParcelReader parcel(bytes);
    std::vector<SeriesFiles> all;
    for (auto count = parcel.get<std::size_t>(); count > 0; --count) {
        SeriesFiles series;
        series.patient = parcel.getText();
        series.study = parcel.getText();
        series.series = parcel.getText();
        series.patientIndex = parcel.get<std::size_t>();
        series.studyIndex = parcel.get<std::size_t>();
        series.repetition = parcel.get<std::size_t>();
        series.files = parcel.getTexts();
        all.push_back(std::move(series));
    }
    return all;
}

} // namespace radvex::cli
