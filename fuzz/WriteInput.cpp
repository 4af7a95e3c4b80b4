#include "fuzz/WriteInput.h"

#include <random>

#include "fuzz/Supply.h"

namespace radvex::fuzz {

namespace {

using velmora::Image;
using velmora::Store;

constexpr std::array<vint, 5> kTypes{VImage_U8, VImage_U16, VImage_Bit, VImage_F32, VImage_F64};

/// Few bytes of an input may ask for large images, which would only take time.
constexpr std::int64_t kMostElements = 1 << 14;

vint sideOf(unsigned byte) {
    static constexpr std::array<vint, 6> kOthers{256, 257, 1000, 65535, 65536, 65537};
    constexpr unsigned kFirstOther = 250;
    return byte < kFirstOther ? static_cast<vint>(byte) + 1 : kOthers[byte - kFirstOther];
}

/// Pixels by rule, so that a coder has something to do; only the first rule needs bytes of the input.
void fillPixels(std::span<std::byte> pixels, unsigned rule, Bytes input) {
    std::minstd_rand random(rule + 1);
    std::size_t index = 0;
    for (std::byte& byte : pixels) {
        unsigned value = 0;
        switch (rule % 8) {
        case 0: value = input.empty() ? 0 : input[index % input.size()]; break;
        case 1: value = static_cast<unsigned>(index / 16); break;
        case 2: value = static_cast<unsigned>(random()); break;
        case 3: value = 255; break;
        case 4: value = index % 2 == 0 ? 255 : 0; break;
        case 5: value = static_cast<unsigned>(random()) % 8 == 0 ? 255 : 0; break;
        case 6: value = index < pixels.size() / 2 ? 0 : static_cast<unsigned>(index); break;
        default: value = index % 2 == 0 ? static_cast<unsigned>(index) : 0x0F & static_cast<unsigned>(random());
        }
        byte = static_cast<std::byte>(value);
        ++index;
    }
}

Image imageOf(const Choices& choices) {
    static constexpr std::array<vint, 8> kChannels{1, 3, 2, 4, 1, 3, 5, 16};
    static constexpr std::array<vint, 8> kSlices{0, 1, 2, 3, 5, 17, 0, 0};
    const unsigned kind = choices.byte(0);
    const vint type = kTypes[kind % kTypes.size()];
    const vint channels = kChannels[kind / kTypes.size() % 8];
    const vint slices = choices.of(1, kSlices);
    vint rows = sideOf(choices.byte(2));
    vint columns = sideOf(choices.byte(3));
    const std::int64_t layers = std::max<std::int64_t>(slices, 1) * channels;
    while (layers * rows * columns > kMostElements) {
        vint& longer = rows > columns ? rows : columns;
        longer = longer / 2 + 1;
    }
    const vint colours = channels == 3 ? VColorSpace_RGB : VColorSpace_Grey;
    return {slices, rows, columns, channels, type, colours, (kind & 128U) == 0};
}

const std::vector<std::string> kKeywords{"PatientName",
                                         "PatientID",
                                         "PatientAge",
                                         "StudyDate",
                                         "StudyTime",
                                         "AcquisitionDateTime",
                                         "PixelSpacing",
                                         "InstanceNumber",
                                         "WindowCenter",
                                         "WindowWidth",
                                         "RescaleSlope",
                                         "RescaleIntercept",
                                         "PixelAspectRatio",
                                         "SmallestImagePixelValue",
                                         "LargestImagePixelValue",
                                         "PixelPaddingValue",
                                         "RedPaletteColorLookupTableDescriptor",
                                         "RedPaletteColorLookupTableData",
                                         "FrameIncrementPointer",
                                         "ImageComments",
                                         "SimpleFrameList",
                                         "ReferencePixelX0",
                                         "ExaminedBodyThickness",
                                         "RealWorldValueSlope",
                                         "SpecificCharacterSet",
                                         "EncapsulatedDocument",
                                         "ICCProfile",
                                         "TransferSyntaxUID",
                                         "FileMetaInformationGroupLength",
                                         "Item",
                                         "SequenceDelimitationItem",
                                         "LossyImageCompression",
                                         "LUTDescriptor",
                                         "LUTData",
                                         "DirectoryRecordType",
                                         "DataSetTrailingPadding",
                                         "PixelDataProviderURL",
                                         "LongCodeValue",
                                         "WaveformData",
                                         "WaveformBitsAllocated",
                                         "CurveData",
                                         "OverlayOrigin",
                                         "NumberOfFramesInOverlay",
                                         "PresentationLUTShape",
                                         "ReferencedSOPInstanceUID",
                                         "NoSuchKeyword",
                                         "Rows",
                                         "NumberOfFrames",
                                         "PlanarConfiguration"};
const std::vector<std::string> kSequences{"ReferencedImageSequence",
                                          "ModalityLUTSequence",
                                          "VOILUTSequence",
                                          "PresentationLUTSequence",
                                          "PerFrameFunctionalGroupsSequence",
                                          "SharedFunctionalGroupsSequence",
                                          "DirectoryRecordSequence",
                                          "PatientName"};
const std::vector<std::string> kTexts{"",
                                      "1",
                                      "0",
                                      "2",
                                      "1\\2",
                                      "0\\0\\16",
                                      "65535\\0\\16",
                                      "-1",
                                      "1e308",
                                      "65536",
                                      "2147483647",
                                      "20240229",
                                      "101530.250",
                                      "042Y",
                                      "Doe^Jane=\xE5\xB1\xB1\xE7\x94\xB0",
                                      "ISO 2022 IR 87\\ISO_IR 192",
                                      "ISO_IR 192",
                                      "1.2.840.10008.1.2.4.50",
                                      "(0018,1063)",
                                      "IDENTITY",
                                      "INVERSE",
                                      "01",
                                      "\\\\\\",
                                      std::string(1000, '9')};

std::string anyText(Supply& supply) {
    const unsigned choice = supply.byte();
    return choice < 2 * kTexts.size() ? kTexts[choice % kTexts.size()] : supply.text();
}

/// Entries of the metadata, nested as deep as the bytes say.
class MetadataMaker {
  public:
    explicit MetadataMaker(Supply& supply) : mSupply(supply) {}

