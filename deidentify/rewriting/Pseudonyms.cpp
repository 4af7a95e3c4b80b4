#include "deidentify/rewriting/Pseudonyms.h"

#include <openssl/crypto.h>
#include <openssl/evp.h>
#include <openssl/hmac.h>
#include <sys/random.h>

#include <algorithm>
#include <stdexcept>

namespace radvex::deidentify {

namespace {

/// A number of 16 bytes, most significant first, in decimal.
std::string decimal(std::array<unsigned char, 16> number) {
    std::string digits;
    while (std::any_of(number.begin(), number.end(), [](unsigned char byte) { return byte != 0; })) {
        unsigned remainder = 0;
        for (unsigned char& byte : number) {
            const unsigned part = remainder * 256 + byte;
            byte = static_cast<unsigned char>(part / 10);
            remainder = part % 10;
        }
        digits += static_cast<char>('0' + remainder);
    }
    std::reverse(digits.begin(), digits.end());
    return digits.empty() ? "0" : digits;
}

} // namespace

std::string_view withoutPadding(std::string_view text) {
    constexpr std::string_view kPadding(" \0", 2);
    const std::size_t first = text.find_first_not_of(kPadding);
    return first == std::string_view::npos ? std::string_view()
                                           : text.substr(first, text.find_last_not_of(kPadding) - first + 1);
}

std::string Pseudonyms::randomKey() {
    std::string key(32, '\0');
    if (getrandom(key.data(), key.size(), 0) != static_cast<ssize_t>(key.size())) {
        throw std::runtime_error("The system gives no random bytes for a key.");
    }
    return key;
}

Pseudonyms::Digest Pseudonyms::digest(std::string_view attribute, std::string_view value) const {
    std::string message(attribute);
    message += '\0'; // stands in no name, so that no two pairs make one message
    message += value;
    Digest result{};
    unsigned int length = 0;
    const auto* bytes = reinterpret_cast<const unsigned char*>(message.data());
    if (HMAC(EVP_sha256(), mKey.data(), static_cast<int>(mKey.size()), bytes, message.size(), result.data(), &length) ==
            nullptr ||
        length != result.size()) {
        throw std::runtime_error("The hash of an identifier cannot be computed.");
    }
    return result;
}

std::string Pseudonyms::uid(std::string_view original) const {
    const std::string_view value = withoutPadding(original);
    if (value.empty()) {
        return "";
    }
    const Digest hash = digest("UID", value);
    std::array<unsigned char, 16> uuid{};
    std::copy_n(hash.begin(), uuid.size(), uuid.begin());
    uuid[6] = static_cast<unsigned char>((uuid[6] & 0x0F) | 0x80); // version 8, values of one's own making (RFC 9562)
    uuid[8] = static_cast<unsigned char>((uuid[8] & 0x3F) | 0x80);
    return "2.25." + decimal(uuid);
}

std::string Pseudonyms::id(std::string_view attribute, std::string_view original) const {
    const std::string_view value = withoutPadding(original);
    if (value.empty()) {
        return "";
    }
    constexpr char kDigits[] = "0123456789ABCDEF";
    constexpr std::size_t kBytes = 8; // a StudyID holds 16 characters
    const Digest hash = digest(attribute, value);
    std::string text;
    for (std::size_t index = 0; index < kBytes; ++index) {
        text += kDigits[hash[index] >> 4];
        text += kDigits[hash[index] & 0x0F];
    }
    return text;
}

} // namespace radvex::deidentify
