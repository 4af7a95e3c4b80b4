#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <tuple>
#include <vector>

#include "deidentify/Anonymization.h"
#include "deidentify/identifiers/KnownIdentifiers.h"
#include "deidentify/profile/ProfileOptions.h"

// The check of finished files: what of their originals is left in them. The code behind this interface needs DCMTK and
// is in radvexDatasets.so. It knows nothing of the run that made the files, which may be one of another program.

namespace radvex::deidentify {

/// What finished files may hold.
struct CheckSettings {
    std::optional<ProfileOptions> options{}; ///< nothing: those that each file says were applied to it
    std::set<KeptPrivate> keptPrivates{};
    std::set<std::string> acceptedPixels{}; ///< classes of pixels that somebody has looked at
    std::vector<GivenValue> given{};        ///< values that the user gave to attributes, which may stand
};

/// Hash of an identifier or of a value, so that big archives fit into memory; 0: there is none.
using ValueHash = std::uint64_t;

/// A place that names an instance, series, study or frame of reference, and the UID that it holds.
struct Reference {
    ValueHash place = 0;
    ValueHash target = 0;

    friend bool operator<(const Reference& left, const Reference& right) {
        return std::tie(left.place, left.target) < std::tie(right.place, right.target);
    }
    friend bool operator==(const Reference& left, const Reference& right) {
        return std::tie(left.place, left.target) == std::tie(right.place, right.target);
    }
};

/// Where an instance belongs and what it refers to.
struct InstanceFacts {
    ValueHash patient = 0; ///< what tells patients apart: PatientID, or what stands for it
    ValueHash patientId = 0;
    ValueHash study = 0;
    ValueHash series = 0;
    ValueHash instance = 0;
    ValueHash frameOfReference = 0;
    bool isShort = false; ///< raw pixels hold less than the attributes say
    std::vector<Reference> references{};

    template <typename Self>
    static auto fields(Self& self) {
        return std::tie(self.patient, self.patientId, self.study, self.series, self.instance, self.frameOfReference,
                        self.isShort, self.references);
    }
};

/// What an original tells.
struct OriginalFile {
    std::vector<KnownIdentifiers> identifiers{}; ///< for each of the sets of options
    std::vector<ValueHash> values{};             ///< each with its attribute, each once
    InstanceFacts facts{};

    template <typename Self>
    static auto fields(Self& self) {
        return std::tie(self.identifiers, self.values, self.facts);
    }
};

/// A record of a directory that lists a file, with the keys of the records above it.
struct ListedRecord {
    std::string fileId{}; ///< with '/' between the parts
    InstanceFacts keys{};

    template <typename Self>
    static auto fields(Self& self) {
        return std::tie(self.fileId, self.keys);
    }
};

/// What a finished file holds. The texts have attributes and kinds in them, and no values.
struct CheckedFile {
    std::set<std::string> findings{};
    std::set<std::string> pixels{}; ///< pictures and documents that nobody looked at
    std::set<std::string> hints{};  ///< what may be nothing
    ProfileOptions options{};       ///< that the file was judged by
    bool showsIdentity = false;     ///< its path holds an identifier
    bool isDirectory = false;       ///< of a medium
    InstanceFacts facts{};
    std::vector<ListedRecord> records{}; ///< of a directory

    template <typename Self>
    static auto fields(Self& self) {
        return std::tie(self.findings, self.pixels, self.hints, self.options, self.showsIdentity, self.isDirectory,
                        self.facts, self.records);
    }
};

/// What all originals told.
struct KnownOriginals {
    std::vector<ProfileOptions> options{};
    std::vector<KnownIdentifiers> identifiers{}; ///< for each of the options
    std::vector<ValueHash> values{};             ///< in ascending order
};

/// Checks files one by one. With originals, `claimsOf` is called for each finished file, then `learn` for each
/// original, then `know`, and then `check`.
class FileCheck {
  public:
    virtual ~FileCheck() = default;

    /// The options of the profile that a file says were applied to it (CID 7050).
    /// @throws std::runtime_error  part of a sentence
    virtual ProfileOptions claimsOf(const std::string& path) = 0;

    /// Reads what must not be left of an original. @throws std::runtime_error  part of a sentence
    virtual OriginalFile learn(const std::string& original, const std::vector<ProfileOptions>& options) = 0;
    /// Takes what all originals told, for all later calls.
    virtual void know(KnownOriginals originals) = 0;

    /// Looks for everything that should not be in a finished file, which may be a directory of a medium.
    /// @param name  path that goes with the file, relative to the folder that is passed on
    /// @param optionsOfFiles  for a directory, which says nothing of itself: what its files say
    /// @throws std::runtime_error  part of a sentence: it cannot be read
    virtual CheckedFile check(const std::string& path, const std::string& name,
                              const ProfileOptions& optionsOfFiles) = 0;
    /// Looks for identifiers of the originals in the bytes and in the path of a file that is not DICOM.
    /// @throws std::runtime_error  part of a sentence: it cannot be read
    virtual CheckedFile search(const std::string& path, const std::string& name) = 0;
};

/// Only radvexDatasets.so holds this function; others call its entry.
std::unique_ptr<FileCheck> startCheck(CheckSettings settings);

/// Entry of radvexDatasets.so that starts a check and returns it in the last argument.
using StartCheckEntry = void (*)(const CheckSettings& settings, std::unique_ptr<FileCheck>& check);

inline constexpr const char* kStartCheckEntry = "radvexStartCheck";

} // namespace radvex::deidentify