    Store make() { return entries(0); }
    bool hasOtherLayout() const { return mHasOtherLayout; }

  private:
    static constexpr unsigned kMostEntries = 6;
    static constexpr unsigned kMostDepth = 4;

    Store entries(unsigned depth) {
        Store store = Store::empty();
        for (unsigned count = mSupply.byte() % kMostEntries; count > 0; --count) {
            addEntry(store, depth);
        }
        return store;
    }

    void addEntry(Store& store, unsigned depth) {
        const unsigned kind = mSupply.byte() % 16;
        if (kind < 12 || depth == kMostDepth) {
            const std::string& keyword = mSupply.of(kKeywords);
            mHasOtherLayout = mHasOtherLayout || (depth == 0 && saysLayout(keyword));
            store.add(keyword, anyText(mSupply));
        } else if (kind < 15) {
            const std::string& keyword = mSupply.of(kSequences);
            store.add(keyword, sequence(depth));
        } else {
            store.add("ReferencedImageSequence", chain(mSupply.byte() % 128));
        }
    }

    Store sequence(unsigned depth) {
        Store items = Store::empty();
        for (unsigned count = mSupply.byte() % 4; count > 0; --count) {
            items.add("", entries(depth + 1));
        }
        return items;
    }

    /// So many sequences inside each other.
    static Store chain(unsigned levels) {
        Store entries = Store::empty();
        entries.add("CodeMeaning", "innermost");
        for (; levels > 0; --levels) {
            Store outer = Store::empty();
            outer.add("ReferencedImageSequence", itemsOf(std::move(entries)));
            entries = std::move(outer);
        }
        return itemsOf(std::move(entries));
    }

