#include "generatePixels.h"

#include <cstdint>
#include <vector>

#include "dcmtk/config/osconfig.h"

#include "dcmtk/dcmdata/dcrleerg.h"
#include "dcmtk/dcmdata/dcrlerp.h"
#include "dcmtk/dcmdata/dctk.h"
#include "dcmtk/dcmjpeg/djencode.h"
#include "dcmtk/dcmjpeg/djrplol.h"
#include "dcmtk/dcmjpls/djencode.h"
#include "dcmtk/dcmjpls/djrparam.h"

namespace {

constexpr int kFrames = 400;
constexpr int kSize = 512;

/// A body in air with noise in the low bits, the same at every run.
std::vector<Uint16> makePixels() {
    std::vector<Uint16> pixels(static_cast<std::size_t>(kFrames) * kSize * kSize);
    std::uint32_t random = 12345;
    std::size_t index = 0;
    for (int frame = 0; frame < kFrames; ++frame) {
        for (int row = 0; row < kSize; ++row) {
            for (int column = 0; column < kSize; ++column) {
                random = random * 1664525U + 1013904223U;
                const int x = column - kSize / 2;
                const int y = row - kSize / 2;
                const int inside = x * x + 2 * y * y < (150 + frame / 8) * (150 + frame / 8) ? 1000 + (x + y) / 2 : 24;
                pixels[index++] = static_cast<Uint16>(inside + static_cast<int>(random >> 28));
            }
        }
    }
    return pixels;
}

void fill(DcmDataset& dataset, const std::vector<Uint16>& pixels) {
    check(dataset.putAndInsertString(DCM_SOPClassUID, UID_CTImageStorage));
    check(dataset.putAndInsertString(DCM_SOPInstanceUID, "1.2.3"));
    for (const auto& [key, value] : {std::pair{DCM_Rows, kSize},
                                     {DCM_Columns, kSize},
                                     {DCM_SamplesPerPixel, 1},
                                     {DCM_BitsAllocated, 16},
                                     {DCM_BitsStored, 12},
                                     {DCM_HighBit, 11},
                                     {DCM_PixelRepresentation, 0}}) {
        check(dataset.putAndInsertUint16(key, static_cast<Uint16>(value)));
    }
    check(dataset.putAndInsertString(DCM_PhotometricInterpretation, "MONOCHROME2"));
    check(dataset.putAndInsertString(DCM_NumberOfFrames, std::to_string(kFrames).c_str()));
    check(dataset.putAndInsertUint16Array(DCM_PixelData, pixels.data(), pixels.size()));
}

void save(const std::filesystem::path& path, const std::vector<Uint16>& pixels, E_TransferSyntax syntax,
          const DcmRepresentationParameter* parameter) {
    if (std::filesystem::exists(path)) {
        return;
    }
    DcmFileFormat file;
    fill(*file.getDataset(), pixels);
    check(file.getDataset()->chooseRepresentation(syntax, parameter));
    check(file.saveFile(path.string().c_str(), syntax));
}

} // namespace

void writeMultiFrames(const std::filesystem::path& folder) {
    DJEncoderRegistration::registerCodecs();
    DJLSEncoderRegistration::registerCodecs();
    DcmRLEEncoderRegistration::registerCodecs();
    const auto pixels = makePixels();
    const DcmRLERepresentationParameter rle;
    const DJ_RPLossless jpeg;
    const DJLSRepresentationParameter jpegLs;
    save(folder / "frames.dcm", pixels, EXS_LittleEndianExplicit, nullptr);
    save(folder / "frames-rle.dcm", pixels, EXS_RLELossless, &rle);
    save(folder / "frames-jpeg.dcm", pixels, EXS_JPEGProcess14SV1, &jpeg);
    save(folder / "frames-jpegls.dcm", pixels, EXS_JPEGLSLossless, &jpegLs);
}
