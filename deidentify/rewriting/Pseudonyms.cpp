#include "deidentify/rewriting/Pseudonyms.h"

#include <openssl/bn.h>
#include <openssl/crypto.h>
#include <openssl/evp.h>
#include <openssl/hmac.h>
#include <sys/random.h>

#include <algorithm>
#include <memory>
#include <span>
#include <stdexcept>

namespace radvex::deidentify {

namespace {

/// A number in decimal. @param bytes  the most significant one first
std::string decimal(std::span<const unsigned char> bytes) {
    const auto freeText = [](char* text) { OPENSSL_free(text); };
    const std::unique_ptr<BIGNUM, decltype(&BN_free)> number(
        BN_bin2bn(bytes.data(), static_cast<int>(bytes.size()), nullptr), &BN_free);
    const std::unique_ptr<char, decltype(freeText)> digits(number == nullptr ? nullptr : BN_bn2dec(number.get()));
    if (digits == nullptr) {
        throw std::runtime_error("The new value of an identifier cannot be computed.");
    }
    return digits.get();
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
    message += '\0'; // no name holds a null, so that two different pairs never give the same message
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
    uuid[6] = static_cast<unsigned char>((uuid[6] & 0x0F) | 0x80); // version 8: an application's own values (RFC 9562)
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

int Pseudonyms::daysToShift(std::string_view patient) const {
    constexpr unsigned kLeast = 30;
    constexpr unsigned kMost = 1826;
    const Digest hash = digest("days to shift", withoutPadding(patient));
    const unsigned number = (unsigned{hash[0]} << 16) + (unsigned{hash[1]} << 8) + hash[2];
    return -static_cast<int>(kLeast + number % (kMost - kLeast + 1));
}

} // namespace radvex::deidentify
