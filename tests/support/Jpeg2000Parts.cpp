#include "tests/support/Jpeg2000Parts.h"

namespace radvex::test {

namespace {

// Encoded by ojph_compress -reversible true -num_decomps 1, without the comment.
constexpr std::array<unsigned char, 118> kHighThroughput{
    0xFF, 0x4F, 0xFF, 0x51, 0x00, 0x29, 0x40, 0x00, 0x00, 0x00, 0x00, 0x05, 0x00, 0x00, 0x00, 0x03, 0x00,
    0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x05, 0x00, 0x00, 0x00, 0x03, 0x00, 0x00,
    0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x01, 0x0B, 0x01, 0x01, 0xFF, 0x50, 0x00, 0x08, 0x00, 0x02,
    0x00, 0x00, 0x00, 0x07, 0xFF, 0x52, 0x00, 0x0C, 0x00, 0x02, 0x00, 0x01, 0x00, 0x01, 0x04, 0x04, 0x40,
    0x01, 0xFF, 0x5C, 0x00, 0x07, 0x20, 0x70, 0x70, 0x70, 0x78, 0xFF, 0x90, 0x00, 0x0A, 0x00, 0x00, 0x00,
    0x00, 0x00, 0x26, 0x00, 0x01, 0xFF, 0x93, 0xC0, 0x01, 0x5E, 0xF1, 0x8F, 0x5B, 0x5C, 0xE3, 0x11, 0x2F,
    0xC6, 0xFC, 0x00, 0x84, 0x01, 0x78, 0xB6, 0x00, 0xC0, 0x01, 0x18, 0x80, 0x03, 0x00, 0xFF, 0xD9,
};

} // namespace

std::string bigEndian(std::uint32_t number, int bytes) {
    std::string text;
    for (int shift = 8 * (bytes - 1); shift >= 0; shift -= 8) {
        text += static_cast<char>(number >> shift & 0xFFU);
    }
    return text;
}

std::string jpeg2000Segment(unsigned kind, const std::string& content) {
    return bigEndian(0xFF00U | kind, 2) + bigEndian(static_cast<std::uint32_t>(2 + content.size()), 2) + content;
}

std::string Jpeg2000Parts::joined() const {
    std::string stream = header;
    for (const std::string& tilePart : tileParts) {
        stream += tilePart;
    }
    return stream + end;
}

Jpeg2000Parts partsOf(const std::string& stream) {
    const std::string start("\xFF\x90\x00\x0A", 4);
    const auto lengthAt = [&](std::size_t offset) {
        std::size_t length = 0;
        for (std::size_t index = offset + 6; index < offset + 10; ++index) {
            length = length << 8 | static_cast<unsigned char>(stream[index]);
        }
        return length;
    };
    std::size_t offset = stream.find(start);
    Jpeg2000Parts parts{.header = stream.substr(0, offset)};
    while (stream.compare(offset, start.size(), start) == 0) {
        parts.tileParts.push_back(stream.substr(offset, lengthAt(offset)));
        offset += lengthAt(offset);
    }
    parts.end = stream.substr(offset);
    return parts;
}

std::string EmptyJpeg2000::coding() const {
    std::string content = bigEndian(style | (precincts.empty() ? 0U : 1U), 1) +
                          bigEndian(static_cast<std::uint32_t>(progression), 1) + bigEndian(layers, 2) +
                          bigEndian(0, 1) + bigEndian(levels, 1) + std::string("\4\4") + bigEndian(blockStyle, 1) +
                          "\1";
    for (const unsigned sizes : precincts) {
        content += bigEndian(sizes, 1);
    }
    return content;
}

std::string EmptyJpeg2000::stream() const {
    std::string size = bigEndian(0, 2);
    for (const std::uint32_t number : {columns, rows, left, top, tileColumns == 0 ? columns : tileColumns,
                                       tileRows == 0 ? rows : tileRows, tileLeft, tileTop}) {
        size += bigEndian(number, 4);
    }
    size += bigEndian(static_cast<std::uint32_t>(components.size()), 2);
    for (const auto& component : components) {
        for (const int number : component) {
            size += bigEndian(static_cast<std::uint32_t>(number), 1);
        }
    }
    std::string quantization = bigEndian(0x40, 1); // none, two guard bits
    quantization.append(3 * std::size_t{levels} + 1, '\x40');
    std::string bytes = bigEndian(0xFF4F, 2) + jpeg2000Segment(0x51, size) + jpeg2000Segment(0x52, coding()) +
                        jpeg2000Segment(0x5C, quantization) + moreHeader;
    const std::size_t length = 12 + tileHeader.size() + 2 + bytesOfTile + moreData.size();
    for (std::uint32_t tile = 0; tile < tiles; ++tile) {
        bytes += jpeg2000Segment(0x90, bigEndian(tile, 2) + bigEndian(static_cast<std::uint32_t>(length), 4) +
                                           std::string("\0\1", 2));
        bytes += tileHeader + bigEndian(0xFF93, 2) + std::string(bytesOfTile, '\0') + moreData;
    }
    return bytes + bigEndian(0xFFD9, 2);
}

const std::string& htj2kStream() {
    static const std::string stream(kHighThroughput.begin(), kHighThroughput.end());
    return stream;
}

std::vector<int> htj2kSamples() {
    std::vector<int> samples;
    for (int row = 0; row < 3; ++row) {
        for (int column = 0; column < 5; ++column) {
            samples.push_back(800 * row + 160 * column + 7);
        }
    }
    return samples;
}

} // namespace radvex::test
