#pragma once

#include <memory>
#include <string>
#include <tuple>

#include "media/FolderIndex.h"

namespace radvex::media {

/// What the records of one file in a DICOMDIR are made from. Plain values, so that another process than the one that
/// writes the directory can describe a file.
struct FileDescription {
    enum Outcome { Described, NotForADirectory, Refused };
    Outcome outcome = Described;
    std::string reason{}; ///< why it was refused, or why a record is missing: "it has no StudyInstanceUID"

    /// They identify patient, study and series; empty for a file whose record belongs to the root.
    std::string patientId{};
    std::string patientName{};
    std::string study{};
    std::string series{};

    /// Records as datasets in Explicit VR Little Endian. Those of patient, study and series are empty if the record of
    /// the file belongs to the root, if an earlier file has them, or if they cannot be made.
    std::string patientRecord{};
    std::string studyRecord{};
    std::string seriesRecord{};
    std::string instanceRecord{};
    int instanceType = 0; ///< an E_DirRecType

    template <typename Self>
    static auto fields(Self& self) {
        return std::tie(self.outcome, self.reason, self.patientId, self.patientName, self.study, self.series,
                        self.patientRecord, self.studyRecord, self.seriesRecord, self.instanceRecord,
                        self.instanceType);
    }
};

/// Makes the index of a folder step by step, as indexFolder documents it. What was made in the output folder is removed
/// with this object, unless it was finished.
class FolderIndexing {
  public:
    virtual ~FolderIndexing() = default;

    virtual std::size_t fileCount() const = 0;
    /// Reads a file. A forked process may do it: the description is all that it changes.
    virtual FileDescription describe(std::size_t file) = 0;
    /// Takes the descriptions, in the order of the files.
    /// @throws std::runtime_error  a sentence: the output folder cannot be written
    virtual void take(std::size_t file, const FileDescription& description) = 0;
    /// Writes the DICOMDIR if any file can be listed in it.
    /// @throws std::runtime_error  a sentence: there is a DICOMDIR already, or it cannot be written
    virtual FolderIndex finish() = 0;
};

/// Entry of radvexDatasets.so that starts an indexing, with the result in its last argument.
/// @throws std::runtime_error  a sentence: the folder cannot be read, there is a DICOMDIR in `output` already, or it
///                             cannot be written there
using StartIndexingEntry = void (*)(const std::string& folder, const std::string& output,
                                    std::unique_ptr<FolderIndexing>& indexing);

inline constexpr const char* kStartIndexingEntry = "radvexStartIndexing";

} // namespace radvex::media
