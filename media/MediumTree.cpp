#include "media/MediumTree.h"

#include <regex>
#include <unordered_map>

#include "files/Errors.h"
#include "media/scan/FileDiagnosis.h"
#include "workers/Parcel.h"
#include "workers/Workers.h"

namespace radvex::media {

using velmora::NodeView;
using velmora::Store;
using velmora::StoreView;
using velmora::Value;

namespace {

/// Steps through the nodes of an information result in parallel with those of the structure. Both are in directory
/// order, but only the structure leaves out records without a key.
class ParallelNodes {
  public:
    explicit ParallelNodes(StoreView store) : mNode(store.begin()), mEnd(store.end()) {}

    StoreView next(std::string_view key) {
        while (mNode != mEnd && (*mNode).name() != key) {
            ++mNode;
        }
        if (mNode == mEnd) {
            return StoreView(nullptr);
        }
        const StoreView found = (*mNode).store();
        ++mNode;
        return found;
    }

  private:
    StoreView::Iterator mNode;
    StoreView::Iterator mEnd;
};

/// Reads the structure of the directory and, if asked for, the attributes of its records.
class TreeReader {
  public:
    TreeReader(velmora::Host& host, const std::string& dicomdir, const Selection& selection)
        : mHost(host), mDicomdir(dicomdir), mSelection(selection) {}

    void readRecords() {
        const auto& [patient, study, series] = mSelection;
        mPatients = mHost.call("ReadPatientInfo", {mDicomdir, Store::ofTexts({"ID", "Name"}), patient});
        mStudies =
            mHost.call("ReadStudyInfo", {mDicomdir, Store::ofTexts({"UID", "Date", "Description"}), patient, study});
        mSeries = mHost.call("ReadSeriesInfo",
                             {mDicomdir, Store::ofTexts({"UID", "Number", "Description"}), patient, study, series});
        readModalities();
    }

    std::vector<MediumPatient> read() {
        const auto& [patient, study, series] = mSelection;
        const Value structure = mHost.call("ReadDICOMDIRStructure", {mDicomdir, patient, study, series, true});
        std::vector<MediumPatient> patients;
        ParallelNodes patientFields(viewOf(mPatients));
        ParallelNodes studiesOfPatients(viewOf(mStudies));
        ParallelNodes seriesOfPatients(viewOf(mSeries));
        for (const NodeView node : structure.get<Store>()) {
            const StoreView fields = patientFields.next(node.name());
            MediumPatient one{std::string(node.name()), textOf(fields, "PatientID"), textOf(fields, "PatientName"), {}};
            ParallelNodes studyFields(studiesOfPatients.next(node.name()));
            ParallelNodes seriesOfStudies(seriesOfPatients.next(node.name()));
            for (const NodeView studyNode : node.store()) {
                one.studies.push_back(
                    studyOf(studyNode, studyFields.next(studyNode.name()), seriesOfStudies.next(studyNode.name())));
            }
            patients.push_back(std::move(one));
        }
        return patients;
    }

  private:
    static StoreView viewOf(const Value& value) {
        return value.is<Store>() ? value.get<Store>().view() : StoreView(nullptr);
    }
    static std::string textOf(StoreView fields, std::string_view key) { return std::string(fields.text(key)); }

    /// Modality by SeriesInstanceUID. Only the records themselves have it.
    void readModalities() {
        const Value found = mHost.call("ReadMetadata", {mDicomdir, Store::ofTexts({"DirectoryRecordSequence"}), false});
        for (const NodeView sequence : found.get<Store>()) {
            for (const NodeView record : sequence.store()) {
                if (const auto uid = textOf(record.store(), "SeriesInstanceUID"); !uid.empty()) {
                    mModalities.emplace(uid, textOf(record.store(), "Modality"));
                }
            }
        }
    }

    MediumSeries seriesOf(NodeView node, StoreView fields) const {
        MediumSeries series{std::string(node.name()),
                            textOf(fields, "SeriesInstanceUID"),
                            textOf(fields, "SeriesNumber"),
                            textOf(fields, "SeriesDescription"),
                            {},
                            node.store().texts()};
        if (const auto known = mModalities.find(series.uid); known != mModalities.end()) {
            series.modality = known->second;
        }
        return series;
    }

    MediumStudy studyOf(NodeView node, StoreView fields, StoreView seriesFields) const {
        MediumStudy study{std::string(node.name()),
                          textOf(fields, "StudyInstanceUID"),
                          textOf(fields, "StudyDate"),
                          textOf(fields, "StudyDescription"),
                          {}};
        ParallelNodes fieldsOfSeries(seriesFields);
        for (const NodeView series : node.store()) {
            study.series.push_back(seriesOf(series, fieldsOfSeries.next(series.name())));
        }
        return study;
    }

