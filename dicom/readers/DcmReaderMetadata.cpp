// What a file says about given attributes, and questions to the dictionary.

#include "bridge/ErrorManager.h"
#include "dcmtk/dcmdata/dcdeftag.h"
#include "dcmtk/dcmdata/dcmetinf.h"
#include "dicom/metadata/MemoryWatch.h"
#include "dicom/readers/DcmReader.h"

namespace radvex {

namespace {

const std::string kPixelData = "PixelData";
const std::string kOverlayData = "OverlayData";

/// The element at the top level of the dataset, null when it is absent.
DcmElement* findElement(DcmDataset* dataset, const DcmTagKey& tag) {
    DcmElement* element = nullptr;
    return dataset->findAndGetElement(tag, element, OFFalse, OFFalse).good() ? element : nullptr;
}

DcmElement* findValidElement(DcmDataset* dataset, const DcmTagKey& tag, bool validate) {
    DcmElement* element = findElement(dataset, tag);
    return element != nullptr && (!validate || hasValidValue(*element)) ? element : nullptr;
}

DcmTag tagOf(const std::pair<std::string, std::string>& numbers) {
    const Uint16 group = stringToUint16(numbers.first);
    return {group, stringToUint16(numbers.second)};
}

void addText(ResultList& list, const std::string& text) {
    GTU::Argument<GTU::VArgumentType::UTF8String>::addDataStoreNode(list.getInternal(), "", text.c_str());
}

} // namespace

ResultList DcmReader::readMetadata(const std::vector<std::string>& names, bool validate) const {
    convertTexts();
    const MemoryWatch memory; // a value for which there is none would be left out
    ResultList result;
    for (const std::string& name : names) {
        const DcmTagKey key = getTagKey(GeneralInfoMap, name);
        decompressFor(key);
        DcmElement* element = findValidElement(dataset, key, validate);
        if (element == nullptr) {
            continue;
        }
        if (element->getTag().getEVR() == EVR_SQ) {
            saveHierarchicalDatasetToDataList(result, element, {}, true, validate);
        } else if (name == kPixelData || name == kOverlayData) { // by the text of the request
            saveGraphicMetadataToDataList(result, dataset, DcmTag(key), false);
        } else {
            saveDcmElementToDataList(result, element, true, true, false);
        }
    }
    requireWhole();
    memory.require();
    return result;
}

ResultList DcmReader::readMetadataIntTags(const TagNumbers& tags, bool validate) const {
    convertTexts();
    const MemoryWatch memory; // a value for which there is none would be left out
    ResultList result;
    for (const auto& numbers : tags) {
        const DcmTag tag = tagOf(numbers);
        decompressFor(tag);
        DcmElement* element = findValidElement(dataset, tag, validate);
        if (element == nullptr) {
            continue;
        }
        if (element->getTag().getEVR() == EVR_SQ) {
            // Items of a sequence asked for by number are always validated, whatever the caller says: hosts rely on it.
            saveHierarchicalDatasetToDataList(result, element, {}, true, true);
        } else if (tag == DCM_PixelData || tag == DcmTagKey(0x6000, 0x3000)) { // overlay data of the first group only
            saveGraphicMetadataToDataList(result, dataset, tag, false);
        } else {
            saveDcmElementToDataList(result, element, true, true, false);
        }
    }
    requireWhole();
    memory.require();
    return result;
}

ResultList DcmReader::readAllMetadataExcept(const std::vector<std::string>& names, bool validate) const {
    convertTexts();
    decompress();
    const std::pair<std::string, DcmTagKey> graphics[] = {{kPixelData, DCM_PixelData},
                                                          {kOverlayData, DcmTagKey(0x6000, 0x3000)}};
    const MemoryWatch memory;
    ResultList result;
    ExcludedTags excluded(names.begin(), names.end());
    excluded.insert("GenericGroupLength");
    for (const auto& [name, key] : graphics) {
        excluded.insert(name); // their bulk never goes through the walk
    }
    saveHierarchicalDatasetToDataList(result, fileFormat.getMetaInfo(), excluded, false, validate);
    saveHierarchicalDatasetToDataList(result, dataset, excluded, false, validate);
    for (const auto& [name, key] : graphics) {
        const bool callerExcluded = excluded.count(name) > 1;
        if (!callerExcluded && dataset->tagExists(key, OFFalse)) {
            saveGraphicMetadataToDataList(result, dataset, DcmTag(key), false);
        }
    }
    requireWhole();
    memory.require();
    return result;
}

std::vector<std::pair<std::string, std::string>> DcmReader::readVRName(const std::vector<std::string>& names) {
    std::vector<std::pair<std::string, std::string>> pairs;
    pairs.reserve(names.size());
    for (const std::string& name : names) {
        std::string vr = "UN"; // an unknown keyword is an answer here, not an error
        try {
            vr = DcmTag(getTagKey(GeneralInfoMap, name)).getVR().getValidVRName();
        } catch (const GTU::GantryError&) {
        }
        pairs.emplace_back(name, vr);
    }
    return pairs;
}

std::vector<std::string> DcmReader::readVRNameIntTags(const TagNumbers& tags) {
    std::vector<std::string> vrs;
    vrs.reserve(tags.size());
    for (const auto& numbers : tags) {
        vrs.emplace_back(tagOf(numbers).getVR().getValidVRName());
    }
    return vrs;
}

std::string DcmReader::getKeyword(const std::string& group, const std::string& element) {
    return tagOf({group, element}).getTagName();
}

ResultList DcmReader::getGroupElemNumber(const std::string& keyword) {
    const DcmTagKey key = getTagKey(GeneralInfoMap, keyword);
    ResultList result;
    addText(result, std::to_string(key.getGroup()));
    addText(result, std::to_string(key.getElement()));
    return result;
}

} // namespace radvex
