#include "dicom/readers/DcmReaderCache.h"

#include "bridge/ErrorManager.h"
#include "dicom/readers/DcmDirReader.h"
#include "dicom/readers/DcmFileReader.h"

namespace radvex {

DcmReaderCache dcmReaderCache;

template <typename T>
std::shared_ptr<T> DcmReaderCache::openReader(const std::string& path) {
    auto found = readers.find(path);
    if (found != readers.end() && found->second->isSpoilt()) {
        readers.erase(found);
        found = readers.end();
    }
    if (found == readers.end()) {
        const auto opened = std::make_shared<T>(path);
        opened->settle();
        found = readers.emplace(path, opened).first;
        keepFileOpen(opened);
    }
    found->second->beginCall();
    auto reader = std::dynamic_pointer_cast<T>(found->second);
    if (reader == nullptr) {
        GTU::ErrorManager::throwException("OpenFileError", path, "Unexpected type (DICOM vs DICOMDIR).");
    }
    return reader;
}

void DcmReaderCache::keepFileOpen(const std::shared_ptr<DcmReader>& reader) {
    constexpr std::size_t kMostOpenFiles = 64;
    if (reader->keepsFileOpen()) {
        mOpenFiles.push_back(reader);
    }
    if (mOpenFiles.size() > kMostOpenFiles) {
        std::erase_if(mOpenFiles, [](const auto& each) { return each.expired() || !each.lock()->keepsFileOpen(); });
    }
    if (mOpenFiles.size() > kMostOpenFiles) {
        mOpenFiles.front().lock()->loadAll();
        mOpenFiles.pop_front();
    }
}

void DcmReaderCache::loadBeforeWriting(const std::string& path) const {
    for (const auto& [name, reader] : readers) {
        if (reader->dependsOn(path)) {
            reader->loadAll();
        }
    }
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
