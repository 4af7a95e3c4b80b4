#include <stdexcept>
#include <utility>
#include <vector>

#include "bridge/GuardedCall.h"
#include "dicom/exports/Radvex.h"
#include "dicom/metadata/TagNaming.h"
#include "dicom/readers/DcmReaderCache.h"
#include "dicom/writers/DcmAnonymizer.h"
#include "dicom/writers/DcmWriter.h"

using GTU::VArgumentType;
using radvex::DcmWriter;

int WriteImage(VelmoraLibraryData libData, vint argc, VArgument* args, VArgument res) {
    return GTU::guardedCall(libData, argc, args, res, [](GTU::VArgumentManager& mngr) {
        const std::string path = mngr.getString(0);
        auto metadata = mngr.getDataList<VArgumentType::VArgument>(2);
        auto overlays = mngr.getDataList<VArgumentType::Image>(3);
        const std::string compression = mngr.getString(4);
        DcmWriter writer;
        const auto overlayOptions =
            radvex::getOverlayOptionsVector(mngr, 7, static_cast<unsigned int>(overlays.size()));
        radvex::ImageWriteOptions options;
        if (compression != "Uncompressed") {
            options = {compression, mngr.getInteger(5), mngr.getInteger(6)};
        }
        writer.writeImage(mngr);
        writer.writeMetadata(metadata);
        writer.writeOverlay(overlays, overlayOptions);
        radvex::dcmReaderCache.loadBeforeWriting(path);
        writer.saveFile(path, options);
    });
}

int DicomAnonymize(VelmoraLibraryData libData, vint argc, VArgument* args, VArgument res) {
    return GTU::guardedCall(libData, argc, args, res, [](GTU::VArgumentManager& mngr) {
        DcmWriter writer;
        const std::string input = mngr.getString(0);
        const std::string output = mngr.getString(1);
        auto replacements = mngr.getDataList<VArgumentType::UTF8String>(2);
        std::vector<std::pair<DcmTagKey, std::string>> tagsToChange;
        for (auto& node : replacements) {
            const DcmTagKey key = radvex::getTagKey(radvex::GeneralInfoMap, node.getName());
            const char* value = node.getValue();
            if (value == nullptr) {
                throw std::out_of_range("A replacement has no text.");
            }
            tagsToChange.emplace_back(key, value);
        }
        const radvex::DcmAnonymizer anonymizer(std::move(tagsToChange));
        writer.loadDataFromFile(input);
        writer.anonymize(anonymizer, false);
        radvex::dcmReaderCache.loadBeforeWriting(output);
        writer.saveFile(output, {});
    });
}

int SetDefaultTagValue(VelmoraLibraryData libData, vint argc, VArgument* args, VArgument res) {
    return GTU::guardedCall(libData, argc, args, res, [](GTU::VArgumentManager& mngr) {
        const std::string keyword = mngr.getString(0);
        DcmWriter::setDefaultTagValue(keyword, mngr.getString(1));
    });
}

int GetDefaultTagValue(VelmoraLibraryData libData, vint argc, VArgument* args, VArgument res) {
    return GTU::guardedCall(libData, argc, args, res, [](GTU::VArgumentManager& mngr) {
        mngr.setString(DcmWriter::getDefaultTagValue(mngr.getString(0)));
    });
}
