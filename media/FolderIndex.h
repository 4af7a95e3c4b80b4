#pragma once

#include <cstddef>
#include <string>
#include <utility>
#include <vector>

#include "workers/Workers.h"

namespace radvex::media {

struct IndexedFile {
    std::string fileId{}; ///< "I0000000": the name of the link beside the DICOMDIR, and the File ID in it
    std::string path{};   ///< the file as the user would name it: the folder as given, and the path below it
};

struct RefusedFile {
    std::string path{};
    std::string reason{}; ///< part of a sentence: "it has no StudyInstanceUID"
};

/// What a listing or an index of a folder does not hold.
struct LeftOut {
    std::size_t skippedCount = 0;       ///< files that are not DICOM, and media directories
    std::vector<RefusedFile> refused{}; ///< DICOM files that cannot be taken, and what cannot be read
};

struct FolderIndex {
    std::string dicomdir{}; ///< path of the DICOMDIR; empty if no file could be indexed, and nothing was written
    std::vector<IndexedFile> files{};
    std::size_t patientCount = 0;
    std::size_t studyCount = 0;
    std::size_t seriesCount = 0;
    LeftOut leftOut{};
};

/// Indexes a folder and everything below it: writes a DICOMDIR into the folder `output`, and beside it a symbolic link
/// for each file, named with 8 characters, since a File ID cannot hold the names that people give to files.
///
/// Files are taken in the order of their paths, byte by byte. Links to folders are not followed. A link to a file below
/// the folder is skipped, because that file is indexed anyway; so the links of an earlier index do no harm. Only
/// regular files are opened, and none is changed. Several files of one instance are all indexed. Attributes that a
/// directory record needs and the file lacks (patient and study ID, numbers) are invented; the UIDs of study, series
/// and instance are not. The files are read by other processes: a file that crashes its process is refused, and the
/// others go on.
///
/// @param output      made if it does not exist. It must not be or contain the folder, unless the links may join its
///                    files
/// @param mayReplace  whether a DICOMDIR that is there already is replaced
/// @param jobs        processes at a time; 0: this one reads the files
/// @throws FileError  a sentence: the folder cannot be read, there is a DICOMDIR in `output` that stays, or it cannot
///                    be written there. A new folder `output` is complete or not there at all
FolderIndex indexFolder(const std::string& folder, const std::string& output, bool mayReplace, std::size_t jobs,
                        const workers::Progress& progress);

/// What the links of an index would do to the folder that it is written into.
struct LinkChanges {
    bool replacesDicomdir = false;
    std::vector<std::string> kept{}; ///< File IDs whose links an earlier run has made; all others are new
    std::vector<IndexedFile>
        dropped{}; ///< links of earlier runs that the new DICOMDIR does not list, with their targets
};

/// What indexFolder would do, with the same refusals. The DICOMDIR is made in the folder for temporary files and
/// removed; `output` is only looked at.
/// @throws FileError
std::pair<FolderIndex, LinkChanges> rehearseIndex(const std::string& folder, const std::string& output, bool mayReplace,
                                                  std::size_t jobs, const workers::Progress& progress);

/// Sentences about what is left out: the number of skipped files, and for each refused file the reason. None if nothing
/// is.
std::vector<std::string> sentencesOf(const LeftOut& leftOut);

} // namespace radvex::media
