#pragma once

#include <array>
#include <string>
#include <string_view>

namespace radvex::deidentify {

/// Makes new identifiers out of old ones with a keyed hash (HMAC-SHA256). With the same key the same old value always
/// gives the same new one, so that no list of old and new values has to be kept. Without the key nobody can tell
/// whether a guessed value is the old one.
class Pseudonyms {
  public:
    /// @param key  any bytes; a key that can be guessed protects nothing
    explicit Pseudonyms(std::string key) : mKey(std::move(key)) {}

    /// A new random key. @throws std::runtime_error  a sentence, when the system gives no random bytes
    static std::string randomKey();

    /// A UID made of a UUID: "2.25." and a decimal number of 122 hashed bits, 44 characters at most. Spaces and nulls
    /// around the old value do not count. An empty value gives an empty one.
    std::string uid(std::string_view original) const;

    /// 16 hexadecimal digits, which any text attribute can hold. The same value gives another result for another
    /// attribute.
    /// @param attribute  a keyword such as "PatientID"
    std::string id(std::string_view attribute, std::string_view original) const;

    /// By how many days the dates of a patient move: into the past, by one month to five years.
    /// @param patient  PatientID, or what stands for it where a file has none
    int daysToShift(std::string_view patient) const;

  private:
    using Digest = std::array<unsigned char, 32>;
    Digest digest(std::string_view attribute, std::string_view value) const;

    std::string mKey;
};

/// The text without the spaces and nulls around it, which are padding in texts and UIDs.
std::string_view withoutPadding(std::string_view text);

} // namespace radvex::deidentify
