#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace radvex::test {

/// A field of a CSA header.
struct CsaEntry {
    std::string name{};
    std::vector<std::string> values{};
};

inline std::string littleEndian(std::int64_t number) {
    std::string bytes;
    for (unsigned shift = 0; shift < 32; shift += 8) {
        bytes.push_back(static_cast<char>(static_cast<std::uint64_t>(number) >> shift & 0xFF));
    }
    return bytes;
}

/// The value of the private attribute in which a Siemens scanner writes such a header. As there, fields have six items,
/// most of them unused.
/// @param isOld  the format without "SV10"
inline std::string csaHeader(const std::vector<CsaEntry>& entries, bool isOld = false) {
    constexpr std::size_t kItems = 6;
    std::string bytes = isOld ? "" : "SV10\4\3\2\1";
    bytes += littleEndian(static_cast<std::int64_t>(entries.size())) + littleEndian(77);
    for (const CsaEntry& entry : entries) {
        std::string name = entry.name;
        name.resize(64, '\0');
        bytes += name + littleEndian(static_cast<std::int64_t>(entry.values.size())) + std::string("FD\0\0", 4) +
                 littleEndian(4) + littleEndian(kItems) + littleEndian(77);
        for (std::size_t index = 0; index < kItems; ++index) {
            std::string value = index < entry.values.size() ? entry.values[index] + '\0' : std::string{};
            const auto length = static_cast<std::int64_t>(value.size());
            bytes += littleEndian(isOld ? length + static_cast<std::int64_t>(kItems) : length) + littleEndian(length) +
                     littleEndian(77) + littleEndian(length);
            value.resize((value.size() + 3) / 4 * 4, '\0');
            bytes += value;
        }
    }
    return bytes;
}

} // namespace radvex::test
