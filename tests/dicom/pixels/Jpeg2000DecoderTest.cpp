// JPEG 2000 and HTJ2K through DCMTK: samples as they were compressed, and attributes that fit them.

#include <algorithm>

#include "dcmtk/dcmdata/dcpixel.h"
#include "dicom/pixels/Jpeg2000Decoder.h"
#include "guard/pixels/EncodedPixels.h"
#include "tests/dicom/DicomTest.h"
#include "tests/support/Jpeg2000Parts.h"
#include "tests/support/Process.h"

using namespace radvex::test;

namespace {

/// A dataset of compressed frames.
struct Compressed {
    int rows = 1;
    int columns = 1;
    int samples = 1;
    int bitsAllocated = 16;
    int bitsStored = 16;
    bool isSigned = false;
    bool isByPlane = false;
    int frames = 0; ///< 0: not said
    std::string model = "MONOCHROME2";
    E_TransferSyntax syntax = EXS_JPEG2000LosslessOnly;
    std::vector<std::string> fragments{};
};

/// What fits a picture.
Compressed compressed(const Jpeg2000Source& source) {
    return {.rows = source.rows,
            .columns = source.columns,
            .samples = source.components,
            .bitsAllocated = source.precision > 8 ? 16 : 8,
            .bitsStored = source.precision,
            .isSigned = source.isSigned,
            .model = source.components == 3 ? "RGB" : "MONOCHROME2",
            .fragments = {jpeg2000Stream(source)}};
}

/// Pixel by pixel, of samples component by component.
std::vector<int> byPixel(const std::vector<std::int32_t>& samples, int components) {
    const std::size_t pixels = samples.size() / static_cast<std::size_t>(components);
    std::vector<int> result;
    for (std::size_t pixel = 0; pixel < pixels; ++pixel) {
        for (std::size_t component = 0; component < static_cast<std::size_t>(components); ++component) {
            result.push_back(samples[component * pixels + pixel]);
        }
    }
    return result;
}

class Jpeg2000Decoders : public LibraryTest { // which registers them
  protected:
    static void fill(DcmItem& item, const Compressed& picture) {
        put(item, {{DCM_SamplesPerPixel, std::to_string(picture.samples)},
                   {DCM_PhotometricInterpretation, picture.model},
                   {DCM_Rows, std::to_string(picture.rows)},
                   {DCM_Columns, std::to_string(picture.columns)},
                   {DCM_BitsAllocated, std::to_string(picture.bitsAllocated)},
                   {DCM_BitsStored, std::to_string(picture.bitsStored)},
                   {DCM_HighBit, std::to_string(picture.bitsStored - 1)},
                   {DCM_PixelRepresentation, picture.isSigned ? "1" : "0"}});
        if (picture.samples > 1) {
            put(item, {{DCM_PlanarConfiguration, picture.isByPlane ? "1" : "0"}});
        }
        if (picture.frames > 0) {
            put(item, {{DCM_NumberOfFrames, std::to_string(picture.frames)}});
        }
        std::vector<std::string> fragments = picture.fragments;
        for (std::string& fragment : fragments) {
            fragment.append(fragment.size() % 2, '\0');
        }
        putFragments(item, picture.syntax, fragments);
    }

    /// Decodes and keeps the dataset.
    OFCondition decode(const Compressed& picture, E_TransferSyntax to = EXS_LittleEndianExplicit) {
        dataset = std::make_unique<DcmDataset>();
        fill(*dataset, picture);
        return dataset->chooseRepresentation(to, nullptr);
    }

    int number(const DcmTagKey& key) {
        Uint16 value = 0;
        EXPECT_TRUE(dataset->findAndGetUint16(key, value).good()) << key.toString();
        return value;
    }

