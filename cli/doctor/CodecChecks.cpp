#include "cli/doctor/CodecChecks.h"

#include <cstdlib>
#include <exception>

#include "cli/doctor/StoredPictures.h"
#include "files/Errors.h"
#include "files/OutputFile.h"
#include "formats/pictures/Compression.h"

namespace radvex::cli {

using velmora::Image;
using velmora::Store;

namespace {

constexpr vint kRows = 24;
constexpr vint kColumns = 40;

/// A picture in a compression, and how far its samples may be from what was written.
struct Trial {
    vint type = VImage_U8;
    vint channels = 1;
    int most = 255; ///< the largest sample
    int bound = 0;  ///< 0: nothing is lost
};

/// What a compression is tried with. Lossy JPEG spreads samples over the bits of its name, which the picture fills.
std::vector<Trial> trialsOf(const formats::Compression& compression) {
    if (compression.name == "JPEGLossy8bit") {
        return {{.bound = 4}};
    }
    if (compression.name == "JPEGLossy12bit") {
        return {{.type = VImage_U16, .most = 4095, .bound = 16}};
    }
    if (compression.name == "JPEG-LSLossy") {
        return {{.bound = static_cast<int>(compression.first)}};
    }
    return {{}, {.type = VImage_U16, .most = 65535}, {.channels = 3}};
}

/// Samples that rise from the first to the last corner, from 0 to the largest one.
std::vector<int> samplesOf(const Trial& trial) {
    std::vector<int> samples;
    for (vint row = 0; row < kRows; ++row) {
        for (vint column = 0; column < kColumns; ++column) {
            for (vint channel = 0; channel < trial.channels; ++channel) {
                const vint steps = kRows - 1 + kColumns - 1;
                samples.push_back(static_cast<int>((row + column) * (trial.most - 10 * channel) / steps));
            }
        }
    }
    return samples;
}

Image imageOf(const Trial& trial) {
    Image image(0, kRows, kColumns, trial.channels, trial.type,
                trial.channels == 3 ? VColorSpace_RGB : VColorSpace_Grey, true);
    const std::vector<int> samples = samplesOf(trial);
    for (std::size_t index = 0; index < samples.size(); ++index) {
        if (trial.type == VImage_U16) {
            image.data<std::uint16_t>()[index] = static_cast<std::uint16_t>(samples[index]);
        } else {
            image.data<std::uint8_t>()[index] = static_cast<std::uint8_t>(samples[index]);
        }
    }
    return image;
}

/// The stored samples of a file of one frame.
std::vector<int> readSamples(velmora::Host& host, const std::string& path) {
    const velmora::Value read = host.call("ReadMetadata", {path, Store::ofTexts({"PixelData"}), false});
    (void)host.call("CloseReader", {path});
    std::vector<int> samples;
    for (const velmora::NodeView frame : read.get<Store>().view().store("PixelData")) {
        const velmora::Value value = frame.value();
        const auto& array = value.get<velmora::NumericArray>();
        const std::size_t count = static_cast<std::size_t>(array.handle()->length);
        for (std::size_t index = 0; index < count; ++index) {
            samples.push_back(array.type() == VNumericArray_U16 ? array.data<std::uint16_t>()[index]
                                                                : array.data<std::uint8_t>()[index]);
        }
    }
    return samples;
}

/// @throws FileError  they differ by more than the bound
void compare(const std::vector<int>& read, const std::vector<int>& written, int bound) {
    if (read.size() != written.size()) {
        throw FileError("The picture has " + std::to_string(read.size()) + " samples in place of " +
                        std::to_string(written.size()) + ".");
    }
    for (std::size_t index = 0; index < read.size(); ++index) {
        if (std::abs(read[index] - written[index]) > bound) {
            throw FileError("Sample " + std::to_string(index) + " is " + std::to_string(read[index]) + " in place of " +
                            std::to_string(written[index]) + ".");
        }
    }
}

void writeAndRead(velmora::Host& host, const std::string& path, const formats::Compression& compression,
                  const Trial& trial) {
    host.call("WriteImage", {path, imageOf(trial), Store::empty(), Store::empty(), compression.name, compression.first,
                             compression.second, Store::empty()});
    compare(readSamples(host, path), samplesOf(trial), trial.bound);
}

/// Does the work in a process of its own.
void check(CodecCheck& result, const std::function<void()>& work) {
    try {
        (void)workers::workAlone(1, result.name, [&] {
            work();
            return std::string();
        });
    } catch (const std::exception& error) { // whatever it is, it is what is wrong with this one
        result.problem = error.what();
    }
}

std::string pathOf(const std::string& folder, const std::string& name) {
    std::string path = folder;
    return path.append("/").append(name).append(".dcm");
}

CodecCheck checkCompression(velmora::Host& host, const std::string& folder, const std::string& name) {
    const formats::Compression compression = formats::parseCompression("", name);
    const std::vector<Trial> trials = trialsOf(compression);
    const int bound = trials.front().bound;
    const std::string path = pathOf(folder, name);
    CodecCheck result{name, bound == 0 ? "written and read again without a change"
                                       : "written and read again, no sample further off than " + std::to_string(bound)};
    check(result, [&] {
        for (const Trial& trial : trials) {
            writeAndRead(host, path, compression, trial);
        }
    });
    return result;
}

CodecCheck checkStored(velmora::Host& host, const std::string& folder, const StoredPicture& picture) {
    CodecCheck result{picture.name, "decoded without a change"};
    check(result, [&] {
        const std::string path = pathOf(folder, picture.name);
        files::writeOutputText(path, dicomFileOf(picture));
        compare(readSamples(host, path), picture.samples, 0);
    });
    return result;
}

} // namespace

std::vector<CodecCheck> checkCodecs(velmora::Host& host, const std::string& folder, const workers::Progress& progress) {
    const std::vector<std::string> names = formats::compressionNames();
    const std::vector<StoredPicture>& stored = storedPictures();
    std::vector<CodecCheck> checks;
    for (const std::string& name : names) {
        progress("Checking the codecs", checks.size(), names.size() + stored.size());
        checks.push_back(checkCompression(host, folder, name));
    }
    for (const StoredPicture& picture : stored) {
        progress("Checking the codecs", checks.size(), names.size() + stored.size());
        checks.push_back(checkStored(host, folder, picture));
    }
    progress("Checking the codecs", checks.size(), checks.size());
    return checks;
}

} // namespace radvex::cli
