#pragma once

#include <set>
#include <string>
#include <string_view>
#include <tuple>

namespace radvex::deidentify {

/// What an identifier is. Where one text is several things, the first of them counts.
enum class IdentifierKind {
    Uid,
    PatientId,
    OtherId,
    PatientName,  ///< as in a value of type PN: "Family^Given=ideographic=phonetic", several with backslashes
    OtherName,    ///< the same, of another person
    BirthDate,    ///< YYYYMMDD
    OtherDate,    ///< YYYYMMDD
    Address,      ///< one or more lines
    Telephone,    ///< in any spelling
    Organization, ///< name of an institution or a department
    Device        ///< serial number or name of a device
};

/// Something that stands in an original file and must not be in a result.
struct Identifier {
    IdentifierKind kind = IdentifierKind::Uid;
    std::string text{}; ///< UTF-8 as it stood in the file, without spaces and nulls around it

    template <typename Self>
    static auto fields(Self& self) {
        return std::tie(self.kind, self.text);
    }

    friend bool operator<(const Identifier& one, const Identifier& other) { return fields(one) < fields(other); }
    friend bool operator==(const Identifier& one, const Identifier& other) { return fields(one) == fields(other); }
};

/// All identifiers of a run, each once. Several processes may each collect some of them.
class KnownIdentifiers {
  public:
    /// Remembers a text without the spaces and nulls around it. An empty one is not remembered.
    void add(IdentifierKind kind, std::string_view utf8Text);
    /// Adds what another process found.
    void merge(KnownIdentifiers others) { mAll.merge(others.mAll); }

    const std::set<Identifier>& all() const { return mAll; }
    bool isEmpty() const { return mAll.empty(); }

    template <typename Self>
    static auto fields(Self& self) {
        return std::tie(self.mAll);
    }

  private:
    std::set<Identifier> mAll{};
};

/// What an identifier is, for people: "name of a patient".
const char* describe(IdentifierKind kind);

} // namespace radvex::deidentify
