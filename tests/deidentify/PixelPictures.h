#pragma once

// Pictures in memory of which every sample spells its place, and what is expected of them.

#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "dcmtk/config/osconfig.h"

#include "dcmtk/dcmdata/dctk.h"
#include "deidentify/pixels/MaskRules.h"
#include "deidentify/pixels/Masking.h"
#include "tests/support/DicomFiles.h"

namespace radvex::test {

/// A picture of raw pixels. Sizes are unequal, so that no two can be taken for each other.
struct Picture {
    int rows = 5;
    int columns = 8;
    int frames = 1;
    int samples = 1;
    int allocated = 8;
    int stored = 8;
    int high = 7;
    bool isSigned = false;
    int planar = -1; ///< PlanarConfiguration; below 0: none
    std::string model = "MONOCHROME2";
};

/// Writes Pixel Data of these bytes, as words where samples are longer than a byte.
inline void putPixels(DcmDataset& dataset, const Picture& picture, std::vector<Uint8> bytes) {
    bytes.resize((bytes.size() + 1) / 2 * 2);
    auto pixels = std::make_unique<DcmPixelData>(DcmTag(DCM_PixelData, picture.allocated > 8 ? EVR_OW : EVR_OB));
    if (picture.allocated > 8) {
        std::vector<Uint16> words(bytes.size() / 2);
        std::memcpy(words.data(), bytes.data(), bytes.size());
        pixels->putUint16Array(words.data(), words.size());
    } else {
        pixels->putUint8Array(bytes.data(), bytes.size());
    }
    dataset.insert(pixels.release(), OFTrue);
}

inline void fillPicture(DcmFileFormat& file, const Picture& picture, const std::vector<Uint8>& bytes) {
    DcmDataset& dataset = *file.getDataset();
    const auto number = [&](const DcmTagKey& key, int value) {
        dataset.putAndInsertUint16(key, static_cast<Uint16>(value));
    };
    dataset.putAndInsertString(DCM_SOPClassUID, UID_UltrasoundMultiframeImageStorage);
    dataset.putAndInsertString(DCM_SOPInstanceUID, "1.2.3.4");
    dataset.putAndInsertString(DCM_Modality, "US");
    number(DCM_Rows, picture.rows);
    number(DCM_Columns, picture.columns);
    number(DCM_SamplesPerPixel, picture.samples);
    number(DCM_BitsAllocated, picture.allocated);
    number(DCM_BitsStored, picture.stored);
    number(DCM_HighBit, picture.high);
    number(DCM_PixelRepresentation, picture.isSigned ? 1 : 0);
    dataset.putAndInsertString(DCM_PhotometricInterpretation, picture.model.c_str());
    if (picture.planar >= 0) {
        number(DCM_PlanarConfiguration, picture.planar);
    }
    if (picture.frames != 1) {
        dataset.putAndInsertString(DCM_NumberOfFrames, std::to_string(picture.frames).c_str());
    }
    putPixels(dataset, picture, bytes);
    (void)dataset.chooseRepresentation(EXS_LittleEndianExplicit, nullptr);
    dataset.updateOriginalXfer();
    (void)file.validateMetaInfo(EXS_LittleEndianExplicit);
}

/// Bytes that differ from their neighbours in every direction.
inline std::vector<Uint8> spelledBytes(std::size_t count) {
    std::vector<Uint8> bytes(count);
    for (std::size_t at = 0; at < count; ++at) {
        bytes[at] = static_cast<Uint8>(at * 7 + at / 251 + 1);
    }
    return bytes;
}

/// The raw bytes of Pixel Data.
inline std::vector<Uint8> pixelBytes(DcmItem& dataset, const DcmTagKey& key = DCM_PixelData) {
    DcmElement* element = nullptr;
    if (dataset.findAndGetElement(key, element).bad()) {
        return {};
    }
    Uint8* bytes = nullptr;
    Uint16* words = nullptr;
    const bool isOfWords = element->getVR() == EVR_OW;
    const OFCondition got = isOfWords ? element->getUint16Array(words) : element->getUint8Array(bytes);
    const auto* first = isOfWords ? reinterpret_cast<const Uint8*>(words) : bytes;
    return got.good() && first != nullptr ? std::vector<Uint8>(first, first + element->getLength())
                                          : std::vector<Uint8>();
}

inline deidentify::MaskRules rulesOf(const std::string& rule) {
    return deidentify::MaskRules::parse("[{" + rule + "}]", "rules.json");
}

/// What masking refuses with; empty when it does not.
inline std::string refusalOf(DcmFileFormat& file, const std::string& rule) {
    try {
        (void)deidentify::mask(file, rulesOf(rule));
        return "";
    } catch (const std::runtime_error& error) {
        return error.what();
    }
}

/// The pixels after a mask. @param more  changes the dataset before
inline std::vector<Uint8> masked(const Picture& picture, const std::vector<Uint8>& bytes, const std::string& rule,
                                 const Fill& more = {}) {
    DcmFileFormat file;
    fillPicture(file, picture, bytes);
    if (more) {
        more(*file.getDataset());
    }
    EXPECT_TRUE(deidentify::mask(file, rulesOf(rule)));
    return pixelBytes(*file.getDataset());
}

/// What masking a picture of so many bytes refuses with; empty when it does not.
inline std::string refusal(const Picture& picture, std::size_t count, const std::string& rule, const Fill& more = {}) {
    DcmFileFormat file;
    fillPicture(file, picture, spelledBytes(count));
    if (more) {
        more(*file.getDataset());
    }
    return refusalOf(file, rule);
}

inline void putRegion(DcmItem& dataset, Uint32 left, Uint32 top, Uint32 right, Uint32 bottom) {
    DcmItem& region = addItem(dataset, DCM_SequenceOfUltrasoundRegions);
    region.putAndInsertUint32(DCM_RegionLocationMinX0, left);
    region.putAndInsertUint32(DCM_RegionLocationMinY0, top);
    region.putAndInsertUint32(DCM_RegionLocationMaxX1, right);
    region.putAndInsertUint32(DCM_RegionLocationMaxY1, bottom);
}

} // namespace radvex::test