    /// Samples as BitsAllocated and PixelRepresentation say.
    std::vector<int> samples() {
        std::vector<int> result;
        const Uint16* words = nullptr;
        const Uint8* bytes = nullptr;
        unsigned long count = 0;
        const bool isSigned = number(DCM_PixelRepresentation) == 1;
        if (number(DCM_BitsAllocated) == 16) {
            EXPECT_TRUE(dataset->findAndGetUint16Array(DCM_PixelData, words, &count).good());
            std::transform(words, words + count, std::back_inserter(result),
                           [&](Uint16 word) { return isSigned ? static_cast<Sint16>(word) : int{word}; });
        } else {
            EXPECT_TRUE(dataset->findAndGetUint8Array(DCM_PixelData, bytes, &count).good());
            std::transform(bytes, bytes + count, std::back_inserter(result),
                           [&](Uint8 byte) { return isSigned ? static_cast<Sint8>(byte) : int{byte}; });
        }
        return result;
    }

    /// The reason of an error of these decoders.
    std::string reasonFor(const Compressed& picture) {
        const OFCondition decoding = decode(picture);
        EXPECT_TRUE(decoding.bad());
        EXPECT_EQ(decoding.module(), OFM_dcmjp2k) << decoding.text();
        EXPECT_EQ(decoding.code(), radvex::kJpeg2000Failed);
        return decoding.text();
    }

    std::unique_ptr<DcmDataset> dataset{};
};

std::vector<int> padded(std::vector<int> samples, bool isOfBytes) {
    if (isOfBytes && samples.size() % 2 != 0) {
        samples.push_back(0);
    }
    return samples;
}

} // namespace

TEST_F(Jpeg2000Decoders, GiveTheSamplesOfEveryDepth) {
    for (int bits = 1; bits <= 16; ++bits) {
        for (const bool isSigned : {false, true}) {
            for (const int components : {1, 3}) {
                for (const bool isByPlane : {false, true}) {
                    const Jpeg2000Source source = jpeg2000Picture(3, 5, components, bits, isSigned);
                    Compressed picture = compressed(source);
                    picture.isByPlane = isByPlane && components == 3;
                    const std::string name = std::to_string(bits) + (isSigned ? " signed bits, " : " bits, ") +
                                             std::to_string(components) + (isByPlane ? " by plane" : "");
                    ASSERT_TRUE(decode(picture).good()) << name;
                    const std::vector<int> planes(source.samples.begin(), source.samples.end());
                    const auto expected = picture.isByPlane ? planes : byPixel(source.samples, components);
                    EXPECT_EQ(samples(), padded(expected, bits <= 8)) << name;
                    EXPECT_EQ(number(DCM_BitsAllocated), bits > 8 ? 16 : 8) << name;
                    EXPECT_EQ(number(DCM_BitsStored), bits) << name;
                    EXPECT_EQ(number(DCM_HighBit), bits - 1) << name;
                    EXPECT_EQ(dataset->tagExists(DCM_PlanarConfiguration), components == 3) << name;
                    EXPECT_FALSE(dataset->tagExists(DCM_NumberOfFrames)) << name;
                }
            }
        }
    }
}

TEST_F(Jpeg2000Decoders, PutFewBitsIntoWordsWhereTheAttributesSaySo) {
    for (const bool isSigned : {false, true}) {
        const Jpeg2000Source source = jpeg2000Picture(5, 3, 1, 8, isSigned);
        Compressed picture = compressed(source);
        picture.bitsAllocated = 16;
        ASSERT_TRUE(decode(picture).good());
        EXPECT_EQ(number(DCM_BitsAllocated), 16);
        EXPECT_EQ(samples(), byPixel(source.samples, 1));
        picture.bitsAllocated = 32;
        ASSERT_TRUE(decode(picture).good());
        EXPECT_EQ(number(DCM_BitsAllocated), 16);
        EXPECT_EQ(samples(), byPixel(source.samples, 1));
    }
}

