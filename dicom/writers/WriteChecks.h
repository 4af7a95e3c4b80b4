#pragma once

#include <cstdint>

#include "bridge/ErrorManager.h"
#include "dcmtk/config/osconfig.h"

#include "dcmtk/ofstd/ofcond.h"

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

/// The longest value with a length of its own (PS3.5 7.1.1): 0xFFFFFFFF means "undefined", and lengths are even.
inline constexpr std::uint64_t kMaxValueLength = 0xFFFFFFFE;

/// DCMTK would cut the length to 32 bits and write a part of the value.
/// @throws GantryError  ImageWriteError (reason) for a value of more bytes than DICOM can hold
inline void requireStorableLength(std::uint64_t bytes) {
    if (bytes > kMaxValueLength) {
        GTU::ErrorManager::throwException("ImageWriteError", "The pixels need more than 4 GiB");
    }
}

} // namespace radvex
