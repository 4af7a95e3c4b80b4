#pragma once

#include <cstdint>
#include <string>

#include "bridge/ErrorManager.h"
#include "dcmtk/config/osconfig.h"

#include "dcmtk/dcmdata/dcfilefo.h"

namespace radvex {

/// @throws GantryError  TagWriteError (keyword, reason) for a bad condition
inline void requireWritten(const OFCondition& written, const char* keyword) {
    if (written.bad()) {
        GTU::ErrorManager::throwException("TagWriteError", keyword, written.text());
    }
}

/// @throws GantryError  ImageWriteError (reason) for a bad condition
inline void requireImageWritten(const OFCondition& written) {
    if (written.bad()) {
        GTU::ErrorManager::throwException("ImageWriteError", written.text());
    }
}

/// The largest length of a value (PS3.5 7.1.1): 0xFFFFFFFF means "undefined", and lengths are even.
inline constexpr std::uint64_t kMaxValueLength = 0xFFFFFFFE;

/// DCMTK would cut the length to 32 bits and write only a part of the value.
/// @throws GantryError  ImageWriteError (reason) for more bytes than a value in DICOM can have
inline void requireStorableLength(std::uint64_t bytes) {
    if (bytes > kMaxValueLength) {
        GTU::ErrorManager::throwException("ImageWriteError", "The pixels need more than 4 GiB");
    }
}

// Both return true for a path that is not a regular file: a pipe or a device keeps nothing that could be checked.

/// True when the file at a path holds everything that `file` holds. DCMTK does not notice when the end of a file does
/// not reach the disk. The length of the file is compared, or with a deflating transfer syntax its contents.
/// @param syntax, mode  those with which the file was saved
bool isSavedWhole(DcmFileFormat& file, const std::string& path, E_TransferSyntax syntax, E_FileWriteMode mode);

/// True when the file at a path can be loaded.
bool canBeLoaded(const std::string& path);

} // namespace radvex
