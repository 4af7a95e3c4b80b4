#pragma once

#include <set>
#include <string>
#include <string_view>
#include <tuple>
#include <utility>

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

/// A part of a person's name in the bytes of its file. They find the name where the character set is not the one that
/// the file says, and in bytes that are in none.
struct NameBytes {
    IdentifierKind kind = IdentifierKind::PatientName;
    std::string bytes{};     ///< between separators and escape sequences, and without these
    bool isUnspaced = false; ///< of a script without spaces between words, or perhaps of one

    template <typename Self>
    static auto fields(Self& self) {
        return std::tie(self.kind, self.bytes, self.isUnspaced);
    }

    friend bool operator<(const NameBytes& one, const NameBytes& other) { return fields(one) < fields(other); }
    friend bool operator==(const NameBytes& one, const NameBytes& other) { return fields(one) == fields(other); }
};

/// All identifiers of a run, each once. Several processes may each collect some of them.
class KnownIdentifiers {
  public:
    /// Remembers a text without the spaces and nulls around it. An empty one is not remembered.
    void add(IdentifierKind kind, std::string_view utf8Text);
    /// Remembers a part of a name as its file has it.
    void add(NameBytes name) { mNameBytes.insert(std::move(name)); }
    /// Adds what another process found.
    void merge(KnownIdentifiers others) {
        mAll.merge(others.mAll);
        mNameBytes.merge(others.mNameBytes);
    }

    const std::set<Identifier>& all() const { return mAll; }
    const std::set<NameBytes>& nameBytes() const { return mNameBytes; }
    bool isEmpty() const { return mAll.empty() && mNameBytes.empty(); }

    template <typename Self>
    static auto fields(Self& self) {
        return std::tie(self.mAll, self.mNameBytes);
    }

  private:
    std::set<Identifier> mAll{};
    std::set<NameBytes> mNameBytes{};
};

/// What an identifier is, for people: "name of a patient".
const char* describe(IdentifierKind kind);

} // namespace radvex::deidentify
