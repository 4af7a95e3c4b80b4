#pragma once

// What tests of compressed pixels share: files of any fragments, and the samples that the library makes of them.

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "guard/pixels/EncodedPixels.h"
#include "tests/dicom/DicomTest.h"

namespace radvex::test {

/// A picture whose pixels are compressed.
struct CompressedPicture {
    E_TransferSyntax syntax = EXS_JPEGProcess1;
    int rows = 1;
    int columns = 1;
    int components = 1;
    int bits = 8;
    std::string model = "MONOCHROME2";
    int planarConfiguration = 0; ///< of a picture of several components
    int frames = 1;
    std::vector<std::string> fragments{};
    std::vector<Uint32> offsets{}; ///< the offset table
    Fill more{};
};

class CompressedFileTest : public LibraryTest {
  protected:
    /// A stream filled up to an even length.
    static std::string even(std::string bytes) {
        bytes.resize((bytes.size() + 1) / 2 * 2);
        return bytes;
    }

    std::string write(const CompressedPicture& picture) {
        ImageFile image{.rows = picture.rows,
                        .columns = picture.columns,
                        .samples = picture.components,
                        .bitsAllocated = picture.bits > 8 ? 16 : 8,
                        .bitsStored = picture.bits,
                        .photometric = picture.model,
                        .planarConfiguration = picture.components == 1 ? -1 : picture.planarConfiguration,
                        .frames = picture.frames > 1 ? std::to_string(picture.frames) : ""};
        image.more = [&](DcmDataset& dataset) {
            putFragments(dataset, picture.syntax, picture.fragments);
            DcmPixelSequence* sequence = nullptr;
            DcmPixelItem* table = nullptr;
            ASSERT_TRUE(pixelDataOf(dataset)->getEncapsulatedRepresentation(picture.syntax, nullptr, sequence).good());
            ASSERT_TRUE(sequence->getItem(table, 0).good());
            if (!picture.offsets.empty()) {
                table->putUint8Array(reinterpret_cast<const Uint8*>(picture.offsets.data()),
                                     4 * picture.offsets.size());
            }
            if (picture.more) {
                picture.more(dataset);
            }
        };
        return writeImageFile(folder.file("compressed" + std::to_string(++mFiles) + ".dcm"), image, picture.syntax);
    }

    /// Samples of all frames as they are stored, pixel by pixel, or plane by plane where the file has planes; colour of
    /// more than 8 bits as it is rendered. Empty when they cannot be read.
    std::vector<int> read(const std::string& path, int components = 1) {
        const bool isColour = components > 1;
        const std::vector<velmora::Value> grey{path, 1, 0};
        const std::vector<velmora::Value> colour{path, 0, 0, scaling(-3.0), false, 1}; // no window
        const std::string name = isColour ? "ReadImageData" : "ReadIntermediatePixelData";
        const std::vector<velmora::Value>& arguments = isColour ? colour : grey;
        std::vector<int> samples;
        if (codeOf(name, arguments) == 0) {
            const velmora::Value result = call(name, arguments);
            if (isColour) {
                for (const velmora::NodeView node : result.get<velmora::Store>()) {
                    append(samples, *node.cell().numericArray);
                }
            } else {
                append(samples, *result.get<velmora::NumericArray>().handle());
            }
        }
        call("ClearCache");
        return samples;
    }

  private:
    static void append(std::vector<int>& samples, const VelmoraNumericArray& array) {
        for (std::size_t index = 0; index < static_cast<std::size_t>(array.length); ++index) {
            samples.push_back(array.type == VNumericArray_U8
                                  ? static_cast<const std::uint8_t*>(array.data.get())[index]
                                  : static_cast<const std::uint16_t*>(array.data.get())[index]);
        }
    }

    int mFiles = 0;
};

} // namespace radvex::test
