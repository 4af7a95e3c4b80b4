#include "tests/support/DicomFiles.h"

#include <memory>
#include <stdexcept>

namespace radvex::test {

void put(DcmItem& item, const Attributes& attributes) {
    for (const auto& [key, text] : attributes) {
        item.putAndInsertString(key, text.c_str());
    }
}

std::string textOf(DcmItem& item, const DcmTagKey& key) {
    OFString value;
    return item.findAndGetOFStringArray(key, value).good() ? std::string(value.c_str()) : "(none)";
}

DcmItem& addItem(DcmItem& parent, const DcmTagKey& sequence) {
    DcmItem* item = nullptr;
    if (parent.findOrCreateSequenceItem(sequence, item, -2).bad()) {
        throw std::runtime_error("No item can be added to " + std::string(sequence.toString().c_str()));
    }
    return *item;
}

FillItem with(const Attributes& attributes) {
    return [attributes](DcmItem& item) { put(item, attributes); };
}

FillItem without(const std::vector<DcmTagKey>& keys) {
    return [keys](DcmItem& item) {
        for (const DcmTagKey& key : keys) {
            item.findAndDeleteElement(key);
        }
    };
}

std::string writeDicom(const std::string& path, const Fill& fill, E_TransferSyntax syntax) {
    DcmFileFormat file;
    DcmDataset& dataset = *file.getDataset();
    put(dataset, {{DCM_SOPClassUID, UID_CTImageStorage}, {DCM_SOPInstanceUID, "1.2.3.4.5"}});
    if (fill) {
        fill(dataset);
    }
    const OFCondition saved = file.saveFile(path.c_str(), syntax);
    if (saved.bad()) {
        throw std::runtime_error("Cannot write " + path + ": " + saved.text());
    }
    return path;
}

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

void putFragments(DcmItem& item, E_TransferSyntax syntax, const std::vector<std::string>& fragments) {
    auto sequence = std::make_unique<DcmPixelSequence>(DcmTag(DCM_PixelData, EVR_OB));
    sequence->insert(new DcmPixelItem(DcmTag(DCM_Item, EVR_OB)));
    for (const std::string& bytes : fragments) {
        auto fragment = std::make_unique<DcmPixelItem>(DcmTag(DCM_Item, EVR_OB));
        fragment->putUint8Array(reinterpret_cast<const Uint8*>(bytes.data()), bytes.size());
        sequence->insert(fragment.release());
    }
    auto pixels = std::make_unique<DcmPixelData>(DCM_PixelData);
    pixels->putOriginalRepresentation(syntax, nullptr, sequence.release());
    item.insert(pixels.release(), OFTrue);
}

void putOverlay(DcmItem& item, Uint16 group, const OverlayPlane& plane) {
    const auto number = [&](Uint16 element, int value) {
        item.putAndInsertUint16(DcmTag(group, element, EVR_US), static_cast<Uint16>(value));
    };
    number(0x0010, plane.rows);
    number(0x0011, plane.columns);
    if (!plane.frames.empty()) {
        item.putAndInsertString(DcmTag(group, 0x0015, EVR_IS), plane.frames.c_str());
        number(0x0051, 1);
    }
    item.putAndInsertString(DcmTag(group, 0x0040, EVR_CS), "G");
    item.putAndInsertSint16Array(DcmTag(group, 0x0050, EVR_SS), plane.origin.data(), 2);
    number(0x0100, 1);
    number(0x0102, 0);
    item.putAndInsertUint16Array(DcmTag(group, 0x3000, EVR_OW), &plane.bits, 1);
}

} // namespace radvex::test
