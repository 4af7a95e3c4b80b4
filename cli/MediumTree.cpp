#include "MediumTree.h"

#include <unordered_map>

namespace radvex::cli {

using velmora::NodeView;
using velmora::Store;
using velmora::StoreView;
using velmora::Value;

namespace {

StoreView storeOf(NodeView node) { return StoreView(node.cell().dataStore); }

/// Text of a node of that name, empty when there is none.
std::string textIn(StoreView fields, std::string_view key) {
    for (const NodeView node : fields) {
        if (node.name() == key && node.type() == VType_UTF8String) {
            return node.cell().utf8String;
        }
    }
    return {};
}

/// Modality by SeriesInstanceUID: the one thing that is asked of the records themselves.
std::unordered_map<std::string, std::string> readModalities(velmora::Host& host, const std::string& dicomdir) {
    std::unordered_map<std::string, std::string> modalities;
    const Value found = host.call("ReadMetadata", {dicomdir, Store::ofTexts({"DirectoryRecordSequence"}), false});
    for (const NodeView sequence : found.get<Store>()) {
        for (const NodeView record : storeOf(sequence)) {
            if (const std::string uid = textIn(storeOf(record), "SeriesInstanceUID"); !uid.empty()) {
                modalities.emplace(uid, textIn(storeOf(record), "Modality"));
            }
        }
    }
    return modalities;
}

/// Steps through the nodes of an information result beside those of the structure. Both are in directory order, but
/// only the structure leaves out what has no key.
class Beside {
  public:
    explicit Beside(StoreView store) : mNode(store.begin()), mEnd(store.end()) {}

    StoreView next(std::string_view key) {
        while (mNode != mEnd && (*mNode).name() != key) {
            ++mNode;
        }
        if (mNode == mEnd) {
            return StoreView(nullptr);
        }
        const StoreView found = storeOf(*mNode);
        ++mNode;
        return found;
    }

  private:
    StoreView::Iterator mNode;
    StoreView::Iterator mEnd;
};

/// The four results that a tree is put together from.
struct Results {
    Value structure;
    Value patients;
    Value studies;
    Value series;
    std::unordered_map<std::string, std::string> modalities;
};

MediumSeries seriesOf(NodeView node, StoreView fields, const Results& results) {
    MediumSeries series{std::string(node.name()),
                        textIn(fields, "SeriesInstanceUID"),
                        textIn(fields, "SeriesNumber"),
                        textIn(fields, "SeriesDescription"),
                        {},
                        {}};
    if (const auto known = results.modalities.find(series.uid); known != results.modalities.end()) {
        series.modality = known->second;
    }
    for (const NodeView file : storeOf(node)) {
        series.files.emplace_back(file.cell().utf8String);
    }
    return series;
}

MediumStudy studyOf(NodeView node, StoreView fields, StoreView seriesFields, const Results& results) {
    MediumStudy study{std::string(node.name()),
                      textIn(fields, "StudyInstanceUID"),
                      textIn(fields, "StudyDate"),
                      textIn(fields, "StudyDescription"),
                      {}};
    Beside fieldsOfSeries(seriesFields);
    for (const NodeView series : storeOf(node)) {
        study.series.push_back(seriesOf(series, fieldsOfSeries.next(series.name()), results));
    }
    return study;
}

} // namespace

std::vector<MediumPatient> readMediumTree(velmora::Host& host, const std::string& dicomdir,
                                          const Selection& selection) {
    const auto& [patient, study, series] = selection;
    const Results results{
        host.call("ReadDICOMDIRStructure", {dicomdir, patient, study, series, true}),
        host.call("ReadPatientInfo", {dicomdir, Store::ofTexts({"ID", "Name"}), patient}),
        host.call("ReadStudyInfo", {dicomdir, Store::ofTexts({"UID", "Date", "Description"}), patient, study}),
        host.call("ReadSeriesInfo",
                  {dicomdir, Store::ofTexts({"UID", "Number", "Description"}), patient, study, series}),
        readModalities(host, dicomdir)};
    std::vector<MediumPatient> patients;
    Beside patientFields(results.patients.get<Store>().view());
    Beside studiesOfPatients(results.studies.get<Store>().view());
    Beside seriesOfPatients(results.series.get<Store>().view());
    for (const NodeView node : results.structure.get<Store>()) {
        const StoreView fields = patientFields.next(node.name());
        MediumPatient one{std::string(node.name()), textIn(fields, "PatientID"), textIn(fields, "PatientName"), {}};
        Beside studyFields(studiesOfPatients.next(node.name()));
        Beside seriesOfStudies(seriesOfPatients.next(node.name()));
        for (const NodeView studyNode : storeOf(node)) {
            one.studies.push_back(studyOf(studyNode, studyFields.next(studyNode.name()),
                                          seriesOfStudies.next(studyNode.name()), results));
        }
        patients.push_back(std::move(one));
    }
    return patients;
}

Selection selectionOf(const MediumPatient& patient, const MediumStudy& study, const MediumSeries& series) {
    return {exactPattern(patient.id), exactPattern(study.uid), exactPattern(series.uid)};
}

} // namespace radvex::cli
