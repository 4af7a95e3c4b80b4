#include "formats/pictures/Npy.h"

#include "files/OutputFile.h"

namespace radvex::formats {

std::string numpyType(vint type) {
    static constexpr const char* names[] = {"", "|i1", "|u1", "<i2", "<u2", "<i4", "<u4", "<i8", "<u8", "<f4", "<f8"};
    return names[type];
}

namespace {

std::string header(vint type, const std::vector<vint>& shape) {
    std::string description = "{'descr': '" + numpyType(type) + "', 'fortran_order': False, 'shape': (";
    for (const vint dimension : shape) {
        description += std::to_string(dimension) + ",";
    }
    description += "), }";
    // Magic, version and length are 10 bytes; the whole header ends with a line feed at a multiple of 64.
    constexpr std::size_t kPrefix = 10;
    const std::size_t padding = 63 - (kPrefix + description.size()) % 64;
    description += std::string(padding, ' ') + "\n";
    std::string text("\x93NUMPY\x01\x00", 8);
    text += static_cast<char>(description.size() & 0xFF);
    text += static_cast<char>(description.size() >> 8);
    return text + description;
}

} // namespace

void writeNpy(const std::string& path, vint type, const std::vector<vint>& shape,
              const std::vector<std::span<const std::byte>>& parts) {
    files::writeOutputFile(path, [&](std::FILE* file) {
        const std::string start = header(type, shape);
        bool isWritten = std::fwrite(start.data(), 1, start.size(), file) == start.size();
        for (const auto part : parts) {
            isWritten = isWritten && std::fwrite(part.data(), 1, part.size(), file) == part.size();
        }
        return isWritten;
    });
}

} // namespace radvex::formats
