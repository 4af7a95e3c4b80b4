#pragma once

#include <deque>
#include <memory>
#include <string>
#include <unordered_map>

#include "dicom/readers/DcmReader.h"

namespace radvex {

/// The readers that are open, by path exactly as given: "a.dcm" and "./a.dcm" are two. A reader stays until it is
/// closed, and nothing looks whether its file has changed, except where a value is read that was left in it. One in
/// which memory ran out in the middle of a change is opened anew.
///
/// Files of which something is left to be read stay open, 64 at the most: of more, the one that was opened first is
/// read to its end, or only closed when all of them are large.
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

    /// To be called before a file is written: the readers of that file, by whatever name, read what they left in it.
    void loadBeforeWriting(const std::string& path) const;

  private:
    void keepFileOpen(const std::shared_ptr<DcmReader>& reader);

    std::unordered_map<std::string, std::shared_ptr<DcmReader>> readers{};
    std::deque<std::weak_ptr<DcmReader>> mOpenFiles{}; ///< in the order in which they were opened
};

/// The cache that all exported functions share.
extern DcmReaderCache dcmReaderCache;

} // namespace radvex
