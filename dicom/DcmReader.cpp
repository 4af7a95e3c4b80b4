#include "DcmReader.h"

#include "CompressedPixels.h"
#include "ErrorManager.h"
#include "GuardedLoad.h"
#include "dcmtk/dcmdata/dcdeftag.h"

namespace radvex {

namespace {

/// Longer values are read from the file when they are first asked for.
constexpr Uint32 kMaxReadLength = 4096;

} // namespace

DcmReader::DcmReader(const std::string& path) : filePath(path) {
    GTU::validatePath(path, std::ios_base::in);
    if (const auto failure = loadGuarded(fileFormat, filePath, kMaxReadLength)) {
        GTU::ErrorManager::throwException("OpenFileError", filePath, failure->reason);
    }
    dataset = fileFormat.getDataset();
}

void DcmReader::normalise() const {
    if (isNormalised) {
        return;
    }
    isNormalised = true;
    // Without a usable decoder the file still opens; that shows only when pixels are read.
    if (!misleadsTheDecoder(*dataset)) {
        (void)dataset->chooseRepresentation(EXS_LittleEndianImplicit, nullptr);
    }
    // A character set that cannot be converted leaves its bytes as they are.
    (void)fileFormat.convertToUTF8();
}

std::string getItemStringArr(DcmItem* item, const DcmTagKey& key) {
    OFString value;
    return item->findAndGetOFStringArray(key, value, OFFalse).good() ? std::string(value.c_str(), value.length())
                                                                     : std::string{};
}

} // namespace radvex