TEST_F(Jpeg2000Decoders, GiveTheSamplesOfEveryWayToCompress) {
    for (const auto progression :
         {Jpeg2000Progression::layers, Jpeg2000Progression::resolutions, Jpeg2000Progression::resolutionsByPosition,
          Jpeg2000Progression::positions, Jpeg2000Progression::components}) {
        Jpeg2000Source source = jpeg2000Picture(45, 70, 3, 12);
        source.progression = progression;
        for (const bool isDivided : {false, true}) {
            source.layers = isDivided ? 3 : 1;
            source.tileSize = isDivided ? 32 : 0;
            source.hasPartsOfResolutions = isDivided;
            source.precinctSize = isDivided ? 16 : 0;
            source.isFile = isDivided;
            source.origin = isDivided ? std::array{5, 3} : std::array{0, 0};
            ASSERT_TRUE(decode(compressed(source)).good());
            EXPECT_EQ(samples(), byPixel(source.samples, 3)) << isDivided;
        }
    }
}

TEST_F(Jpeg2000Decoders, GiveFramesOneAfterTheOther) {
    for (const int bits : {8, 12}) {
        std::vector<int> expected;
        Compressed picture;
        for (int frame = 0; frame < 3; ++frame) {
            Jpeg2000Source source = jpeg2000Picture(3, 5, 1, bits);
            std::rotate(source.samples.begin(), source.samples.begin() + frame, source.samples.end());
            expected.insert(expected.end(), source.samples.begin(), source.samples.end());
            auto fragments = std::move(picture.fragments);
            picture = compressed(source);
            fragments.push_back(picture.fragments.front());
            picture.fragments = fragments;
        }
        for (const int frames : {3, 4, 1000000}) { // attributes may promise more frames than there are
            picture.frames = frames;
            ASSERT_TRUE(decode(picture).good());
            EXPECT_EQ(samples(), padded(expected, bits == 8));
            EXPECT_EQ(textOf(*dataset, DCM_NumberOfFrames), "3");
        }
        picture.frames = 3;
        std::vector<std::string> inTwo;
        for (const std::string& stream : picture.fragments) {
            inTwo.push_back(stream.substr(0, 60));
            inTwo.push_back(stream.substr(60));
        }
        picture.fragments = inTwo;
        ASSERT_TRUE(decode(picture).good());
        EXPECT_EQ(samples(), padded(expected, bits == 8)) << "in two fragments each";
        picture.frames = 4;
        EXPECT_EQ(reasonFor(picture), "its frames cannot be told apart");
    }
}

TEST_F(Jpeg2000Decoders, GiveAFrameAlone) {
    for (const int bits : {8, 12}) {
        Compressed picture = compressed(jpeg2000Picture(3, 5, 3, bits));
        Jpeg2000Source second = jpeg2000Picture(3, 5, 3, bits);
        std::reverse(second.samples.begin(), second.samples.end());
        picture.fragments.push_back(jpeg2000Stream(second));
        picture.frames = 2;
        picture.model = "YBR_RCT";
        dataset = std::make_unique<DcmDataset>();
        fill(*dataset, picture);
        DcmPixelData& pixels = *radvex::pixelDataOf(*dataset);
        const std::vector<int> expected = byPixel(second.samples, 3);
        std::vector<Uint16> words(bits == 8 ? 23 : 45);
        const auto size = static_cast<Uint32>(2 * words.size());
        Uint32 fragment = 0;
        OFString model;
        ASSERT_TRUE(pixels.getUncompressedFrame(dataset.get(), 1, fragment, words.data(), size, model).good());
        EXPECT_EQ(model, "RGB");
        std::vector<int> found(words.begin(), words.end());
        if (bits == 8) {
            const auto* bytes = reinterpret_cast<const Uint8*>(words.data());
            found.assign(bytes, bytes + expected.size());
        }
        EXPECT_EQ(found, expected);
        EXPECT_EQ(textOf(*dataset, DCM_PhotometricInterpretation), "YBR_RCT") << "the dataset stays compressed";
        EXPECT_TRUE(pixels.getUncompressedFrame(dataset.get(), 2, fragment, words.data(), size, model).bad());
        EXPECT_TRUE(pixels.getUncompressedFrame(dataset.get(), 1, fragment, words.data(), size - 2, model).bad());
        ASSERT_TRUE(pixels.getDecompressedColorModel(dataset.get(), model).good());
        EXPECT_EQ(model, "RGB");
    }
}

