#include "Regressions.h"

#include <initializer_list>
#include <stdexcept>

#include "Targets.h"

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
        const auto place = file.find(header);
        if (place == std::string::npos) {
            throw std::logic_error("The file has no such number.");
        }
        file.replace(place + header.size(), 2, littleEndian(number.value));
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

} // namespace

std::vector<SeedFile> regressionsOf(const std::string& target) {
    (void)targetNamed(target);
    if (target == "metadata" || target == "pixels" || target == "overlays") {
        return hugeFrames();
    }
    return {};
}

} // namespace radvex::fuzz
