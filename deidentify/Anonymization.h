#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <set>
#include <string>
#include <tuple>
#include <vector>

#include "media/FolderWalk.h"

// What the command does to files that the library has anonymized: one run over a file, a folder or a medium. The
// code that needs DCMTK is in radvexDatasets.so, behind the interface below.

namespace radvex::deidentify {

/// A value that the user gave to an attribute.
struct GivenValue {
    std::uint16_t group = 0;
    std::uint16_t element = 0;
    std::string value{};
};

struct AnonymizationSettings {
    std::string key{};               ///< of the pseudonyms; empty: one for this run
    bool isIndependent = false;      ///< leave the identifiers as the library made them
    std::vector<GivenValue> given{}; ///< stand above every other new value
};

/// A value that differs between the original and what was made of it.
struct Change {
    std::string attribute{}; ///< "ReferencedImageSequence[1].ReferencedSOPInstanceUID"
    std::string before{};    ///< empty when there was none
    std::string after{};

    template <typename Self>
    static auto fields(Self& self) {
        return std::tie(self.attribute, self.before, self.after);
    }
};

/// Something that may tell who the patient is.
struct Leak {
    std::string attribute{}; ///< keyword; for what is in no dictionary a description: "private attributes of X"
    bool operator<(const Leak& other) const { return attribute < other.attribute; }

    template <typename Self>
    static auto fields(Self& self) {
        return std::tie(self.attribute);
    }
};

/// What is to be done with a path of the input.
enum class FileKind {
    Dicom,
    MaybeDicom, ///< a dataset without the mark of a file begins like this, and other files may
    Directory,
    Other
};

/// Values of the profile that the library can put in place of others.
struct ProfileRule {
    std::string keyword{};
    std::string value{}; ///< may be empty
};

struct Profile {
    std::vector<ProfileRule> rules{};
    std::vector<std::string> notExpressible{}; ///< keywords, and descriptions of groups of attributes
};

/// Identifiers and names that stood in the files of a run before. New values by old for those that have one.
struct Originals {
    std::map<std::string, std::string> newOf{}; ///< UIDs, PatientIDs and StudyIDs
    std::set<std::string> ids{};                ///< PatientIDs and StudyIDs, whatever their length
    std::set<std::string> names{};              ///< parts of patients' names, in capitals

    template <typename Self>
    static auto fields(Self& self) {
        return std::tie(self.newOf, self.ids, self.names);
    }
};

/// One run. Files are taken in two rounds: `map` for each, then `clean` for each, since text anywhere in one file may
/// hold an identifier of another.
class Anonymization {
  public:
    virtual ~Anonymization() = default;

    /// Regular files below a folder and what cannot be read. @throws std::runtime_error  a sentence
    virtual media::FolderWalk list(const std::string& folder) = 0;

    /// Looks at the start of a file, and into one that may be a directory. @throws std::runtime_error  part of a
    /// sentence: it cannot be read
    virtual FileKind kindOf(const std::string& path) = 0;

    /// Makes the identifiers of a file that the library wrote consistent with those of all other files of the run, in
    /// sequences and meta information too, and remembers what they were. Both files must have been read by the library
    /// before, which refuses what would exhaust this process.
    /// @param original  the file before
    /// @param written   what the library made of it
    /// @param mapped    the file to be written
    /// @param changes   receives what differs from the original; null when nobody asks
    /// @throws std::runtime_error  part of a sentence; `mapped` may then be left in part
    virtual void map(const std::string& original, const std::string& written, const std::string& mapped,
                     std::vector<Change>* changes) = 0;

    /// What `map` found since the start or the last call, and which is forgotten then: for a run in several processes,
    /// each with a copy of this object. New values do not depend on what was found before.
    virtual Originals takeOriginals() = 0;
    /// Adds what another copy found. Of two new values for one old the first stays.
    virtual void addOriginals(Originals originals) = 0;

    /// Takes identifiers of the run out of all texts of a mapped file.
    /// @param path     of the mapped file; replaced when a text changes
    /// @param changes  receives what was changed; null when nobody asks
    /// @return whether none is left in its bytes
    /// @throws std::runtime_error  part of a sentence
    virtual bool clean(const std::string& path, std::vector<Change>* changes) = 0;

    /// Finds attributes of a written file, or directory, that may still identify the patient.
    /// @throws std::runtime_error  part of a sentence
    virtual std::set<Leak> examine(const std::string& path) = 0;

    /// Whether the bytes of a file hold an identifier of the run, of 12 or more characters.
    /// @throws std::runtime_error  part of a sentence
    virtual bool holdsIdentifier(const std::string& path) = 0;

    /// Whether a path of the output shows a patient's name or an identifier.
    virtual bool showsIdentity(const std::string& path) = 0;

    /// File IDs that the records of a directory refer to, in their order and once each, with '/' between the parts.
    /// The library must have read it before. @throws std::runtime_error  part of a sentence
    virtual std::vector<std::string> fileIdsOf(const std::string& dicomdir) = 0;

    struct Listed {
        std::string path{};   ///< the file
        std::string fileId{}; ///< with '/' between the parts
    };
    /// Writes a directory for files. @return files that could not be listed, with the reason
    /// @throws std::runtime_error  a sentence
    virtual std::vector<media::RefusedFile> writeDirectory(const std::string& path,
                                                           const std::vector<Listed>& files) = 0;

    /// The replacements of the basic profile of confidentiality.
    virtual Profile basicProfile() = 0;
};

/// Entry of radvexDatasets.so that starts a run, with the result in its last argument.
/// @throws std::runtime_error  a sentence
using StartAnonymizationEntry = void (*)(const AnonymizationSettings& settings, std::unique_ptr<Anonymization>& run);

inline constexpr const char* kStartAnonymizationEntry = "radvexStartAnonymization";

} // namespace radvex::deidentify
