#include "dicom/readers/DcmReader.h"

#include "bridge/ErrorManager.h"
#include "dcmtk/dcmdata/dcdeftag.h"
#include "dicom/metadata/MemoryWatch.h"
#include "dicom/pixels/CompressedPixels.h"
#include "dicom/pixels/JpegLsFrames.h"
#include "guard/FileStream.h"
#include "guard/GuardedLoad.h"

namespace radvex {

namespace {

/// Longer values are read from the file when they are first asked for.
constexpr Uint32 kMaxReadLength = 4096;

/// The JPEG decoder takes its memory where no watch sees it, and tells of a refusal in words only. Other cases are
/// frames that are too large for it.
bool hasRunOutOfMemory(const OFCondition& decoding) {
    const std::string text = decoding.text();
    return text == "Insufficient memory (case 0)" || text == "Insufficient memory (case 2)" ||
           text == "Insufficient memory (case 4)";
}

} // namespace

DcmReader::DcmReader(const std::string& path) : filePath(path), mLaterReads(std::make_shared<LaterReads>()) {
    GTU::validatePath(path, std::ios_base::in);
    if (const auto failure = loadGuarded(fileFormat, filePath, kMaxReadLength, mLaterReads)) {
        GTU::ErrorManager::throwException("OpenFileError", filePath, failure->reason);
    }
    dataset = fileFormat.getDataset();
}

void DcmReader::convertTexts() const {
    if (mHasConvertedTexts) {
        return;
    }
    mHasConvertedTexts = true;
    // A character set that cannot be converted leaves its bytes as they are; but not one that could be with more
    // memory.
    const MemoryWatch memory;
    (void)fileFormat.convertToUTF8();
    if (memory.hasRunOut()) {
        mLaterReads->failure = "some strings were not converted";
    }
    memory.require();
    requireWhole();
}

void DcmReader::decompress() const {
    if (mIsDecompressed) {
        return;
    }
    mIsDecompressed = true;
    const MemoryWatch memory;
    try {
        endJpegLsFrames(*dataset);
        // Without a usable decoder the file is readable all the same, but for its pixels.
        if (!misleadsTheDecoder(*dataset)) {
            const OFCondition decoding = dataset->chooseRepresentation(EXS_LittleEndianImplicit, nullptr);
            if (hasRunOutOfMemory(decoding)) {
                throw std::bad_alloc();
            }
        }
        memory.require();
    } catch (const std::bad_alloc&) { // a file that is half decompressed is not to be asked again
        mLaterReads->failure = "its pixels were not decompressed";
        throw;
    }
    requireWhole();
}

void DcmReader::decompressFor(const DcmTagKey& key) const {
    if (!mIsDecompressed && isChangedByDecoding(*dataset, key)) {
        decompress();
    }
}

bool DcmReader::isWhole() const { return mLaterReads->failure.empty(); }

void DcmReader::requireWhole() const {
    if (!isWhole()) {
        GTU::ErrorManager::throwException("OpenFileError", filePath, mLaterReads->failure);
    }
}

std::string getItemStringArr(DcmItem* item, const DcmTagKey& key) {
    OFString value;
    return item->findAndGetOFStringArray(key, value, OFFalse).good() ? std::string(value.c_str(), value.length())
                                                                     : std::string{};
}

} // namespace radvex