    static Store itemsOf(Store only) {
        Store items = Store::empty();
        items.add("", std::move(only));
        return items;
    }

    static bool saysLayout(const std::string& keyword) {
        return keyword == "NumberOfFrames" || keyword == "PlanarConfiguration";
    }

    Supply& mSupply;
    bool mHasOtherLayout = false;
};

Image overlayOf(Supply& supply) {
    static constexpr std::array<vint, 8> kSides{1, 2, 3, 16, 17, 33, 64, 300};
    static constexpr std::array<vint, 4> kSlices{0, 1, 2, 5};
    const vint type = supply.byte() % 16 == 15 ? VImage_U8 : VImage_Bit;
    const vint slices = supply.of(kSlices);
    const vint rows = supply.of(kSides);
    const vint columns = supply.of(kSides);
    Image overlay(slices, rows, columns, 1, type, VColorSpace_Grey, true);
    fillPixels(overlay.bytes(), 5 + 8 * supply.byte(), {});
    for (std::byte& byte : overlay.bytes()) {
        byte &= std::byte{1};
    }
    return overlay;
}

void addOverlays(WriteInput& input, Supply& supply) {
    static const std::vector<std::string> kProperties{"OriginRow",    "OriginColumn",       "ImageFrameOrigin",
                                                      "OverlayType",  "OverlayDescription", "OverlaySubtype",
                                                      "OverlayLabel", "NoSuchProperty"};
    static constexpr std::array<unsigned, 8> kCounts{0, 0, 0, 0, 1, 2, 3, 17};
    const unsigned count = supply.of(kCounts);
    for (unsigned number = 1; number <= count; ++number) {
        input.overlays.add("", overlayOf(supply));
        Store properties = Store::empty();
        for (unsigned property = supply.byte() % 4; property > 0; --property) {
            const std::string& name = supply.of(kProperties);
            properties.add(name, anyText(supply));
        }
        if (properties.size() > 0) {
            input.overlayOptions.add(std::to_string(number), std::move(properties));
        }
    }
}

} // namespace

WriteInput writeInputOf(Bytes bytes) {
    static const std::array<std::string, 9> kCompressions{"Uncompressed",
                                                          "JPEGLossless",
                                                          "JPEGLosslessNonhierarchical",
                                                          "JPEGLossy8bit",
                                                          "JPEGLossy12bit",
                                                          "JPEG-LSLossless",
                                                          "JPEG-LSLossy",
                                                          "RLE",
                                                          "NoSuchName"};
    static constexpr std::array<vint, 12> kParameters{0, 1, 2, 7, 6, 8, 90, 100, 255, 65535, -1, 2147483647};
    static const std::vector<std::string> kDefaults{"",           "",          "PatientName",  "StudyTime",
                                                    "StudyDate",  "Modality",  "SeriesNumber", "PixelSpacing",
                                                    "PatientSex", "PatientID", "ContentLabel", "ConversionType"};
    const Choices choices(bytes);
    Supply supply(Choices::rest(bytes));
    WriteInput input{.image = imageOf(choices),
                     .compression = choices.of(4, kCompressions),
                     .first = choices.of(5, kParameters),
                     .second = choices.of(6, kParameters)};
    MetadataMaker metadata(supply);
    input.metadata = metadata.make();
    input.hasOtherLayout = metadata.hasOtherLayout();
    addOverlays(input, supply);
    input.defaultKeyword = supply.of(kDefaults);
    input.defaultValue = input.defaultKeyword.empty() ? "" : anyText(supply);
    fillPixels(input.image.bytes(), choices.byte(7), supply.left());
    if (input.image.info().type == VImage_Bit) {
        for (std::byte& byte : input.image.bytes()) {
            byte &= std::byte{1};
        }
    }
    return input;
}

} // namespace radvex::fuzz
