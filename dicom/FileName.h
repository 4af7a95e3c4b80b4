#pragma once

#include <string>

#include "dcmtk/config/osconfig.h"

#include "dcmtk/ofstd/offname.h"

namespace radvex {

/// A path as DCMTK takes it. DCMTK takes "-" for the standard streams, which are the host's.
inline OFFilename dcmtkFileName(const std::string& path) {
    return OFFilename(path == "-" ? "./-" : path.c_str(), true);
}

} // namespace radvex
