#pragma once

#include <cstddef>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "deidentify/identifiers/KnownIdentifiers.h"

namespace radvex::deidentify {

class ByteEncodings;
class IdentifierIndex;
class NameBytesFinder;

/// An identifier in a text.
struct Find {
    std::size_t begin = 0;                  ///< bytes of the text
    std::size_t length = 0;                 ///< bytes of the text
    const Identifier* identifier = nullptr; ///< lives as long as the finder
};

/// Finds known identifiers in texts and in bytes. A find is made of whole words; in texts, letters that stand beside
/// digits in one word count as words too. Neither case nor accents count. The time does not depend on how many
/// identifiers are known.
///
/// - A UID is found as a whole: "1.2.3" is not in "1.2.3.4", but in "CT.1.2.3.dcm".
/// - An ID or a device is found with any of " _-./" between its parts. One of fewer than 4 characters must be the whole
///   text. Without the zeros that it begins with it is found too when 4 digits are left. In texts, one of 5 characters
///   may have a separator between letters and digits or lack it, and it may begin and end beside other letters with 5
///   digits: "AB 123", "MRN12345".
/// - Of a name each word of 3 letters is found, and shorter ones and initials beside another word of the name. It is
///   found with "ae" for "ä" and the other way round, and run together: "smithjohn", "jsmith", "xuli". In texts, words
///   of 4 letters are found beside digits: "smith2020". Scripts without spaces between words are found anywhere from 2
///   characters on; whatever is no letter separates the parts of such a name.
/// - A date is found in the usual spellings, with two digits for the year too, and with the name of the month in eight
///   languages. Only a birth date is found in six digits, "700305", and as "05-03-70".
/// - An address, and each part of it that has a digit or two words, is found with any punctuation; so is an
/// organization.
/// - A telephone number is found however its digits are grouped, with and without the code of its country.
///
/// Words that say nothing about a person are never found by themselves, see MeaninglessWords.h.
class IdentifierFinder {
  public:
    explicit IdentifierFinder(const KnownIdentifiers& known);
    ~IdentifierFinder();
    IdentifierFinder(IdentifierFinder&&) noexcept;
    IdentifierFinder& operator=(IdentifierFinder&&) noexcept;

    bool isEmpty() const;

    /// Every find, in order. Finds do not overlap; of those that would, the longest is taken.
    /// @param utf8Text  any bytes; those that are no UTF-8 separate words
    std::vector<Find> findAll(std::string_view utf8Text) const;

    /// An identifier that stands somewhere in bytes, such as those of a file: as UTF-8, Latin-1, or UTF-16 of either
    /// byte order. Only what pixels do not show by chance is looked for: UIDs, IDs, telephone numbers, addresses and
    /// organizations of 8 characters, names of 7, and birth dates such as 1970-03-05 and 05.03.1970. A name is found as
    /// it stood in the file, without accents, and with umlauts as two letters; an address by each of its lines. The
    /// bytes of a name are found as they stood in their file too, see NameBytesFinder.
    std::optional<Identifier> findInBytes(std::string_view bytes) const;

    /// A name whose bytes stand in a text as they stood in the file of the name, whatever their character set.
    /// @param bytes  of the text, as the file has it
    std::optional<Identifier> findNameBytesIn(std::string_view bytes) const;

    /// The same as `findInBytes` in a file, which is read in pieces. @throws std::runtime_error  part of a sentence: it
    /// cannot be read
    std::optional<Identifier> findInFile(const std::string& path) const;

  private:
    friend class ByteSearch;

    std::unique_ptr<const IdentifierIndex> mIndex;
    std::unique_ptr<const ByteEncodings> mEncodings;
    std::unique_ptr<const NameBytesFinder> mNames;
};

} // namespace radvex::deidentify
