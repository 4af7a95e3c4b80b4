#pragma once

#include <array>
#include <string>
#include <string_view>

namespace radvex::deidentify {

/// New identifiers made out of old ones with a keyed hash (HMAC-SHA256): the same old value gives the same new one for
/// as long as the key is the same, so that no list of old and new values has to be kept. Without the key nobody can
/// tell whether a guessed value is the old one.
class Pseudonyms {
  public:
    /// @param key  any bytes; one that can be guessed protects nothing
    explicit Pseudonyms(std::string key) : mKey(std::move(key)) {}

    /// A key that no other run has. @throws std::runtime_error  a sentence, when the system gives no random bytes
    static std::string randomKey();

    /// "2.25." and a decimal number of 122 hashed bits: a UID made of a UUID, 44 characters at most. Spaces and nulls
    /// around the old value do not count. Empty for an empty value.
    std::string uid(std::string_view original) const;

    /// 16 hexadecimal digits, which any text attribute can hold. Attributes of another name give other values.
    /// @param attribute  "PatientID"
    std::string id(std::string_view attribute, std::string_view original) const;

  private:
    using Digest = std::array<unsigned char, 32>;
    Digest digest(std::string_view attribute, std::string_view value) const;

    std::string mKey;
};

/// Without the spaces and nulls around it, which are padding in texts and UIDs.
std::string_view withoutPadding(std::string_view text);

} // namespace radvex::deidentify
