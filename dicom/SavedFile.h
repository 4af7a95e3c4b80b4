#pragma once

#include <string>

#include "dcmtk/config/osconfig.h"

#include "dcmtk/dcmdata/dcfilefo.h"

namespace radvex {

/// True when the file at a path holds all that `file` was composed of. DCMTK does not notice when the last part of a
/// file reaches no disk. Bytes are counted; what is behind a deflating syntax is inflated and compared.
/// @param syntax, mode  those of the save
bool isSavedWhole(DcmFileFormat& file, const std::string& path, E_TransferSyntax syntax, E_FileWriteMode mode);

} // namespace radvex
