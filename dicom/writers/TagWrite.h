#pragma once

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

} // namespace radvex
