#include "formats/pictures/NpyHeader.h"

#include <charconv>
#include <cstring>
#include <optional>
#include <string_view>

#include "files/Errors.h"
#include "formats/json/Text.h"

namespace radvex::formats {

namespace {

constexpr std::string_view kMagic("\x93NUMPY", 6);

[[noreturn]] void failToParse(const std::string& name, const std::string& sentence) {
    throw FileError(name + " " + sentence);
}

/// Reads the text of a Python dictionary such as {'descr': '<f8', 'fortran_order': False, 'shape': (3, 4), }.
class DictionaryText {
  public:
    explicit DictionaryText(std::string_view text) : mText(text) {}

    bool take(std::string_view word) {
        skipSpace();
        if (!mText.starts_with(word)) {
            return false;
        }
        mText.remove_prefix(word.size());
        return true;
    }
    std::optional<std::string> takeText() {
        skipSpace();
        if (mText.empty() || (mText.front() != '\'' && mText.front() != '"')) {
            return std::nullopt;
        }
        const std::size_t end = mText.find(mText.front(), 1);
        if (end == std::string_view::npos) {
            return std::nullopt;
        }
        std::string text(mText.substr(1, end - 1));
        mText.remove_prefix(end + 1);
        return text;
    }
    std::optional<std::uint64_t> takeNumber() {
        skipSpace();
        std::uint64_t number = 0;
        const auto [end, error] = std::from_chars(mText.data(), mText.data() + mText.size(), number);
        if (error != std::errc{}) {
            return std::nullopt;
        }
        mText.remove_prefix(static_cast<std::size_t>(end - mText.data()));
        return number;
    }
    bool isAtEnd() {
        skipSpace();
        return mText.empty();
    }

  private:
    void skipSpace() {
        const std::size_t start = mText.find_first_not_of(" \t\r\n");
        mText.remove_prefix(start == std::string_view::npos ? mText.size() : start);
    }

