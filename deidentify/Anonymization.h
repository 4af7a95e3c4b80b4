#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <tuple>
#include <vector>

#include "deidentify/identifiers/KnownIdentifiers.h"
#include "deidentify/profile/ProfileOptions.h"
#include "media/FolderWalk.h"

// The second step of de-identification, after the library has anonymized a file: one run over a file, a folder or a
// medium. The code behind this interface needs DCMTK and is in radvexDatasets.so.

namespace radvex::deidentify {

/// A value that the user gave to an attribute.
struct GivenValue {
    std::uint16_t group = 0;
    std::uint16_t element = 0;
    std::string value{};
};

/// A private attribute that identifies nobody, as the user says: PS3.15, E.3.10.
struct KeptPrivate {
    std::string creator{};
    std::uint16_t group = 0;
    std::uint8_t element = 0; ///< within the block that the creator reserves

    friend bool operator<(const KeptPrivate& left, const KeptPrivate& right) {
        return std::tie(left.creator, left.group, left.element) < std::tie(right.creator, right.group, right.element);
    }
    friend bool operator==(const KeptPrivate& left, const KeptPrivate& right) {
        return std::tie(left.creator, left.group, left.element) == std::tie(right.creator, right.group, right.element);
    }
};

/// How the confidentiality profile is applied.
struct ProfileSettings {
    ProfileOptions options{};
    std::set<KeptPrivate> keptPrivates{};
    std::string masks{};                    ///< rules for masking pixels, as JSON; empty for none
    std::string masksName{};                ///< file of the rules, for messages
    bool isStrict = false;                  ///< no file is written that may still identify the patient
    std::set<std::string> acceptedPixels{}; ///< classes of pixels that may stay, see acceptablePixels()
};

struct AnonymizationSettings {
    std::string key{};                        ///< key of the pseudonyms; empty: a random key for this run
    bool isIndependent = false;               ///< keep the identifiers that the library made
    std::vector<GivenValue> given{};          ///< take precedence over every other new value
    std::optional<ProfileSettings> profile{}; ///< nothing: only identifiers and given values change
};

/// A value that differs between an original file and its result.
struct Change {
    std::string attribute{}; ///< "ReferencedImageSequence[1].ReferencedSOPInstanceUID"
    std::string before{};    ///< empty when the original has none
    std::string after{};

    template <typename Self>
    static auto fields(Self& self) {
        return std::tie(self.attribute, self.before, self.after);
    }
};

/// What may still tell who the patient is: keywords, or descriptions such as "private attributes of X".
using Leaks = std::set<std::string>;

/// What a file of the input is.
enum class FileKind {
    Dicom,
    MaybeDicom, ///< may be a dataset without preamble and mark, or another file that begins like one
    Directory,
    Other
};

/// Identifiers and names in the original files of a run.
struct Originals {
    std::map<std::string, std::string> newOf{}; ///< new values of UIDs, PatientIDs and StudyIDs by old ones
    std::set<std::string> ids{};                ///< PatientIDs and StudyIDs of any length
    std::set<std::string> names{};              ///< parts of patients' names, in capitals

    template <typename Self>
    static auto fields(Self& self) {
        return std::tie(self.newOf, self.ids, self.names);
    }
};

/// What the profile did to one attribute.
struct ProfileStep {
    std::string attribute{}; ///< as in Change
    std::string action{};    ///< "removed", "emptied", "dummy value", "new UID", ...
    std::string rule{};      ///< "basic X/Z", "clean descriptors C", "private attribute", ...

    template <typename Self>
    static auto fields(Self& self) {
        return std::tie(self.attribute, self.action, self.rule);
    }
};

/// A file that the profile was applied to.
struct RewrittenFile {
    std::vector<ProfileStep> steps{};
    Leaks leaks{};

    template <typename Self>
    static auto fields(Self& self) {
        return std::tie(self.steps, self.leaks);
    }
};

/// What an original file tells about its patient.
struct LearntFile {
    KnownIdentifiers identifiers{};
    std::set<std::string> patients{}; ///< PatientIDs, in UTF-8 and without padding
    std::string instance{};           ///< SOPInstanceUID

    template <typename Self>
    static auto fields(Self& self) {
        return std::tie(self.identifiers, self.patients, self.instance);
    }
};

/// The pseudonym of a patient.
struct PatientPseudonym {
    std::string id{};
    std::string name{};
};

/// One run. It goes over the files in two rounds, first `map` for each file and then `clean` for each, because a text
/// in one file may hold an identifier of another file.
class Anonymization {
  public:
    virtual ~Anonymization() = default;

    /// Regular files below a folder, and the files and folders that cannot be read. @throws std::runtime_error  a
    /// sentence
    virtual media::FolderWalk list(const std::string& folder) = 0;

