#include "bench/generatePixels.h"

#include "dcmtk/dcmdata/dcrleerg.h"
#include "dcmtk/dcmdata/dcrlerp.h"
#include "dcmtk/dcmjpeg/djencode.h"
#include "dcmtk/dcmjpeg/djrplol.h"
#include "dcmtk/dcmjpls/djencode.h"
#include "dcmtk/dcmjpls/djrparam.h"

const std::vector<Encoding>& encodings() {
    static const DcmRLERepresentationParameter rle;
    static const DJ_RPLossless jpeg;
    static const DJLSRepresentationParameter jpegLs;
    static const bool isRegistered = [] {
        DJEncoderRegistration::registerCodecs();
        DJLSEncoderRegistration::registerCodecs();
        DcmRLEEncoderRegistration::registerCodecs();
        return true;
    }();
    (void)isRegistered;
    static const std::vector<Encoding> all{{"", EXS_LittleEndianExplicit, nullptr},
                                           {"-rle", EXS_RLELossless, &rle},
                                           {"-jpeg", EXS_JPEGProcess14SV1, &jpeg},
                                           {"-jpegls", EXS_JPEGLSLossless, &jpegLs}};
    return all;
}

namespace {

void putShape(DcmDataset& dataset, int rows, int columns, int samples, int bitsAllocated, int bitsStored) {
    for (const auto& [key, value] : {std::pair{DCM_Rows, rows},
                                     {DCM_Columns, columns},
                                     {DCM_SamplesPerPixel, samples},
                                     {DCM_BitsAllocated, bitsAllocated},
                                     {DCM_BitsStored, bitsStored},
                                     {DCM_HighBit, bitsStored - 1},
                                     {DCM_PixelRepresentation, 0}}) {
        check(dataset.putAndInsertUint16(key, static_cast<Uint16>(value)));
    }
}

void putFrameCount(DcmDataset& dataset, int frames) {
    check(dataset.putAndInsertString(DCM_SOPClassUID, UID_CTImageStorage));
    check(dataset.putAndInsertString(DCM_SOPInstanceUID, "1.2.3"));
    check(dataset.putAndInsertString(DCM_NumberOfFrames, std::to_string(frames).c_str()));
}

void writeRgbFrames(const std::string& path, const Amounts& amounts) {
    const std::vector<Uint16> samples = makePixels(amounts.rgbFrames, amounts.rgbRows, 3 * amounts.rgbColumns);
    std::vector<Uint8> pixels(samples.size());
    for (std::size_t index = 0; index < samples.size(); ++index) {
        pixels[index] = static_cast<Uint8>(samples[index] / 8);
    }
    DcmFileFormat file;
    DcmDataset& dataset = *file.getDataset();
    putFrameCount(dataset, amounts.rgbFrames);
    putShape(dataset, amounts.rgbRows, amounts.rgbColumns, 3, 8, 8);
    check(dataset.putAndInsertUint16(DCM_PlanarConfiguration, 0));
    check(dataset.putAndInsertString(DCM_PhotometricInterpretation, "RGB"));
    check(dataset.putAndInsertUint8Array(DCM_PixelData, pixels.data(), static_cast<unsigned long>(pixels.size())));
    check(file.saveFile(path.c_str(), EXS_LittleEndianExplicit));
}

} // namespace

void putPixels(DcmDataset& dataset, const Uint16* pixels, int frames, int side, Stored stored) {
    putShape(dataset, side, side, 1, 16, stored == Stored::twelveBits ? 12 : 16);
    check(dataset.putAndInsertUint16(DCM_PixelRepresentation, stored == Stored::twelveBits ? 0 : 1));
    check(dataset.putAndInsertString(DCM_PhotometricInterpretation, "MONOCHROME2"));
    const auto count = static_cast<unsigned long>(frames) * static_cast<unsigned long>(side * side);
    check(dataset.putAndInsertUint16Array(DCM_PixelData, pixels, count));
}

void writeMultiFrames(const std::filesystem::path& folder, const Amounts& amounts) {
    const std::vector<Uint16> pixels = makePixels(amounts.frames, amounts.side, amounts.side);
    for (const Encoding& encoding : encodings()) {
        DcmFileFormat file;
        DcmDataset& dataset = *file.getDataset();
        putFrameCount(dataset, amounts.frames);
        putPixels(dataset, pixels.data(), amounts.frames, amounts.side);
        check(dataset.chooseRepresentation(encoding.syntax, encoding.parameter));
        check(file.saveFile((folder / ("frames" + encoding.suffix + ".dcm")).string().c_str(), encoding.syntax));
    }
    writeRgbFrames((folder / "frames-rgb.dcm").string(), amounts);
}