    std::string_view mText;
};

/// Takes elements between brackets, separated by commas; the last one may have a comma too.
template <typename TakeElement>
bool takeList(DictionaryText& text, std::string_view opening, std::string_view closing, TakeElement takeElement) {
    if (!text.take(opening)) {
        return false;
    }
    for (bool isClosed = text.take(closing); !isClosed;) {
        if (!takeElement()) {
            return false;
        }
        const bool hasComma = text.take(",");
        isClosed = text.take(closing);
        if (!isClosed && !hasComma) {
            return false;
        }
    }
    return true;
}

bool takeShape(DictionaryText& text, std::vector<std::uint64_t>& shape) {
    return takeList(text, "(", ")", [&] {
        const auto number = text.takeNumber();
        shape.push_back(number.value_or(0));
        (void)text.take("L"); // Python 2 marked long integers like this
        return number.has_value();
    });
}

/// Type and byte order of a text such as "<f8".
bool takeType(DictionaryText& text, NpyHeader& header) {
    const auto name = text.takeText();
    if (!name || name->size() < 3 || std::string_view("<>=|").find(name->front()) == std::string_view::npos) {
        return false; // for records, this is a list
    }
    header.isBigEndian = name->front() == '>';
    header.type = name->substr(1);
    if (std::string_view("biufc").find(header.type.front()) == std::string_view::npos) {
        return false; // text, dates, objects
    }
    const char* const end = name->data() + name->size();
    const auto [last, error] = std::from_chars(name->data() + 2, end, header.itemSize);
    return error == std::errc{} && last == end && header.itemSize > 0;
}

bool takeEntry(DictionaryText& text, NpyHeader& header) {
    const auto key = text.takeText();
    if (!key || !text.take(":")) {
        return false;
    }
    if (*key == "descr") {
        return takeType(text, header);
    }
    if (*key == "fortran_order") {
        header.isFortranOrder = text.take("True");
        return header.isFortranOrder || text.take("False");
    }
    return *key == "shape" && header.shape.empty() && takeShape(text, header.shape);
}

bool takeDictionary(DictionaryText& text, NpyHeader& header) {
    int entries = 0;
    const bool isList = takeList(text, "{", "}", [&] {
        ++entries;
        return takeEntry(text, header);
    });
    return isList && entries == 3 && !header.type.empty() && text.isAtEnd();
}

/// Offset and length of the dictionary's text.
std::pair<std::size_t, std::size_t> findText(const std::string& name, std::span<const std::byte> bytes) {
    constexpr std::size_t kVersion = kMagic.size();
    const auto byteAt = [&](std::size_t index) { return std::to_integer<std::size_t>(bytes[index]); };
    if (bytes.size() < kVersion + 2) {
        failToParse(name, "is cut off in its header.");
    }
    const std::size_t major = byteAt(kVersion);
    if (major < 1 || major > 3) {
        failToParse(name, "has version " + std::to_string(major) + " of the .npy format; 1 to 3 can be read.");
    }
    const std::size_t lengthBytes = major == 1 ? 2 : 4;
    const std::size_t start = kVersion + 2 + lengthBytes;
    std::size_t length = 0;
    for (std::size_t index = 0; index < lengthBytes && kVersion + 2 + index < bytes.size(); ++index) {
        length |= byteAt(kVersion + 2 + index) << (8 * index);
    }
    if (bytes.size() < start || length > bytes.size() - start) {
        failToParse(name, "is cut off in its header.");
    }
    return {start, length};
}

void requireLength(const std::string& name, const NpyHeader& header, std::size_t found) {
    std::uint64_t expected = header.itemSize;
    bool isTooLarge = false;
    bool isEmpty = false;
    for (const std::uint64_t dimension : header.shape) {
        isEmpty = isEmpty || dimension == 0;
        isTooLarge = __builtin_mul_overflow(expected, dimension, &expected) || isTooLarge;
    }
    if (isEmpty) {
        failToParse(name, "holds no pixels.");
    }
    if (isTooLarge || expected != found) {
        const std::string promised = isTooLarge ? "more than 64 bits can count" : std::to_string(expected);
        failToParse(name, "has " + std::to_string(found) + " bytes of data; type and shape of its header need " +
                              promised + ".");
    }
}

} // namespace

std::string numpyType(vint type) {
    static constexpr const char* names[] = {"", "|i1", "|u1", "<i2", "<u2", "<i4", "<u4", "<i8", "<u8", "<f4", "<f8"};
    return names[type];
}

std::string npyHeader(vint type, const std::vector<vint>& shape) {
    std::string description = "{'descr': '" + numpyType(type) + "', 'fortran_order': False, 'shape': (";
    for (const vint dimension : shape) {
        description += std::to_string(dimension) + ",";
    }
    description += "), }";
    // Magic, version and length are 10 bytes; the whole header ends with a line feed at a multiple of 64.
    constexpr std::size_t kPrefix = 10;
    const std::size_t padding = 63 - (kPrefix + description.size()) % 64;
    description += std::string(padding, ' ') + "\n";
    std::string text = std::string(kMagic) + std::string("\x01\x00", 2);
    text += static_cast<char>(description.size() & 0xFF);
    text += static_cast<char>(description.size() >> 8);
    return text + description;
}

bool isNpy(std::span<const std::byte> bytes) {
    return bytes.size() >= kMagic.size() && std::memcmp(bytes.data(), kMagic.data(), kMagic.size()) == 0;
}

NpyHeader readNpyHeader(const std::string& name, std::span<const std::byte> bytes) {
    const auto [start, length] = findText(name, bytes);
    const std::string_view text(reinterpret_cast<const char*>(bytes.data()) + start, length);
    NpyHeader header;
    DictionaryText dictionary(text);
    if (!takeDictionary(dictionary, header)) {
        failToParse(name, "has a header that does not describe an array of plain numbers: " + shortened(text) + ".");
    }
    header.dataOffset = start + length;
    requireLength(name, header, bytes.size() - header.dataOffset);
    return header;
}

} // namespace radvex::formats
