#include "dicom/readers/DcmReaderCache.h"

#include "bridge/ErrorManager.h"
#include "dicom/readers/DcmDirReader.h"
#include "dicom/readers/DcmFileReader.h"

namespace radvex {

DcmReaderCache dcmReaderCache;

template <typename T>
std::shared_ptr<T> DcmReaderCache::openReader(const std::string& path) {
    auto found = readers.find(path);
    if (found != readers.end() && !found->second->isWhole()) {
        readers.erase(found);
        found = readers.end();
    }
    if (found == readers.end()) {
        found = readers.emplace(path, std::make_shared<T>(path)).first;
    }
    auto reader = std::dynamic_pointer_cast<T>(found->second);
    if (reader == nullptr) {
        GTU::ErrorManager::throwException("OpenFileError", path, "Unexpected type (DICOM vs DICOMDIR).");
    }
    return reader;
}

template <>
std::shared_ptr<DcmReader> DcmReaderCache::openReader<DcmReader>(const std::string& path) {
    if (path.ends_with("DICOMDIR") || path.ends_with("dicomdir")) {
        return openReader<DcmDirReader>(path);
    }
    return openReader<DcmFileReader>(path);
}

template std::shared_ptr<DcmFileReader> DcmReaderCache::openReader<DcmFileReader>(const std::string&);
template std::shared_ptr<DcmDirReader> DcmReaderCache::openReader<DcmDirReader>(const std::string&);

} // namespace radvex
