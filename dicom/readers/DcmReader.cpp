#include "dicom/readers/DcmReader.h"

#include "bridge/ErrorManager.h"
#include "dcmtk/dcmdata/dcdeftag.h"
#include "dcmtk/dcmdata/dcerror.h"
#include "dcmtk/dcmdata/dcmetinf.h"
#include "dcmtk/dcmdata/dcpixel.h"
#include "dcmtk/dcmdata/dcstack.h"
#include "dcmtk/dcmdata/dcxfer.h"
#include "dcmtk/dcmjpeg/djutils.h"
#include "dicom/metadata/GraphicMetadata.h"
#include "dicom/metadata/HierarchicalMetadata.h"
#include "dicom/metadata/MemoryWatch.h"
#include "dicom/metadata/TagNaming.h"
#include "dicom/pixels/Jpeg2000Decoder.h"
#include "guard/GuardedLoad.h"
#include "guard/pixels/DecodingSafety.h"
#include "guard/pixels/EncodedPixels.h"
#include "text/DatasetTexts.h"

namespace radvex {

namespace {

/// Longer values are read from the file when they are first asked for.
constexpr Uint32 kMaxReadLength = 4096;

bool isOfJpegDecoder(const OFCondition& decoding) {
    const unsigned short code = decoding.code();
    return decoding.module() == OFM_dcmjpeg &&
           (code == EJCode_IJG8_Decompression || code == EJCode_IJG12_Decompression ||
            code == EJCode_IJG16_Decompression);
}

/// The decoders of JPEG and JPEG 2000 take their memory where no watch sees it. All that the former complains of has
/// one code, and only the words tell a refusal of memory. Other cases are frames that are too large for it.
bool hasRunOutOfMemory(const OFCondition& decoding) {
    if (decoding.module() == OFM_dcmjp2k) {
        return decoding.code() == kJpeg2000OutOfMemory;
    }
    if (!isOfJpegDecoder(decoding)) {
        return false;
    }
    const std::string text = decoding.text();
    return text == "Insufficient memory (case 0)" || text == "Insufficient memory (case 2)" ||
           text == "Insufficient memory (case 4)";
}

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

DcmReader::DcmReader(const std::string& path) : filePath(path) {
    GTU::validatePath(path, std::ios_base::in);
    if (const auto failure = loadGuarded(fileFormat, filePath, kMaxReadLength, &mSource)) {
        GTU::ErrorManager::throwException("OpenFileError", filePath, failure->reason);
    }
    dataset = fileFormat.getDataset();
}

void DcmReader::convertTexts() const {
    if (mHasConvertedTexts) {
        return;
    }
    mHasConvertedTexts = true;
    // Text that is in no character set keeps its bytes; but not one that could be converted with more memory.
    const MemoryWatch memory;
    try {
        text::convertToUtf8(fileFormat, text::OtherTexts::Convert);
        memory.require();
    } catch (const std::bad_alloc&) {
        mIsSpoilt = true;
        throw;
    }
}

void DcmReader::decompress() const {
    if (mIsDecompressed) {
        return;
    }
    loadFragments();
    mIsDecompressed = true;
    const MemoryWatch memory;
    try {
        // Without a usable decoder the file is readable all the same, but for its pixels.
        mReasonNotToDecode = radvex::reasonNotToDecode(*dataset);
        if (mReasonNotToDecode.empty()) {
            const OFCondition decoding = dataset->chooseRepresentation(EXS_LittleEndianImplicit, nullptr);
            if (hasRunOutOfMemory(decoding)) {
                throw std::bad_alloc();
            }
            mReasonNotToDecode = decoding.module() == OFM_dcmjp2k
                                     ? decoding.text()                      // the only decoder with reasons for people
                                     : radvex::reasonNotToDecode(*dataset); // one that failed may change attributes
        }
        memory.require();
    } catch (const std::bad_alloc&) { // a file that is half decompressed is not to be asked again
        mIsSpoilt = true;
        throw;
    }
}

void DcmReader::decompressFor(const DcmTagKey& key) const {
    if (!mIsDecompressed && isChangedByDecoding(*dataset, key)) {
        decompress();
    }
}

void DcmReader::requireWhole() const {
    if (mSource->hasFailed()) {
        GTU::ErrorManager::throwException("OpenFileError", filePath, mSource->failure());
    }
}

// ---- What becomes of the values that were left in the file ----------------------------------------------------------

bool DcmReader::keepsFileOpen() const { return mSource->holdsValues() && mSource->isOpen(); }

std::uint64_t DcmReader::fileSize() const { return mSource->size(); }

bool DcmReader::dependsOn(const std::string& path) const { return mSource->holdsValues() && mSource->isAt(path); }

void DcmReader::beginCall() const { mSource->forgetFailure(); }

void DcmReader::closeFile() const { mSource->close(); }

void DcmReader::settle() const {
    if (mSource->holdsValues() && loadShortValues()) {
        mSource->setHoldsValues(false);
    }
    requireWhole();
    if (mSource->holdsValues()) {
        mSource->waitForNextTick();
    } else {
        mSource->close();
    }
}

bool DcmReader::loadAll() const {
    if (mSource->holdsValues() && fileFormat.loadAllDataIntoMemory().good() && !mSource->hasFailed()) {
        mSource->setHoldsValues(false);
        mSource->close();
    }
    mSource->forgetFailure();
    return !mSource->holdsValues();
}

/// Long texts, which are converted together with the short ones, and compressed pixels up to a limit for the file.
bool DcmReader::loadShortValues() const {
    std::uint64_t room = std::uint64_t{8} * 1024 * 1024;
    bool isAll = true;
    DcmStack stack;
    while (fileFormat.nextObject(stack, OFTrue).good()) {
        auto* element = dynamic_cast<DcmElement*>(stack.top());
        auto* pixels = dynamic_cast<DcmPixelData*>(element);
        DcmPixelSequence* fragments = pixels == nullptr ? nullptr : currentFragments(*pixels);
        if (fragments != nullptr) {
            const std::uint64_t bytes = encodedBytes(*fragments);
            isAll = isAll && bytes <= room;
            if (bytes <= room) {
                room -= bytes;
                (void)fragments->loadAllDataIntoMemory();
            }
        } else if (element != nullptr && element->isLeaf() && !element->valueLoaded()) {
            if (element->isaString()) {
                (void)element->loadAllDataIntoMemory();
            } else {
                isAll = false;
            }
        }
    }
    return isAll;
}

void DcmReader::loadFragments() const {
    if (!mSource->holdsValues() || !DcmXfer(dataset->getCurrentXfer()).isEncapsulated()) {
        return;
    }
    const bool wasOpen = mSource->isOpen();
    if (mSource->isUnchanged()) {
        for (const auto& [item, pixels] : allPixels(*dataset)) {
            (void)pixels->loadAllDataIntoMemory();
        }
    }
    if (!wasOpen) {
        mSource->close();
    }
    requireWhole();
}

std::string getItemStringArr(DcmItem* item, const DcmTagKey& key) {
    OFString value;
    return item->findAndGetOFStringArray(key, value, OFFalse).good() ? std::string(value.c_str(), value.length())
                                                                     : std::string{};
}

// ---- What a file says about given attributes, and questions to the dictionary ---------------------------------------

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
