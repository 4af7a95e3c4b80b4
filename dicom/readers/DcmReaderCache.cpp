#include "dicom/readers/DcmReaderCache.h"

#include "bridge/ErrorManager.h"
#include "dicom/readers/DcmDirReader.h"
#include "dicom/readers/DcmFileReader.h"

namespace radvex {

DcmReaderCache dcmReaderCache;

template <typename T>
std::shared_ptr<T> DcmReaderCache::openReader(const std::string& path) {
    auto found = readers.find(path);
    if (found == readers.end() || found->second->isSpoilt()) {
        const auto opened = std::make_shared<T>(path);
        opened->settle();
        found = readers.insert_or_assign(path, opened).first;
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
    constexpr std::size_t kMaxOpenFiles = 64;
    constexpr std::uint64_t kMaxLoaded = std::uint64_t{64} * 1024 * 1024;
    if (reader->keepsFileOpen()) {
        mOpenFiles.push_back(reader);
    }
    if (mOpenFiles.size() <= kMaxOpenFiles) {
        return;
    }
    std::erase_if(mOpenFiles, [](const auto& each) { return each.expired() || !each.lock()->keepsFileOpen(); });
    // The oldest is read to its end. Nobody wants gigabytes for one attribute: large files wait for the others, and the
    // oldest of 64 large ones is only closed; it is read by its path later on, as long as it is the same file.
    for (auto each = mOpenFiles.begin(); mOpenFiles.size() > kMaxOpenFiles && each != mOpenFiles.end();) {
        const auto open = each->lock();
        each = open->fileSize() <= kMaxLoaded && open->loadAll() ? mOpenFiles.erase(each) : std::next(each);
    }
    if (mOpenFiles.size() > kMaxOpenFiles) {
        mOpenFiles.front().lock()->closeFile();
        mOpenFiles.pop_front();
    }
}

void DcmReaderCache::loadBeforeWriting(const std::string& path) const {
    for (const auto& [name, reader] : readers) {
        if (reader->dependsOn(path)) {
            (void)reader->loadAll(); // what cannot be read then is an error when it is asked for
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
