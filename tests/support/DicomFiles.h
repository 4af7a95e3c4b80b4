#pragma once

#include <functional>
#include <string>
#include <vector>

#include "dcmtk/config/osconfig.h"

#include "dcmtk/dcmdata/dctk.h"

namespace radvex::test {

using Fill = std::function<void(DcmDataset&)>;

/// Writes a DICOM file with the identifying attributes of a CT instance and whatever `fill` puts. Gives the path.
std::string writeDicom(const std::string& path, const Fill& fill, E_TransferSyntax syntax = EXS_LittleEndianExplicit);

} // namespace radvex::test
