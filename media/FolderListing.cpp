#include "media/FolderListing.h"

#include <map>
#include <stdexcept>
#include <utility>

#include "files/Errors.h"
#include "media/DatasetsModule.h"
#include "media/FolderReading.h"

namespace radvex::media {

namespace {

/// Finds the element with this key, or makes it.
template <typename Element, typename Make>
Element& at(std::vector<Element>& elements, std::map<std::string, std::size_t>& known, const std::string& key,
            Make make) {
    const auto [place, isNew] = known.try_emplace(key, elements.size());
    if (isNew) {
        elements.push_back(make());
    }
    return elements[place->second];
}

/// Puts files under their patient, study and series.
class ListingBuilder {
  public:
    void add(const std::string& path, const FileDescription& file) {
        const std::string patientKey = mPatientKeys.keyOf(file);
        MediumPatient& patient = at(mPatients, mKnown, patientKey, [&] {
            return MediumPatient{
                file.patientId.empty() ? file.patientName : file.patientId, file.patientId, file.patientName, {}};
        });
        MediumStudy& study = at(patient.studies, mKnownStudies[patientKey], file.study, [&] {
            return MediumStudy{file.study, file.study, file.studyDate, file.studyDescription, {}};
        });
        MediumSeries& series = at(study.series, mKnownSeries[{patientKey, file.study}], file.series, [&] {
            return MediumSeries{file.series, file.series, file.seriesNumber, file.seriesDescription, file.modality, {}};
        });
        series.files.push_back(path);
    }

    std::vector<MediumPatient> take() { return std::move(mPatients); }

  private:
    using Known = std::map<std::string, std::size_t>; // index by key

    PatientKeys mPatientKeys{};
    std::vector<MediumPatient> mPatients{};
    Known mKnown{};
    std::map<std::string, Known> mKnownStudies{};
    std::map<std::pair<std::string, std::string>, Known> mKnownSeries{};
};

} // namespace

FolderListing listFolder(const std::string& folder, std::size_t jobs, const workers::Progress& progress) {
    try {
        std::unique_ptr<FolderReading> reading;
        void* const start = datasetsEntry(kStartListingEntry, "Folders cannot be read");
        reinterpret_cast<StartListingEntry>(start)(folder, reading);
        FolderListing listing{{}, reading->leftOut()};
        ListingBuilder builder;
        forEachDescription(*reading, jobs, "Reading " + folder, progress,
                           [&](std::size_t file, const FileDescription& description) {
                               switch (description.outcome) {
                               case FileDescription::NotForADirectory: ++listing.leftOut.skippedCount; break;
                               case FileDescription::Refused:
                                   listing.leftOut.refused.push_back({reading->path(file), description.reason});
                                   break;
                               case FileDescription::Described:
                                   if (!description.series.empty()) { // palettes and the like belong to no patient
                                       builder.add(reading->path(file), description);
                                   }
                               }
                           });
        listing.patients = builder.take();
        return listing;
    } catch (const std::runtime_error& error) {
        throw FileError(error.what());
    }
}

} // namespace radvex::media
