#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "host/Host.h"
#include "media/FolderIndex.h"
#include "workers/Workers.h"

namespace radvex::compare {

/// What makes two files of two folders a pair.
enum class PairBy {
    instance, ///< SOPInstanceUID
    position, ///< ImagePositionPatient within 0.01 mm
    name,     ///< the path below the folder
};

struct FilePair {
    std::string first{};
    std::string second{};
};

/// A file without a partner.
struct SingleFile {
    std::string path{};
    std::string reason{}; ///< why it can have none: "it has no SOPInstanceUID"; empty otherwise
};

/// The DICOM files of two folders, matched.
struct FilePairs {
    std::vector<FilePair> pairs{}; ///< in the order of the first folder's paths
    std::vector<SingleFile> onlyFirst{};
    std::vector<SingleFile> onlySecond{};
    std::vector<media::RefusedFile> refused{}; ///< files that cannot be read
};

/// Matches the files of two folders and everything below them. Files that are not DICOM, and media directories, are
/// left out. Several files of one instance or at one position are paired in the order of InstanceNumber and path.
/// @param jobs  processes that read the files; 0: this one does
/// @throws FileError  a sentence: a folder cannot be read, or holds no DICOM file
FilePairs pairFiles(velmora::Host& host, const std::string& first, const std::string& second, PairBy by,
                    std::size_t jobs, const workers::Progress& progress);

} // namespace radvex::compare
