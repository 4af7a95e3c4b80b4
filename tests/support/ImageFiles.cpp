#include "tests/support/ImageFiles.h"

namespace radvex::test {

std::string writeImageFile(const std::string& path, const ImageFile& file, E_TransferSyntax syntax) {
    return writeDicom(
        path,
        [&](DcmDataset& dataset) {
            const auto number = [&](const DcmTagKey& key, int value) {
                if (value >= 0) {
                    dataset.putAndInsertUint16(key, static_cast<Uint16>(value));
                }
            };
            const auto text = [&](const DcmTagKey& key, const std::string& value) {
                if (!value.empty()) {
                    dataset.putAndInsertString(key, value.c_str());
                }
            };
            number(DCM_Rows, file.rows);
            number(DCM_Columns, file.columns);
            number(DCM_SamplesPerPixel, file.samples);
            number(DCM_BitsAllocated, file.bitsAllocated);
            number(DCM_BitsStored, file.bitsStored);
            number(DCM_HighBit, file.bitsStored - 1);
            number(DCM_PixelRepresentation, file.pixelRepresentation);
            number(DCM_PlanarConfiguration, file.planarConfiguration);
            text(DCM_PhotometricInterpretation, file.photometric);
            text(DCM_NumberOfFrames, file.frames);
            text(DCM_RescaleSlope, file.slope);
            text(DCM_RescaleIntercept, file.intercept);
            if (!file.words.empty()) {
                dataset.putAndInsertUint16Array(DcmTag(DCM_PixelData, EVR_OW), file.words.data(), file.words.size());
            }
            if (file.more) {
                file.more(dataset);
            }
        },
        syntax);
}

} // namespace radvex::test
