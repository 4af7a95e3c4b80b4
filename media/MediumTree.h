#pragma once

#include <string>
#include <tuple>
#include <vector>

#include "host/Host.h"
#include "media/Medium.h"

namespace radvex::media {

// The records of a DICOMDIR, level by level. Texts are empty if a record does not have the attribute.

struct MediumSeries {
    std::string key{}; ///< SeriesInstanceUID, else SeriesNumber
    std::string uid{};
    std::string number{};
    std::string description{};
    std::string modality{};
    std::vector<std::string> files{}; ///< paths as the library opens them, in directory order

    template <typename Self>
    static auto fields(Self& self) {
        return std::tie(self.key, self.uid, self.number, self.description, self.modality, self.files);
    }
};

struct MediumStudy {
    std::string key{}; ///< StudyInstanceUID, else StudyID
    std::string uid{};
    std::string date{};
    std::string description{};
    std::vector<MediumSeries> series{};

    template <typename Self>
    static auto fields(Self& self) {
        return std::tie(self.key, self.uid, self.date, self.description, self.series);
    }
};

struct MediumPatient {
    std::string key{}; ///< PatientID, else PatientName
    std::string id{};
    std::string name{};
    std::vector<MediumStudy> studies{};

    template <typename Self>
    static auto fields(Self& self) {
        return std::tie(self.key, self.id, self.name, self.studies);
    }
};

/// Patterns that select patients, studies and series: ECMAScript regular expressions that have to match the whole
/// value.
struct Selection {
    std::string patient = ".*"; ///< on PatientID
    std::string study = ".*";   ///< on StudyInstanceUID
    std::string series = ".*";  ///< on SeriesInstanceUID
};

/// Finds out what is wrong with a pattern, since the library only returns a code.
/// @return why the pattern cannot be used, as part of a sentence; empty if it can
std::string whyUnusable(const std::string& pattern);

/// The pattern that matches this text and nothing else.
std::string exactPattern(const std::string& text);

/// What is read from the records, beside their keys and files.
enum class Records { keys, all };

/// The selected patients, studies and series, in directory order. Studies and series without a key are missing, because
/// the library leaves them out of every result. The directory is read by a process of its own, which it may crash.
/// @param jobs  0: this process reads the directory
/// @throws FileError  a sentence in the user's paths: the library's, or how the process ended
std::vector<MediumPatient> listMedium(velmora::Host& host, const Medium& medium, const Selection& selection,
                                      Records records, std::size_t jobs);

/// Calls `body` with every series, its study and its patient, in directory order.
template <typename Body>
void forEachSeries(const std::vector<MediumPatient>& patients, Body body) {
    for (const MediumPatient& patient : patients) {
        for (const MediumStudy& study : patient.studies) {
            for (const MediumSeries& series : study.series) {
                body(patient, study, series);
            }
        }
    }
}

/// The selection of one series and no other.
Selection selectionOf(const MediumPatient& patient, const MediumStudy& study, const MediumSeries& series);

} // namespace radvex::media
