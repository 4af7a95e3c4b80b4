#include "fuzz/SeedFiles.h"

#include <numeric>
#include <stdexcept>

#include "dcmtk/dcmdata/dcrleerg.h"
#include "dcmtk/dcmjpeg/djencode.h"
#include "dcmtk/dcmjpls/djencode.h"
#include "tests/support/DicomFiles.h"
#include "tests/support/Jpeg2000Streams.h"
#include "tests/support/MediumFiles.h"
#include "tests/support/TemporaryFolder.h"

namespace radvex::fuzz {

namespace {

using test::Fill;
using test::ImageFile;

/// The encoders of DCMTK, for as long as this lives: the library registers and takes off its own.
class Encoders {
  public:
    Encoders() {
        DJEncoderRegistration::registerCodecs();
        DJLSEncoderRegistration::registerCodecs();
        DcmRLEEncoderRegistration::registerCodecs();
    }
    ~Encoders() {
        DJEncoderRegistration::cleanup();
        DJLSEncoderRegistration::cleanup();
        DcmRLEEncoderRegistration::cleanup();
    }
    Encoders(const Encoders&) = delete;
    Encoders& operator=(const Encoders&) = delete;
};

std::vector<Uint16> counting(std::size_t count) {
    std::vector<Uint16> words(count);
    std::iota(words.begin(), words.end(), Uint16{0x0101});
    return words;
}

class SeedWriter {
  public:
    void add(const std::string& name, const ImageFile& file, E_TransferSyntax syntax = EXS_LittleEndianExplicit) {
        const std::string path = mFolder.file("seed");
        test::writeImageFile(path, file, syntax);
        mFiles.push_back({name, test::readFile(path)});
    }
    void addEncoded(const std::string& name, ImageFile file, E_TransferSyntax syntax) {
        // Put without a representation of its own, so that DCMTK makes an element of it that can be encoded.
        file.more = [syntax, words = std::move(file.words)](DcmDataset& dataset) {
            dataset.putAndInsertUint16Array(DCM_PixelData, words.data(), words.size());
            if (const OFCondition encoded = dataset.chooseRepresentation(syntax, nullptr); encoded.bad()) {
                throw std::runtime_error(std::string("A seed cannot be encoded: ") + encoded.text());
            }
        };
        file.words.clear();
        add(name, file, syntax);
    }
    std::vector<SeedFile> take() { return std::move(mFiles); }

