#pragma once

#include <memory>
#include <optional>
#include <string>

#include "dcmtk/config/osconfig.h"

#include "dcmtk/dcmdata/dcfilefo.h"
#include "guard/SourceFile.h"

namespace radvex {

/// Why a file was not loaded.
struct LoadFailure {
    std::string reason;
    /// Refused before the parse, and not by DCMTK.
    bool isRefused = false;
};

/// Loads a file that was looked through before: see ParseGuard.h. The one way in which any file gets to DCMTK.
///
/// @param path  "-" is the file of that name, not the standard input
/// @param maxReadLength  longer values are left in the file, and read when they are first asked for
/// @param source  receives the file behind them, when the load went well
/// @return nothing when it is loaded
std::optional<LoadFailure> loadGuarded(DcmFileFormat& file, const std::string& path,
                                       Uint32 maxReadLength = DCM_MaxReadLength,
                                       std::shared_ptr<SourceFile>* source = nullptr);

/// The same with all values: nothing is read from the file later on.
std::optional<LoadFailure> loadGuardedWhole(DcmFileFormat& file, const std::string& path);

} // namespace radvex
