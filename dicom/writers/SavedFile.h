#pragma once

#include <string>

#include "dcmtk/config/osconfig.h"

#include "dcmtk/dcmdata/dcfilefo.h"

namespace radvex {

// Both take what is no plain file for good: a pipe or a device keeps nothing that could be looked at.

/// True when the file at a path holds all that `file` was composed of. DCMTK does not notice when the last part of a
/// file reaches no disk. Bytes are counted; what is behind a deflating syntax is inflated and compared.
/// @param syntax, mode  those of the save
bool isSavedWhole(DcmFileFormat& file, const std::string& path, E_TransferSyntax syntax, E_FileWriteMode mode);

/// True when the file at a path can be loaded.
bool canBeLoaded(const std::string& path);

} // namespace radvex
