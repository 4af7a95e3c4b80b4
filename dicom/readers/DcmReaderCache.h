#pragma once

#include <memory>
#include <string>
#include <unordered_map>

#include "dicom/readers/DcmReader.h"

namespace radvex {

/// The readers that are open, by path exactly as given: "a.dcm" and "./a.dcm" are two. A reader stays until it is
/// closed; nothing looks whether its file has changed. One that could not read on in its file is opened anew.
class DcmReaderCache {
  public:
    /// The reader of a path, opened on the first call. A failed open leaves the cache as it was.
    ///
    /// `T` is DcmFileReader, DcmDirReader, or DcmReader: that chooses a directory for a path that ends in "DICOMDIR" or
    /// "dicomdir", in just these spellings, whatever the file holds.
    /// @throws GantryError  OpenFileError (path, reason), also when the path is open as the other kind
    template <typename T>
    std::shared_ptr<T> openReader(const std::string& path);

    /// Forgets one reader; a path that is not open is no error.
    void close(const std::string& path) { readers.erase(path); }
    void clear() { readers.clear(); }
    std::size_t size() const { return readers.size(); }

  private:
    std::unordered_map<std::string, std::shared_ptr<DcmReader>> readers{};
};

/// The cache that all exported functions share.
extern DcmReaderCache dcmReaderCache;

} // namespace radvex
