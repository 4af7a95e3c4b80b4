#pragma once

#include <functional>
#include <map>
#include <set>
#include <string>

#include "deidentify/Anonymization.h"

namespace radvex::deidentify {

/// The pseudonyms of patients in a table that the user keeps: CSV in UTF-8 (RFC 4180) with the columns "original ID",
/// "new ID" and "new name". Patients whom it does not have get a pseudonym and are added. The table names patients: a
/// new one can be read by its owner only. Runs that use one table at the same time wait for each other.
/// @param patients  PatientIDs of the run
/// @param isWritten whether patients are added to the file
/// @param make      a pseudonym for a patient who has none
/// @throws FileError  the table cannot be read or written, or gives two patients one new ID
std::map<std::string, PatientPseudonym> pseudonymsOf(const std::string& path, const std::set<std::string>& patients,
                                                     bool isWritten,
                                                     const std::function<PatientPseudonym(const std::string&)>& make);

} // namespace radvex::deidentify
