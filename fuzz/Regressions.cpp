#include "fuzz/Regressions.h"

#include <initializer_list>
#include <stdexcept>

#include "fuzz/Targets.h"
#include "tests/support/HostileFiles.h"

namespace radvex::fuzz {

namespace {

std::string seedNamed(const std::string& name) {
    for (const SeedFile& file : seedFiles()) {
        if (file.name == name) {
            return file.bytes;
        }
    }
    throw std::logic_error("There is no seed '" + name + "'.");
}

std::string littleEndian(unsigned number) {
    return {static_cast<char>(number & 0xFFU), static_cast<char>(number >> 8 & 0xFFU)};
}

/// An attribute of one 16-bit number in explicit little endian, and the number that it gets.
struct Number {
    unsigned group;
    unsigned element;
    unsigned value;
};

/// The file with other numbers in it; each attribute is there already.
std::string withNumbers(std::string file, std::initializer_list<Number> numbers) {
    for (const Number& number : numbers) {
        const std::string header = littleEndian(number.group) + littleEndian(number.element) + "US" + littleEndian(2);
        const auto offset = file.find(header);
        if (offset == std::string::npos) {
            throw std::logic_error("The file has no such number.");
        }
        file.replace(offset + header.size(), 2, littleEndian(number.value));
    }
    return file;
}

/// As the input of a target that reads one file.
std::string asInput(const std::string& file) { return std::string(kChoiceBytes, '\0') + file; }

/// Decoded pixels of more than 8 GiB: the buffer for all frames came out as the rest of a division by 2^32, and the
/// second frame was written behind it.
std::vector<SeedFile> hugeFrames() {
    constexpr unsigned kGroup = 0x0028;
    constexpr Number kSamples{kGroup, 0x0002, 51130};
    constexpr Number kTallest{kGroup, 0x0010, 65535};
    std::vector<SeedFile> inputs;
    for (const char* seed : {"jpegFrames", "jpeg12Frames", "losslessFrames", "jpeglsFrames", "rleFrames"}) {
        inputs.push_back({std::string("huge-") + seed, asInput(withNumbers(seedNamed(seed), {kSamples, kTallest}))});
    }
    return inputs;
}

/// A Huffman table of JPEG that has the number 23: its index among four was computed before it was looked at.
std::vector<SeedFile> strayTable() {
    constexpr std::size_t kNumber = 4; // behind marker and length
    std::string file = seedNamed("losslessFrames");
    const auto offset = file.find("\xFF\xC4");
    if (offset == std::string::npos) {
        throw std::logic_error("The seed has no table.");
    }
    file[offset + kNumber] = 0x17;
    return {{"stray-table", asInput(file)}};
}

/// A table of nine bytes: DCMTK uses four entries of it, and a copy of the element has five.
std::vector<SeedFile> oddTable() {
    std::string file = seedNamed("palette");
    const std::string header = littleEndian(0x0028) + littleEndian(0x1201) + "OW" + littleEndian(0);
    const auto offset = file.find(header);
    if (offset == std::string::npos) {
        throw std::logic_error("The seed has no palette.");
    }
    const auto length = static_cast<unsigned char>(file[offset + header.size()]);
    file[offset + header.size()] = static_cast<char>(length + 1);
    file.insert(offset + header.size() + 4 + length, 1, '\xFF');
    file.back() = 9; // a pixel behind the end of the table
    return {{"odd-table", asInput(file)}};
}

/// A text of a gigabyte that is not there, at the end of a file that states a character set: it was asked for after the
/// load had failed.
std::vector<SeedFile> hugeText() {
    constexpr std::uint32_t kLength = 0x53535353;
    return {
        {"huge-text", asInput(seedNamed("attributes") + test::kExplicitForm.header(0x7FE21000, "UT", kLength) + "A")}};
}

/// Numbers of three bytes, which DCMTK makes four: the guard took them for none, and looked for the dataset, or for
/// records, elsewhere than DCMTK.
std::vector<SeedFile> oddNumbers() {
    const std::vector<test::DirectoryRecord> records{{2, 0}, {3, 0}, {0, 0}};
    const std::size_t offset = test::withMeta(test::kExplicit, "").size();
    std::vector<SeedFile> inputs{
        {"odd-offsets",
         asInput(test::withMeta(test::kExplicit, test::directory(test::kExplicitForm, records, 1, offset, false, 3)))}};
    for (const test::NestingWay& way : test::nestingWays()) {
        if (way.name == "OddGroupLength") {
            inputs.push_back({"odd-group-length", asInput(way.file(3))});
        }
    }
    return inputs;
}

} // namespace

std::vector<SeedFile> regressionsOf(const std::string& target) {
    (void)targetNamed(target);
    if (target == "metadata" || target == "pixels" || target == "tables" || target == "overlays") {
        auto inputs = hugeFrames();
        const auto tables = strayTable();
        inputs.insert(inputs.end(), tables.begin(), tables.end());
        const auto odd = oddTable();
        inputs.insert(inputs.end(), odd.begin(), odd.end());
        return inputs;
    }
    if (target == "anonymize") {
        return hugeText();
    }
    if (target == "guard") {
        return oddNumbers();
    }
    return {};
}

} // namespace radvex::fuzz
