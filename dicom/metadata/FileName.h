#pragma once

#include <string>

#include "dcmtk/config/osconfig.h"

#include "dcmtk/ofstd/offile.h"
#include "dcmtk/ofstd/offname.h"

namespace radvex {

/// A path as DCMTK is given it. DCMTK takes "-" for the standard input, which is the host's.
inline OFFilename fileNameOf(const std::string& path) { return OFFilename(path == "-" ? "./-" : path.c_str(), true); }

} // namespace radvex