TEST_F(Jpeg2000Decoders, SayTheColoursThatTheyGive) {
    const Jpeg2000Source colour = jpeg2000Picture(3, 5, 3);
    for (const auto& [model, decoded] :
         {std::pair("RGB", "RGB"), std::pair("YBR_RCT", "RGB"), std::pair("YBR_ICT", "RGB"),
          std::pair("YBR_FULL", "YBR_FULL"), std::pair("YBR_FULL_422", "YBR_FULL"),
          std::pair("YBR_PARTIAL_422", "YBR_FULL")}) {
        Compressed picture = compressed(colour);
        picture.model = model;
        ASSERT_TRUE(decode(picture).good());
        EXPECT_EQ(textOf(*dataset, DCM_PhotometricInterpretation), decoded);
        EXPECT_EQ(samples(), padded(byPixel(colour.samples, 3), true));
    }
    for (const std::string model : {"MONOCHROME1", "MONOCHROME2", "PALETTE COLOR"}) {
        Compressed picture = compressed(jpeg2000Picture(3, 5));
        picture.model = model;
        ASSERT_TRUE(decode(picture).good());
        EXPECT_EQ(textOf(*dataset, DCM_PhotometricInterpretation), model);
    }
}

TEST_F(Jpeg2000Decoders, SayThatSomethingMayBeLost) {
    for (const auto syntax : {EXS_JPEG2000LosslessOnly, EXS_JPEG2000}) {
        Compressed picture = compressed(jpeg2000Picture(3, 5));
        picture.syntax = syntax;
        ASSERT_TRUE(decode(picture).good());
        EXPECT_EQ(textOf(*dataset, DCM_LossyImageCompression), syntax == EXS_JPEG2000 ? "01" : "(none)");
    }
}

// The transformation that is not reversible, at full rate: a rounding of the wavelets, and of the colours.
TEST_F(Jpeg2000Decoders, LoseNoMoreThanTheCodestream) {
    for (const int components : {1, 3}) {
        Jpeg2000Source source = jpeg2000Picture(21, 30, components);
        source.isReversible = false;
        Compressed picture = compressed(source);
        picture.syntax = EXS_JPEG2000;
        ASSERT_TRUE(decode(picture).good());
        const std::vector<int> found = samples();
        const std::vector<int> expected = byPixel(source.samples, components);
        ASSERT_EQ(found.size(), expected.size());
        for (std::size_t index = 0; index < found.size(); ++index) {
            EXPECT_NEAR(found[index], expected[index], 2) << index;
        }
        const DecodedJpeg2000 plainly = decodedJpeg2000(picture.fragments.front());
        EXPECT_EQ(found, byPixel(plainly.samples, components)) << "as OpenJPEG decodes it alone";
    }
}

TEST_F(Jpeg2000Decoders, MakeTheAttributesThoseOfFewerBits) {
    const Jpeg2000Source source = jpeg2000Picture(3, 5, 1, 10);
    Compressed picture = compressed(source);
    picture.bitsStored = 16;
    ASSERT_TRUE(decode(picture).good());
    EXPECT_EQ(number(DCM_BitsStored), 10);
    EXPECT_EQ(number(DCM_HighBit), 9);
    EXPECT_EQ(samples(), byPixel(source.samples, 1));
    picture = compressed(jpeg2000Picture(3, 5, 1, 7));
    picture.bitsAllocated = 8;
    picture.bitsStored = 8;
    ASSERT_TRUE(decode(picture).good());
    EXPECT_EQ(number(DCM_BitsStored), 7);
    EXPECT_EQ(number(DCM_HighBit), 6);
}

// Some encoders take all bits that are allocated.
TEST_F(Jpeg2000Decoders, LeaveAttributesOfFewerBitsThatHoldTheSamples) {
    for (const bool isSigned : {false, true}) {
        Jpeg2000Source source = jpeg2000Picture(3, 5, 1, 12, isSigned);
        source.precision = 16;
        Compressed picture = compressed(source);
        picture.bitsStored = 12;
        ASSERT_TRUE(decode(picture).good());
        EXPECT_EQ(number(DCM_BitsStored), 12);
        EXPECT_EQ(number(DCM_HighBit), 11);
        EXPECT_EQ(samples(), byPixel(source.samples, 1));
    }
}