    /// Looks at the start of a file, and into a file that may be a directory.
    /// @throws std::runtime_error  part of a sentence: the file cannot be read
    virtual FileKind kindOf(const std::string& path) = 0;

    /// Makes the identifiers of a file that the library wrote consistent with those of all other files of the run, also
    /// in sequences and in the meta information, and remembers the original ones. The library must have read both files
    /// before, because it refuses files that would exhaust this process.
    /// @param original  path of the original file
    /// @param written   path of the file that the library made of it
    /// @param mapped    path of the file to write
    /// @param changes   receives the differences from the original; may be null
    /// @throws std::runtime_error  part of a sentence; `mapped` may then be incomplete
    virtual void map(const std::string& original, const std::string& written, const std::string& mapped,
                     std::vector<Change>* changes) = 0;

    /// Returns and forgets what `map` has found since the start or the last call. For a run in several processes, each
    /// with a copy of this object. New values do not depend on what was found before.
    virtual Originals takeOriginals() = 0;
    /// Adds what another copy found. An original that is known already keeps its new value.
    virtual void addOriginals(Originals originals) = 0;

    /// Replaces identifiers of the run in all texts of a mapped file.
    /// @param path     path of the file, which is replaced when a text changes
    /// @param changes  receives the changes; may be null
    /// @return whether the bytes of the file hold no identifier any more
    /// @throws std::runtime_error  part of a sentence
    virtual bool clean(const std::string& path, std::vector<Change>* changes) = 0;

    // The two rounds of a run with a profile: `learn` for each file, then `know`, then `rewrite` for each file.

    /// Reads what identifies somebody in an original file. @throws std::runtime_error  part of a sentence
    virtual LearntFile learn(const std::string& original) = 0;
    /// Takes what all files of the run told, for this and all later calls.
    virtual void know(KnownIdentifiers identifiers) = 0;
    /// The pseudonym that the key gives to a PatientID.
    virtual PatientPseudonym pseudonymOf(const std::string& patient) = 0;
    /// Pseudonyms that somebody assigned, by PatientID.
    virtual void assign(std::map<std::string, PatientPseudonym> pseudonyms) = 0;
    /// What may still identify the patient in a file that an earlier run with the same key and settings made of an
    /// instance; nothing when it is another file.
    virtual std::optional<Leaks> earlierResult(const std::string& path, const std::string& instance) = 0;
    /// Writes a file as the profile wants it, and searches it for identifiers of the run.
    /// @throws std::runtime_error  part of a sentence; the new file may then be incomplete
    virtual RewrittenFile rewrite(const std::string& original, const std::string& rewritten) = 0;
    /// The path of the output for one of the input, both relative: identifiers in it get their new values.
    virtual std::string outputPath(const std::string& path) = 0;

    /// The classes of pixels that may show who a patient is, as settings name those that are accepted.
    virtual std::vector<std::string> acceptablePixels() = 0;

    /// Finds attributes of a written file or directory that may still identify the patient.
    /// @throws std::runtime_error  part of a sentence
    virtual Leaks examine(const std::string& path) = 0;

    /// Whether the bytes of a file hold an identifier of the run with 12 or more characters.
    /// @throws std::runtime_error  part of a sentence
    virtual bool holdsIdentifier(const std::string& path) = 0;

    /// Whether a path of the output shows a patient's name or an identifier.
    virtual bool showsIdentity(const std::string& path) = 0;

    /// The File IDs in the records of a directory, in their order, each once, with '/' between the parts.
    /// The library must have read it before. @throws std::runtime_error  part of a sentence
    virtual std::vector<std::string> fileIdsOf(const std::string& dicomdir) = 0;

    struct Listed {
        std::string path{};
        std::string fileId{}; ///< with '/' between the parts
    };
    /// Writes a directory for files. @return files that it cannot list, with the reason
    /// @throws std::runtime_error  a sentence
    virtual std::vector<media::RefusedFile> writeDirectory(const std::string& path,
                                                           const std::vector<Listed>& files) = 0;
};

/// Starts a run. Only radvexDatasets.so holds this function; others call its entry.
/// @throws std::runtime_error  a sentence
std::unique_ptr<Anonymization> startAnonymization(AnonymizationSettings settings);

/// Entry of radvexDatasets.so that starts a run and returns it in the last argument.
/// @throws std::runtime_error  a sentence
using StartAnonymizationEntry = void (*)(const AnonymizationSettings& settings, std::unique_ptr<Anonymization>& run);

inline constexpr const char* kStartAnonymizationEntry = "radvexStartAnonymization";

} // namespace radvex::deidentify