    velmora::Host& mHost;
    const std::string& mDicomdir;
    const Selection& mSelection;
    Value mPatients{};
    Value mStudies{};
    Value mSeries{};
    std::unordered_map<std::string, std::string> mModalities{};
};

/// Drops patients and studies of which nothing was chosen.
void dropEmpty(std::vector<MediumPatient>& patients, const Selection& selection) {
    const std::string any = Selection().series;
    for (MediumPatient& patient : patients) {
        if (selection.series != any) {
            std::erase_if(patient.studies, [](const MediumStudy& study) { return study.series.empty(); });
        }
    }
    if (selection.series != any || selection.study != any) {
        std::erase_if(patients, [](const MediumPatient& patient) { return patient.studies.empty(); });
    }
}

/// Chooses among what was read from a folder, as the library does from a DICOMDIR.
class ListingFilter {
  public:
    explicit ListingFilter(const Selection& selection)
        : mPatient(selection.patient), mStudy(selection.study), mSeries(selection.series) {}

    void apply(std::vector<MediumPatient>& patients) const {
        std::erase_if(patients, [&](const MediumPatient& patient) { return !mPatient.matches(patient.id); });
        for (MediumPatient& patient : patients) {
            std::erase_if(patient.studies, [&](const MediumStudy& study) { return !mStudy.matches(study.uid); });
            for (MediumStudy& study : patient.studies) {
                std::erase_if(study.series, [&](const MediumSeries& series) { return !mSeries.matches(series.uid); });
            }
        }
    }

  private:
    class Pattern {
      public:
        explicit Pattern(const std::string& text) : mIsAny(text == ".*") {
            try { // its call stack does not grow with the value
                mRegex.assign(text, std::regex::ECMAScript | std::regex_constants::__polynomial);
            } catch (const std::regex_error&) { // a back-reference
                mRegex.assign(text, std::regex::ECMAScript);
            }
        }
        bool matches(const std::string& value) const {
            constexpr std::size_t kLongest = 1024; // far over what IDs and UIDs may have
            return mIsAny || (value.size() <= kLongest && std::regex_match(value, mRegex));
        }

      private:
        bool mIsAny;
        std::regex mRegex{};
    };

    Pattern mPatient;
    Pattern mStudy;
    Pattern mSeries;
};

std::vector<MediumPatient> readDirectory(velmora::Host& host, const Medium& medium, const Selection& selection,
                                         Records records, std::size_t jobs) {
    const auto read = [&] {
        try {
            TreeReader reader(host, medium.dicomdir(), selection);
            if (records == Records::all) {
                reader.readRecords();
            }
            return workers::toParcel(reader.read());
        } catch (const velmora::LibraryError& error) {
            throw velmora::LibraryError(error.code(), error.name(), explain(error, medium.dicomdir(), medium.path()));
        }
    };
    return workers::fromParcel<std::vector<MediumPatient>>(workers::workAlone(jobs, medium.path(), read));
}

} // namespace

std::vector<MediumPatient> listMedium(velmora::Host& host, const Medium& medium, const Selection& selection,
                                      Records records, std::size_t jobs) {
    std::vector<MediumPatient> patients;
    if (medium.isFolder()) {
        patients = medium.listing().patients;
        ListingFilter(selection).apply(patients);
    } else {
        patients = readDirectory(host, medium, selection, records, jobs);
    }
    dropEmpty(patients, selection);
    return patients;
}

Selection selectionOf(const MediumPatient& patient, const MediumStudy& study, const MediumSeries& series) {
    return {exactPattern(patient.id), exactPattern(study.uid), exactPattern(series.uid)};
}

std::string whyUnusable(const std::string& pattern) {
    constexpr std::size_t kLongest = 1024; // the library's limit too: the matcher's call stack grows with the pattern
    try {
        if (pattern.size() > kLongest) {
            throw std::regex_error(std::regex_constants::error_space);
        }
        (void)std::regex(pattern, std::regex::ECMAScript);
        return "";
    } catch (const std::regex_error& error) {
        return error.what();
    }
}

std::string exactPattern(const std::string& text) {
    static const std::string kSpecial = R"(^$\.*+?()[]{}|/)";
    std::string pattern;
    for (const char letter : text) {
        if (kSpecial.find(letter) != std::string::npos) {
            pattern += '\\';
        }
        pattern += letter;
    }
    return pattern;
}

} // namespace radvex::media