  private:
    test::TemporaryFolder mFolder{};
    std::vector<SeedFile> mFiles{};
};

ImageFile grey(int bits) {
    ImageFile file{.rows = 2, .columns = 3, .bitsAllocated = bits, .bitsStored = bits};
    file.words = counting(static_cast<std::size_t>(std::max(1, 6 * bits / 16)));
    return file;
}

ImageFile colour(const std::string& interpretation, int planar) {
    return {.rows = 2,
            .columns = 2,
            .samples = 3,
            .bitsAllocated = 8,
            .bitsStored = 8,
            .photometric = interpretation,
            .planarConfiguration = planar,
            .words = counting(6)};
}

/// A slope without noise. DCMTK's JPEG-LS encoder writes behind its input when what it makes of it is larger.
ImageFile slope(int samples, int bitsAllocated, int bitsStored, int frames) {
    constexpr int kSize = 16;
    ImageFile file{
        .rows = kSize, .columns = kSize, .samples = samples, .bitsAllocated = bitsAllocated, .bitsStored = bitsStored};
    file.photometric = samples == 3 ? "RGB" : "MONOCHROME2";
    file.planarConfiguration = samples == 3 ? 0 : -1;
    file.frames = frames > 1 ? std::to_string(frames) : "";
    const auto count = static_cast<std::size_t>(kSize * kSize * samples * frames);
    const unsigned perWord = bitsAllocated == 8 ? 2 : 1;
    file.words.resize(count / perWord);
    for (std::size_t index = 0; index < file.words.size(); ++index) {
        const auto value = static_cast<unsigned>(index * perWord / (kSize * static_cast<unsigned>(samples)));
        file.words[index] = static_cast<Uint16>(perWord == 2 ? value * 0x0101U : value);
    }
    return file;
}

/// `size` pixels in each direction, enough for a coder to have something to do.
ImageFile square(int size, int bitsAllocated, int bitsStored, int frames) {
    ImageFile file{.rows = size, .columns = size, .bitsAllocated = bitsAllocated, .bitsStored = bitsStored};
    file.frames = frames > 1 ? std::to_string(frames) : "";
    file.words.resize(static_cast<std::size_t>(size * size * frames * bitsAllocated / 16));
    for (std::size_t index = 0; index < file.words.size(); ++index) {
        file.words[index] = static_cast<Uint16>((index * index * 7 + index) & ((1U << bitsStored) - 1));
    }
    return file;
}

void putLookupTable(DcmItem& item, const DcmTagKey& descriptor, const DcmTagKey& data) {
    const std::vector<Uint16> description{4, 0, 16};
    const std::vector<Uint16> table{0, 20000, 40000, 65535};
    item.putAndInsertUint16Array(DcmTag(descriptor, EVR_US), description.data(), description.size());
    item.putAndInsertUint16Array(DcmTag(data, EVR_OW), table.data(), table.size());
}

Fill lookupSequence(const DcmTagKey& sequence) {
    return [sequence](DcmDataset& dataset) {
        DcmItem* item = nullptr;
        if (dataset.findOrCreateSequenceItem(sequence, item, -2).good()) {
            putLookupTable(*item, DCM_LUTDescriptor, DCM_LUTData);
            item->putAndInsertString(DCM_ModalityLUTType, "US");
        }
    };
}

void putPalette(DcmDataset& dataset) {
    putLookupTable(dataset, DCM_RedPaletteColorLookupTableDescriptor, DCM_RedPaletteColorLookupTableData);
    putLookupTable(dataset, DCM_GreenPaletteColorLookupTableDescriptor, DCM_GreenPaletteColorLookupTableData);
    putLookupTable(dataset, DCM_BluePaletteColorLookupTableDescriptor, DCM_BluePaletteColorLookupTableData);
}

void putOverlay(DcmDataset& dataset, Uint16 group, bool hasData) {
    const auto tag = [group](Uint16 element) { return DcmTagKey(group, element); };
    const std::vector<Sint16> origin{1, 1};
    dataset.putAndInsertUint16(DcmTag(tag(0x0010), EVR_US), 2);
    dataset.putAndInsertUint16(DcmTag(tag(0x0011), EVR_US), 3);
    dataset.putAndInsertString(DcmTag(tag(0x0040), EVR_CS), "G");
    dataset.putAndInsertSint16Array(DcmTag(tag(0x0050), EVR_SS), origin.data(), 2);
    dataset.putAndInsertUint16(DcmTag(tag(0x0100), EVR_US), hasData ? 1 : 16);
    dataset.putAndInsertUint16(DcmTag(tag(0x0102), EVR_US), hasData ? 0 : 12);
    if (hasData) {
        const Uint16 bits = 0x0015;
        dataset.putAndInsertUint16Array(DcmTag(tag(0x3000), EVR_OW), &bits, 1);
    }
}

void putSequences(DcmDataset& dataset) {
    DcmItem* item = nullptr;
    dataset.findOrCreateSequenceItem(DCM_ReferencedImageSequence, item, -2);
    item->putAndInsertString(DCM_ReferencedSOPInstanceUID, "1.2.3");
    DcmItem* inner = nullptr;
    item->findOrCreateSequenceItem(DCM_PurposeOfReferenceCodeSequence, inner, -2);
    inner->putAndInsertString(DCM_CodeMeaning, "Localizer");
    inner->putAndInsertString(DCM_CodeValue, "121311");
}

void putTexts(DcmDataset& dataset) {
    dataset.putAndInsertString(DCM_SpecificCharacterSet, "\\ISO 2022 IR 87");
    dataset.putAndInsertString(DCM_PatientName, "Yamada^Tarou=\033$B;3ED\033(B^\033$BB@O:\033(B");
    dataset.putAndInsertString(DCM_PatientID, "P1");
    dataset.putAndInsertString(DCM_PatientBirthDate, "19700101");
    dataset.putAndInsertString(DCM_PatientAge, "042Y");
    dataset.putAndInsertString(DCM_StudyTime, "101530.250");
    dataset.putAndInsertString(DCM_AcquisitionDateTime, "20240229101530.5+0100");
    dataset.putAndInsertString(DCM_PixelSpacing, "0.5\\0.25");
    dataset.putAndInsertString(DCM_PatientComments, "text");
}

/// A value of each remaining representation.
void putNumbers(DcmDataset& dataset) {
    const std::vector<Float64> doubles{1.5, -2.25};
    const std::vector<Float32> floats{0.5F, 3.0F};
    dataset.putAndInsertFloat64Array(DCM_DoubleFloatPixelData, doubles.data(), 2);
    dataset.putAndInsertFloat32Array(DCM_FloatPixelData, floats.data(), 2);
    dataset.putAndInsertFloat64(DCM_RealWorldValueSlope, 2.0);
    dataset.putAndInsertFloat32(DCM_ExaminedBodyThickness, 12.5F);
    dataset.putAndInsertSint32(DCM_ReferencePixelX0, -7);
    dataset.putAndInsertUint32(DCM_SimpleFrameList, 3);
    dataset.putAndInsertTagKey(DCM_FrameIncrementPointer, DCM_FrameTime);
    dataset.putAndInsertUint8Array(DcmTag(0x0029, 0x1010, EVR_UN), reinterpret_cast<const Uint8*>("abcd"), 4);
}

void addGrey(SeedWriter& writer) {
    for (const int bits : {1, 8, 16, 32}) {
        writer.add("grey" + std::to_string(bits), grey(bits));
    }
    ImageFile rescaled = grey(16);
    rescaled.pixelRepresentation = 1;
    rescaled.slope = "2";
    rescaled.intercept = "-1024";
    writer.add("rescaled", rescaled);
    rescaled.photometric = "MONOCHROME1";
    writer.add("inverted", rescaled, EXS_LittleEndianImplicit);
    writer.add("big", rescaled, EXS_BigEndianExplicit);
    writer.add("deflated", rescaled, EXS_DeflatedLittleEndianExplicit);
    for (const auto& [name, sequence] : {std::pair{"modality", DCM_ModalityLUTSequence},
                                         {"window", DCM_VOILUTSequence},
                                         {"presentation", DCM_PresentationLUTSequence}}) {
        ImageFile file = grey(16);
        file.more = lookupSequence(sequence);
        writer.add(name, file);
    }
}

void addColour(SeedWriter& writer) {
    for (const char* interpretation : {"RGB", "YBR_FULL", "YBR_FULL_422", "YBR_PARTIAL_422", "HSV", "CMYK", "ARGB"}) {
        ImageFile file = colour(interpretation, 0);
        if (file.photometric == "CMYK" || file.photometric == "ARGB") {
            file.samples = 4;
            file.words = counting(8);
        }
        writer.add(file.photometric, file);
        file.planarConfiguration = 1;
        writer.add(file.photometric + "-planar", file);
    }
    ImageFile palette = grey(8);
    palette.photometric = "PALETTE COLOR";
    palette.more = putPalette;
    writer.add("palette", palette);
}

void addEncodings(SeedWriter& writer) {
    const Encoders encoders;
    const std::vector<std::pair<std::string, E_TransferSyntax>> all{
        {"rle", EXS_RLELossless},           {"jpeg", EXS_JPEGProcess1},     {"jpeg12", EXS_JPEGProcess2_4},
        {"lossless", EXS_JPEGProcess14SV1}, {"jpegls", EXS_JPEGLSLossless}, {"jpeglsNear", EXS_JPEGLSLossy}};
    for (const auto& [name, syntax] : all) {
        const bool isSlope = syntax == EXS_JPEGLSLossless || syntax == EXS_JPEGLSLossy;
        writer.addEncoded(name + "8", isSlope ? slope(1, 8, 8, 1) : square(8, 8, 8, 1), syntax);
        writer.addEncoded(name + "Frames", isSlope ? slope(1, 8, 8, 3) : square(8, 8, 8, 3), syntax);
        writer.addEncoded(name + "Colour", isSlope ? slope(3, 8, 8, 1) : colour("RGB", 0), syntax);
        if (syntax != EXS_JPEGProcess1) {
            writer.addEncoded(name + "12", isSlope ? slope(1, 16, 12, 2) : square(8, 16, 12, 2), syntax);
        }
    }
}

/// DCMTK has no encoder for it.
void addJpeg2000(SeedWriter& writer) {
    constexpr int kSide = 8;
    for (const int samples : {1, 3}) {
        for (const int bits : {8, 12}) {
            test::Jpeg2000Source source{.rows = kSide, .columns = kSide, .components = samples, .precision = bits};
            source.hasTransformation = samples == 3;
            for (int sample = 0; sample < kSide * kSide * samples; ++sample) {
                source.samples.push_back(sample * 7 % (1 << bits));
            }
            ImageFile file{.rows = kSide, .columns = kSide, .samples = samples, .bitsAllocated = bits == 8 ? 8 : 16};
            file.bitsStored = bits;
            file.photometric = samples == 3 ? "YBR_RCT" : "MONOCHROME2";
            file.planarConfiguration = samples == 3 ? 0 : -1;
            file.frames = "2";
            std::string stream = test::jpeg2000Stream(source);
            stream += std::string(stream.size() % 2, '\0');
            file.more = [stream](DcmDataset& dataset) {
                test::putFragments(dataset, EXS_JPEG2000LosslessOnly, {stream, stream});
            };
            writer.add("jpeg2000-" + std::to_string(samples) + "-" + std::to_string(bits), file,
                       EXS_JPEG2000LosslessOnly);
        }
    }
}

void addOverlays(SeedWriter& writer) {
    ImageFile file = grey(16);
    file.more = [](DcmDataset& dataset) {
        putOverlay(dataset, 0x6000, true);
        putOverlay(dataset, 0x6002, true);
    };
    writer.add("overlays", file);
    ImageFile inside = grey(16);
    inside.bitsStored = 12;
    inside.more = [](DcmDataset& dataset) { putOverlay(dataset, 0x6000, false); };
    writer.add("overlayInPixels", inside);
    ImageFile frames = square(3, 16, 12, 2);
    frames.more = [](DcmDataset& dataset) {
        putOverlay(dataset, 0x6000, true);
        dataset.putAndInsertString(DcmTag(0x6000, 0x0015, EVR_IS), "2");
        dataset.putAndInsertUint16(DcmTag(0x6000, 0x0051, EVR_US), 1);
    };
    writer.add("overlayFrames", frames);
}

void addAttributes(SeedWriter& writer) {
    ImageFile file = grey(16);
    file.more = [](DcmDataset& dataset) {
        putSequences(dataset);
        putTexts(dataset);
        putNumbers(dataset);
    };
    writer.add("attributes", file);
    writer.add("attributesImplicit", file, EXS_LittleEndianImplicit);
    file.words.clear();
    writer.add("withoutPixels", file);
}

} // namespace

const std::vector<SeedFile>& seedFiles() {
    static const std::vector<SeedFile> files = [] {
        SeedWriter writer;
        addGrey(writer);
        addColour(writer);
        addEncodings(writer);
        addJpeg2000(writer);
        addOverlays(writer);
        addAttributes(writer);
        return writer.take();
    }();
    return files;
}

std::string seedImage() {
    const test::TemporaryFolder folder;
    return test::readFile(test::writeImageFile(folder.file("A"), grey(16)));
}

std::string seedDirectory() {
    const test::TemporaryFolder folder;
    const std::string path = test::writeMedium(
        folder,
        {test::patientRecord(
            "P1", "Doe^Jane",
            {test::studyRecord(
                "1.2", {test::seriesRecord("1.2.3", "CT", {test::imageRecord("A", 1), test::imageRecord("B", 2)}),
                        test::seriesRecord("1.2.4", "MR", {test::imageRecord("C", 1)})})})});
    return test::readFile(path);
}

} // namespace radvex::fuzz
