#include "tests/faults/BrokenFiles.h"

#include <algorithm>
#include <random>
#include <set>
#include <stdexcept>
#include <string_view>

#include "fuzz/DicomMutation.h"

namespace radvex::test {

namespace {

using fuzz::SeedFile;

constexpr std::size_t kPreamble = 132;

SeedFile seedNamed(const std::string& name) {
    if (name == "DICOMDIR") {
        return {name, fuzz::seedDirectory()};
    }
    for (const SeedFile& file : fuzz::seedFiles()) {
        if (file.name == name) {
            return file;
        }
    }
    throw std::logic_error("There is no seed '" + name + "'.");
}

bool isHeaderAt(std::string_view bytes, std::size_t offset) {
    static constexpr std::string_view kRepresentations =
        "AE AS AT CS DA DS DT FD FL IS LO LT OB OD OF OL OW PN SH SL SQ SS ST TM UC UI UL UN UR US UT";
    if (offset + 8 > bytes.size()) {
        return false;
    }
    if (bytes.substr(offset, 2) == "\xFE\xFF") { // an item, or the end of one
        return bytes[offset + 3] == '\xE0';
    }
    return kRepresentations.find(bytes.substr(offset + 4, 2)) != std::string_view::npos && bytes[offset + 4] >= 'A';
}

/// Where elements and items begin, as far as their headers look like headers; the last is the end of the file.
std::vector<std::size_t> headersOf(std::string_view bytes) {
    std::vector<std::size_t> offsets;
    for (std::size_t offset = kPreamble; offset < bytes.size(); offset += 2) {
        if (isHeaderAt(bytes, offset)) {
            offsets.push_back(offset);
        }
    }
    offsets.push_back(bytes.size());
    return offsets;
}

/// Cut before and within every header, behind it, in the middle of the value, and before its last byte.
void addCuts(const std::string& name, std::vector<SeedFile>& files) {
    const SeedFile seed = seedNamed(name);
    std::set<std::size_t> cuts{0, 1, 127, 128, 130, 131, kPreamble};
    const auto offsets = headersOf(seed.bytes);
    for (std::size_t index = 0; index + 1 < offsets.size(); ++index) {
        const std::size_t here = offsets[index];
        const std::size_t end = offsets[index + 1];
        for (const std::size_t more : {0U, 1U, 2U, 4U, 6U, 7U, 8U, 10U, 12U}) {
            cuts.insert(std::min(here + more, end));
        }
        cuts.insert((here + end) / 2);
        cuts.insert(end - 1);
    }
    for (const std::size_t cut : cuts) {
        files.push_back({name + "-cut-" + std::to_string(cut), seed.bytes.substr(0, cut)});
    }
}

/// Files each with one to four flipped bits between two offsets.
void addFlips(const SeedFile& seed, std::size_t begin, std::size_t end, int count, std::vector<SeedFile>& files) {
    std::minstd_rand random(static_cast<unsigned>(files.size()) + 1);
    for (int number = 0; number < count; ++number) {
        SeedFile file{seed.name + "-flip-" + std::to_string(number), seed.bytes};
        for (auto bits = random() % 4 + 1; bits > 0; --bits) {
            char& byte = file.bytes[begin + random() % (end - begin)];
            byte = static_cast<char>(static_cast<unsigned char>(byte) ^ (1U << random() % 8));
        }
        files.push_back(std::move(file));
    }
}

BrokenFiles cutFiles() {
    BrokenFiles broken{"Cut", {}};
    for (const char* name : {"attributes", "overlays", "palette", "rleFrames", "jpeglsFrames", "DICOMDIR"}) {
        addCuts(name, broken.files);
    }
    return broken;
}

BrokenFiles flippedHeaders() {
    BrokenFiles broken{"FlippedHeaders", {}};
    for (const char* name : {"attributes", "overlays", "palette", "RGB-planar", "lossless12", "DICOMDIR"}) {
        const SeedFile seed = seedNamed(name);
        for (const std::size_t offset : headersOf(seed.bytes)) {
            if (offset + 8 <= seed.bytes.size()) {
                addFlips({seed.name + '-' + std::to_string(offset), seed.bytes}, offset, offset + 8, 2, broken.files);
            }
        }
    }
    return broken;
}

BrokenFiles flippedStreams() {
    BrokenFiles broken{"FlippedStreams", {}};
    for (const char* name : {"rleFrames", "rleColour", "rle12", "jpeg8", "jpegColour", "jpeg1212", "lossless8",
                             "lossless12", "jpeglsFrames", "jpeglsNear8", "jpeglsNearColour"}) {
        const SeedFile seed = seedNamed(name);
        const std::size_t pixels = seed.bytes.rfind(std::string("\xE0\x7F\x10\x00", 4));
        if (pixels == std::string::npos) {
            throw std::logic_error("The seed has no pixels.");
        }
        addFlips(seed, pixels, seed.bytes.size(), 40, broken.files);
    }
    const SeedFile deflated = seedNamed("deflated");
    addFlips(deflated, deflated.bytes.size() / 2, deflated.bytes.size(), 40, broken.files);
    return broken;
}

BrokenFiles wrongElements() {
    BrokenFiles broken{"WrongElements", {}};
    std::minstd_rand random(1);
    for (const char* name : {"attributes", "overlays", "overlayInPixels", "overlayFrames", "palette", "modality",
                             "window", "rleFrames", "jpegFrames", "lossless12", "jpeglsFrames", "grey32", "DICOMDIR"}) {
        const SeedFile seed = seedNamed(name);
        for (int number = 0; number < 40; ++number) {
            std::vector<unsigned char> bytes(seed.bytes.begin(), seed.bytes.end());
            for (int changes = number % 3; changes >= 0; --changes) {
                fuzz::mutateElement(bytes, random);
            }
            broken.files.push_back({seed.name + "-wrong-" + std::to_string(number), {bytes.begin(), bytes.end()}});
        }
    }
    return broken;
}

/// Every 16-bit number of a file, each with values at the ends of ranges.
BrokenFiles wrongNumbers() {
    BrokenFiles broken{"WrongNumbers", {}};
    for (const char* name : {"overlays", "overlayInPixels", "palette", "grey32", "rleFrames", "jpegls8", "lossless8"}) {
        const SeedFile seed = seedNamed(name);
        for (const std::size_t offset : headersOf(seed.bytes)) {
            const std::string_view vr = std::string_view(seed.bytes).substr(std::min(offset + 4, seed.bytes.size()), 2);
            if (vr != "US" && vr != "SS") {
                continue;
            }
            for (const unsigned number : {0U, 1U, 255U, 32767U, 32768U, 65535U}) {
                SeedFile file{seed.name + '-' + std::to_string(offset) + "-is-" + std::to_string(number), seed.bytes};
                file.bytes[offset + 8] = static_cast<char>(number & 0xFFU);
                file.bytes[offset + 9] = static_cast<char>(number >> 8);
                broken.files.push_back(std::move(file));
            }
        }
    }
    return broken;
}

} // namespace

std::vector<BrokenFiles> brokenFiles() {
    return {cutFiles(), flippedHeaders(), flippedStreams(), wrongElements(), wrongNumbers()};
}

} // namespace radvex::test