// The sample would be cut to what BitsStored says, and show as another one.
TEST_F(Jpeg2000Decoders, MakeTheAttributesThoseOfMoreBitsWhereTheSamplesNeedThem) {
    for (const bool isSigned : {false, true}) {
        for (const int bitsStored : {8, 12}) {
            const Jpeg2000Source source = jpeg2000Picture(3, 5, 1, 16, isSigned);
            Compressed picture = compressed(source);
            picture.bitsAllocated = bitsStored == 8 ? 8 : 16;
            picture.bitsStored = bitsStored;
            ASSERT_TRUE(decode(picture).good());
            EXPECT_EQ(number(DCM_BitsAllocated), 16);
            EXPECT_EQ(number(DCM_BitsStored), 16);
            EXPECT_EQ(number(DCM_HighBit), 15);
            EXPECT_EQ(samples(), byPixel(source.samples, 1));
        }
    }
    Jpeg2000Source source{.rows = 1, .columns = 3, .precision = 16, .resolutions = 1};
    source.isSigned = true;
    for (const auto& [samplesOf, stored] :
         {std::pair(std::vector{-2048, 0, 2047}, 12), std::pair(std::vector{-2049, 0, 0}, 16),
          std::pair(std::vector{0, 0, 2048}, 16)}) {
        source.samples.assign(samplesOf.begin(), samplesOf.end());
        Compressed picture = compressed(source);
        picture.bitsStored = 12;
        ASSERT_TRUE(decode(picture).good());
        EXPECT_EQ(number(DCM_BitsStored), stored);
        EXPECT_EQ(samples(), samplesOf);
    }
}

TEST_F(Jpeg2000Decoders, TakeOtherSignsWhereTheyMeanTheSame) {
    const std::string kSigned = "its samples are signed in the codestream, and not in the attributes";
    const std::string kUnsigned = "its samples are unsigned in the codestream, and not in the attributes";
    const auto pictureOf = [](std::vector<std::int32_t> samples, int precision, bool isSigned) {
        Jpeg2000Source source{.rows = 1, .columns = 3, .precision = precision, .isSigned = isSigned, .resolutions = 1};
        source.samples = std::move(samples);
        Compressed picture = compressed(source);
        picture.isSigned = !isSigned;
        return picture;
    };
    ASSERT_TRUE(decode(pictureOf({0, 2047, 1}, 12, true)).good());
    EXPECT_EQ(samples(), std::vector({0, 2047, 1}));
    EXPECT_EQ(reasonFor(pictureOf({0, -1, 1}, 12, true)), kSigned);
    ASSERT_TRUE(decode(pictureOf({0, 2047, 4095}, 12, false)).good()) << "bits of 12 as BitsStored says";
    EXPECT_EQ(samples(), std::vector({0, 2047, 4095}));
    EXPECT_EQ(number(DCM_BitsStored), 12) << "so that the last one is -1";
    Compressed fewer = pictureOf({0, 100, 127}, 8, false);
    fewer.bitsAllocated = 16;
    fewer.bitsStored = 12;
    ASSERT_TRUE(decode(fewer).good());
    EXPECT_EQ(samples(), std::vector({0, 100, 127}));
    fewer.fragments = pictureOf({0, 100, 128}, 8, false).fragments;
    EXPECT_EQ(reasonFor(fewer), kUnsigned) << "it would be -128 of the 8 bits that it has";
    Compressed more = pictureOf({0, 2047, 65535}, 16, false);
    more.bitsStored = 12;
    ASSERT_TRUE(decode(more).good());
    EXPECT_EQ(number(DCM_BitsStored), 12);
    EXPECT_EQ(samples(), std::vector({0, 2047, -1}));
}

