#pragma once

#include <string>
#include <vector>

#include "host/Host.h"
#include "media/Medium.h"
#include "media/MediumRecords.h"

namespace radvex::media {

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

/// The selected patients, studies and series, in directory order. Of a DICOMDIR, studies and series without a key are
/// missing, because the library leaves them out of every result; it is read by a process of its own, which it may
/// crash.
/// @param jobs  0: this process reads the directory
/// @throws FileError  a sentence in the user's paths: the library's, or how the process ended
std::vector<MediumPatient> listMedium(velmora::Host& host, const Medium& medium, const Selection& selection,
                                      Records records, std::size_t jobs);

/// The selection of one series and no other.
Selection selectionOf(const MediumPatient& patient, const MediumStudy& study, const MediumSeries& series);

} // namespace radvex::media
