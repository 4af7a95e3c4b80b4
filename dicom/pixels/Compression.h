#pragma once

#include "dcmtk/config/osconfig.h"

#include "dcmtk/dcmdata/dcdatset.h"

namespace radvex {

/// True when Pixel Data holds all pixels that the attributes promise, and at least one. DCMTK's encoders do not check
/// it: they multiply in 32 bits, and the number of frames may come from the caller.
bool holdsAllPixels(DcmDataset& dataset);

/// Compresses Pixel Data, which has to hold all pixels. JPEG-LS and lossless JPEG interleave colour by plane.
///
/// The lossy JPEG-LS transfer syntax gets frames without loss where lossy compression would be unsafe. No encoder takes
/// signed pixels for JPEG-LS with loss, or a number of samples other than one and three for lossy JPEG and JPEG-LS.
OFCondition compressPixels(DcmDataset& dataset, E_TransferSyntax syntax, const DcmRepresentationParameter& parameter);

/// True when pixels that were just compressed can be read back. Encoders were seen to cut pixels short without an error
/// when these did not become smaller; only such pixels are decoded to find out.
bool canBeDecoded(DcmDataset& dataset);

} // namespace radvex