TEST_F(Jpeg2000Decoders, DecodeForAnyOrderOfBytes) {
    for (const int bits : {8, 12}) {
        for (const auto syntax : {EXS_LittleEndianExplicit, EXS_LittleEndianImplicit, EXS_BigEndianExplicit}) {
            const Jpeg2000Source source = jpeg2000Picture(3, 5, 1, bits);
            DcmFileFormat file;
            fill(*file.getDataset(), compressed(source));
            put(*file.getDataset(),
                {{DCM_SOPClassUID, UID_SecondaryCaptureImageStorage}, {DCM_SOPInstanceUID, "1.2.3"}});
            ASSERT_TRUE(file.getDataset()->chooseRepresentation(syntax, nullptr).good());
            const std::string path = folder.file("decoded.dcm");
            ASSERT_TRUE(file.saveFile(path.c_str(), syntax).good());
            DcmFileFormat loaded;
            ASSERT_TRUE(loaded.loadFile(path.c_str()).good());
            dataset.reset(loaded.getAndRemoveDataset());
            EXPECT_EQ(samples(), padded(byPixel(source.samples, 1), bits == 8)) << DcmXfer(syntax).getXferName();
        }
    }
}

TEST_F(Jpeg2000Decoders, DecodeHtj2k) {
    Compressed picture{.rows = 3, .columns = 5, .bitsStored = 12, .fragments = {htj2kStream()}};
    ASSERT_TRUE(decode(picture).good());
    EXPECT_EQ(samples(), htj2kSamples());
    for (int bits = 8; bits <= 16; ++bits) {
        for (const int components : bits == 8 ? std::vector{1, 3} : std::vector{1}) {
            const Jpeg2000Source source = jpeg2000Picture(23, 38, components, bits);
            std::string picturePath = folder.file(components == 1 ? "picture.pgm" : "picture.ppm");
            std::string bytes =
                std::string(components == 1 ? "P5" : "P6") + "\n38 23\n" + std::to_string((1 << bits) - 1) + '\n';
            for (const int sample : byPixel(source.samples, components)) {
                bytes += bigEndian(static_cast<std::uint32_t>(sample), bits > 8 ? 2 : 1);
            }
            picturePath = folder.write(components == 1 ? "picture.pgm" : "picture.ppm", bytes);
            const std::string path = folder.file("picture.j2c");
            const ProcessResult result =
                runProcess({"ojph_compress", "-i", picturePath, "-o", path, "-reversible", "true"});
            ASSERT_EQ(result.status, 0) << result.errors;
            picture = compressed(jpeg2000Picture(23, 38, components, bits));
            picture.fragments = {readFile(path)};
            ASSERT_TRUE(decode(picture).good()) << bits;
            EXPECT_EQ(samples(), byPixel(source.samples, components)) << bits;
        }
    }
}

TEST_F(Jpeg2000Decoders, SayWhatIsWrong) {
    const Jpeg2000Source source = jpeg2000Picture(3, 5, 1, 12);
    const Compressed good = compressed(source);
    Compressed picture = good;
    picture.rows = 4;
    EXPECT_EQ(reasonFor(picture), "its JPEG 2000 codestream has another size than the image");
    picture = good;
    picture.samples = 3;
    picture.model = "RGB";
    EXPECT_EQ(reasonFor(picture), "its JPEG 2000 codestream has another size than the image");
    picture = good;
    picture.fragments.front().resize(100);
    EXPECT_EQ(reasonFor(picture), "its JPEG 2000 codestream ends too early");
    picture.fragments.clear();
    EXPECT_EQ(reasonFor(picture), "its frames cannot be told apart");
    picture.fragments = {good.fragments.front(), jpeg2000Stream(jpeg2000Picture(3, 5, 1, 11))};
    picture.frames = 2;
    EXPECT_EQ(reasonFor(picture), "its frames have different kinds of samples");
    picture.fragments.back() = jpeg2000Stream(jpeg2000Picture(3, 5, 1, 12, true));
    EXPECT_EQ(reasonFor(picture), "its frames have different kinds of samples");
    std::string damaged = good.fragments.front();
    const std::size_t quantization = damaged.find("\xFF\x5C");
    damaged[quantization + 1] = '\x64'; // a comment
    picture.fragments = {good.fragments.front(), damaged};
    EXPECT_EQ(reasonFor(picture), "OpenJPEG cannot decode its frame 2: required QCD marker not found in main header");
}

