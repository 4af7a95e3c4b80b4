#include "fuzz/DicomMutation.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <string>
#include <string_view>

namespace radvex::fuzz {

namespace {

using Input = std::vector<unsigned char>;

/// Offsets in the input, in bytes from its beginning.
struct Element {
    std::size_t tag = 0;
    std::size_t lengthField = 0;
    std::size_t lengthBytes = 0;
    std::size_t value = 0;
    std::size_t length = 0; ///< no more than the input holds
    std::string_view vr{};  ///< empty for items and their ends
};

constexpr std::string_view kRepresentations =
    "AEASATCSDADSDTFDFLISLOLTOBODOFOLOVOWPNSHSLSQSSSTSVTMUCUIULUNURUSUTUV"; // two letters each

std::uint32_t numberAt(const Input& input, std::size_t offset, std::size_t bytes) {
    std::uint32_t number = 0;
    for (std::size_t index = 0; index < bytes; ++index) {
        number |= static_cast<std::uint32_t>(input[offset + index]) << (8 * index);
    }
    return number;
}

void putNumber(Input& input, std::size_t offset, std::size_t bytes, std::uint32_t number) {
    for (std::size_t index = 0; index < bytes; ++index) {
        input[offset + index] = static_cast<unsigned char>(number >> (8 * index));
    }
}

/// The representation that stands at an offset; empty when none does.
std::string_view representationAt(const Input& input, std::size_t offset) {
    for (std::size_t index = 0; index + 1 < kRepresentations.size(); index += 2) {
        if (std::memcmp(input.data() + offset, kRepresentations.data() + index, 2) == 0) {
            return kRepresentations.substr(index, 2);
        }
    }
    return {};
}

bool hasLongLength(std::string_view vr) {
    static constexpr std::string_view kLong = "OBODOFOLOVOWSQSVUCUNURUTUV";
    for (std::size_t index = 0; index < kLong.size(); index += 2) {
        if (kLong.substr(index, 2) == vr) {
            return true;
        }
    }
    return false;
}

/// Reads the header at an offset; false when none begins there.
bool readHeader(const Input& input, std::size_t offset, Element& element) {
    if (offset + 8 > input.size()) {
        return false;
    }
    element = {.tag = offset, .lengthField = offset + 4, .lengthBytes = 4, .value = offset + 8};
    if (numberAt(input, offset, 2) != 0xFFFEU) { // no item and no end of one
        element.vr = representationAt(input, offset + 4);
        if (element.vr.empty()) {
            return false;
        }
        const bool isLong = hasLongLength(element.vr);
        element.lengthField = offset + (isLong ? 8 : 6);
        element.lengthBytes = isLong ? 4 : 2;
        element.value = element.lengthField + element.lengthBytes;
    }
    if (element.value > input.size()) {
        return false;
    }
    element.length =
        std::min<std::size_t>(numberAt(input, element.lengthField, element.lengthBytes), input.size() - element.value);
    return true;
}

/// All headers behind every "DICM", those inside of sequences too.
std::vector<Element> elementsOf(const Input& input) {
    static constexpr std::string_view kMagic = "DICM";
    std::vector<Element> elements;
    auto file = std::search(input.begin(), input.end(), kMagic.begin(), kMagic.end());
    while (file != input.end()) {
        auto offset = static_cast<std::size_t>(file - input.begin()) + kMagic.size();
        for (Element element; readHeader(input, offset, element);) {
            elements.push_back(element);
            const bool isEntered = element.vr.empty() || element.vr == "SQ";
            offset = element.value + (isEntered ? 0 : element.length);
        }
        file = std::search(file + 1, input.end(), kMagic.begin(), kMagic.end());
    }
    return elements;
}

template <typename List>
const auto& oneOf(std::minstd_rand& random, const List& list) {
    return list[random() % std::size(list)];
}

/// Puts another value there, with its length.
void putValue(Input& input, const Element& element, std::string_view value) {
    const auto start = input.begin() + static_cast<std::ptrdiff_t>(element.value);
    const auto next = input.erase(start, start + static_cast<std::ptrdiff_t>(element.length));
    input.insert(next, value.begin(), value.end());
    putNumber(input, element.lengthField, element.lengthBytes, static_cast<std::uint32_t>(value.size()));
}

void changeNumber(Input& input, const Element& element, std::minstd_rand& random) {
    static constexpr std::array<std::uint32_t, 22> kNumbers{
        0,  1,  2,  3,  7,   8,   9,     12,    15,          16,          17,
        31, 32, 33, 64, 255, 256, 32767, 32768, 0x7FFFFFFFU, 0x80000000U, 0xFFFFFFFFU};
    if (element.length < 2) {
        return;
    }
    const std::size_t bytes = element.length >= 4 && element.vr != "US" ? 4 : 2;
    putNumber(input, element.value, bytes,
              random() % 8 == 0 ? static_cast<std::uint32_t>(random()) : oneOf(random, kNumbers));
}

void changeText(Input& input, const Element& element, std::minstd_rand& random) {
    static const std::array<std::string, 25> kTexts{"",
                                                    " ",
                                                    "0 ",
                                                    "1 ",
                                                    "2 ",
                                                    "-1",
                                                    "3 ",
                                                    "16",
                                                    "65535 ",
                                                    "65536 ",
                                                    "2147483647",
                                                    "2147483648",
                                                    "-2147483648 ",
                                                    "1e308 ",
                                                    "-1e-308",
                                                    "nan ",
                                                    "1\\2 ",
                                                    "0\\0 ",
                                                    "1\\1\\1 ",
                                                    "\\\\",
                                                    "ISO 2022 IR 87\\ISO 2022 IR 13",
                                                    "MONOCHROME2 ",
                                                    "PALETTE COLOR ",
                                                    "YBR_FULL",
                                                    std::string(70, 'A')};
    putValue(input, element, oneOf(random, kTexts));
}

void changeLength(Input& input, const Element& element, std::minstd_rand& random) {
    const auto length = static_cast<std::uint32_t>(element.length);
    const std::array<std::uint32_t, 8> lengths{
        0,          1,          length + 1,          length - 1,
        length + 2, 0xFFFFFFFF, 2 * length + 0xFFFE, static_cast<std::uint32_t>(random())};
    putNumber(input, element.lengthField, element.lengthBytes, oneOf(random, lengths));
}

void changeRepresentation(Input& input, const Element& element, std::minstd_rand& random) {
    if (!element.vr.empty()) {
        const auto vr = kRepresentations.substr(2 * (random() % (kRepresentations.size() / 2)), 2);
        std::copy(vr.begin(), vr.end(), input.begin() + static_cast<std::ptrdiff_t>(element.tag) + 4);
    }
}

Input bytesOf(const Input& input, const Element& element) {
    const auto start = input.begin() + static_cast<std::ptrdiff_t>(element.tag);
    return {start, input.begin() + static_cast<std::ptrdiff_t>(element.value + element.length)};
}

void erase(Input& input, const Element& element) {
    const auto start = input.begin() + static_cast<std::ptrdiff_t>(element.tag);
    input.erase(start, input.begin() + static_cast<std::ptrdiff_t>(element.value + element.length));
}

void mutateValue(Input& input, const Element& element, MutateBytes mutateBytes) {
    if (mutateBytes == nullptr || element.length == 0 || element.length > 4096) {
        return;
    }
    std::string value(input.begin() + static_cast<std::ptrdiff_t>(element.value),
                      input.begin() + static_cast<std::ptrdiff_t>(element.value + element.length));
    value.resize(2 * element.length);
    value.resize(mutateBytes(reinterpret_cast<std::uint8_t*>(value.data()), element.length, value.size()));
    putValue(input, element, value);
}

/// Copies one element, with its value, in front of another.
void copyElement(Input& input, const Element& from, const Element& to) {
    const Input copy = bytesOf(input, from);
    input.insert(input.begin() + static_cast<std::ptrdiff_t>(to.tag), copy.begin(), copy.end());
}

void changeTag(Input& input, const Element& from, const Element& to, std::minstd_rand& random) {
    if (random() % 2 == 0) {
        std::copy_n(input.begin() + static_cast<std::ptrdiff_t>(from.tag), 4,
                    input.begin() + static_cast<std::ptrdiff_t>(to.tag));
    } else {
        putNumber(input, to.tag + 2 * (random() % 2), 2, static_cast<std::uint32_t>(random()));
    }
}

bool isText(std::string_view vr) {
    return vr == "CS" || vr == "DS" || vr == "IS" || vr == "UI" || vr == "LO" || vr == "DA" || vr == "TM" || vr == "PN";
}

} // namespace

bool mutateElement(std::vector<unsigned char>& input, std::minstd_rand& random, MutateBytes mutateBytes) {
    const std::vector<Element> elements = elementsOf(input);
    if (elements.empty()) {
        return false;
    }
    const Element& element = oneOf(random, elements);
    switch (random() % 12) {
    case 0: changeLength(input, element, random); break;
    case 1: changeRepresentation(input, element, random); break;
    case 2: erase(input, element); break;
    case 3: copyElement(input, element, oneOf(random, elements)); break;
    case 4: changeTag(input, element, oneOf(random, elements), random); break;
    case 5:
    case 6: mutateValue(input, element, mutateBytes); break;
    default:
        if (isText(element.vr)) {
            changeText(input, element, random);
        } else {
            changeNumber(input, element, random);
        }
    }
    return true;
}

} // namespace radvex::fuzz