TEST_F(Jpeg2000Decoders, LeaveADatasetThatTheyCannotDecodeAsItIs) {
    Compressed picture = compressed(jpeg2000Picture(3, 5, 3, 12));
    picture.model = "YBR_RCT";
    picture.bitsStored = 16;
    picture.syntax = EXS_JPEG2000;
    picture.fragments.push_back(picture.fragments.front().substr(0, 100));
    picture.frames = 2;
    EXPECT_TRUE(decode(picture).bad());
    EXPECT_EQ(number(DCM_BitsStored), 16);
    EXPECT_EQ(textOf(*dataset, DCM_PhotometricInterpretation), "YBR_RCT");
    EXPECT_EQ(textOf(*dataset, DCM_LossyImageCompression), "(none)");
}

TEST_F(Jpeg2000Decoders, NeedTheAttributesThatDcmtksDecodersNeed) {
    for (const DcmTagKey& key :
         {DCM_SamplesPerPixel, DCM_Rows, DCM_Columns, DCM_BitsAllocated, DCM_BitsStored, DCM_HighBit}) {
        dataset = std::make_unique<DcmDataset>();
        fill(*dataset, compressed(jpeg2000Picture(3, 5)));
        delete dataset->remove(key);
        EXPECT_TRUE(dataset->chooseRepresentation(EXS_LittleEndianExplicit, nullptr) == EC_TagNotFound)
            << key.toString();
    }
    Compressed picture = compressed(jpeg2000Picture(3, 5));
    picture.rows = 0;
    EXPECT_TRUE(decode(picture) == EC_InvalidTag);
    picture.rows = 3;
    picture.samples = 2;
    EXPECT_TRUE(decode(picture) == EC_InvalidTag);
}

TEST_F(Jpeg2000Decoders, DoNotEncode) {
    dataset = std::make_unique<DcmDataset>();
    put(*dataset, {{DCM_Rows, "1"}, {DCM_Columns, "2"}, {DCM_BitsAllocated, "16"}});
    const Uint16 words[] = {1, 2};
    ASSERT_TRUE(dataset->putAndInsertUint16Array(DCM_PixelData, words, 2).good());
    for (const auto syntax : {EXS_JPEG2000LosslessOnly, EXS_JPEG2000}) {
        EXPECT_TRUE(dataset->chooseRepresentation(syntax, nullptr).bad());
    }
}

TEST_F(Jpeg2000Decoders, DecodeIconsToo) {
    const Jpeg2000Source small = jpeg2000Picture(2, 3, 1, 12);
    dataset = std::make_unique<DcmDataset>();
    Compressed picture = compressed(jpeg2000Picture(3, 5, 1, 12));
    picture.syntax = EXS_JPEG2000;
    fill(*dataset, picture);
    Compressed icon = compressed(small);
    icon.syntax = EXS_JPEG2000;
    fill(addItem(*dataset, DCM_IconImageSequence), icon);
    ASSERT_TRUE(dataset->chooseRepresentation(EXS_LittleEndianExplicit, nullptr).good());
    DcmItem* item = nullptr;
    ASSERT_TRUE(dataset->findAndGetSequenceItem(DCM_IconImageSequence, item).good());
    const Uint16* words = nullptr;
    unsigned long count = 0;
    ASSERT_TRUE(item->findAndGetUint16Array(DCM_PixelData, words, &count).good());
    EXPECT_EQ(std::vector<int>(words, words + count), byPixel(small.samples, 1));
    EXPECT_EQ(textOf(*dataset, DCM_LossyImageCompression), "01");
    EXPECT_EQ(textOf(*item, DCM_LossyImageCompression), "(none)");
}
