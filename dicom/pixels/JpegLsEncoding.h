#pragma once

#include "dcmtk/config/osconfig.h"

#include "dcmtk/dcmdata/dcdatset.h"

namespace radvex {

/// Compresses Pixel Data, which has to hold all pixels, as JPEG-LS; colour becomes interleaved.
///
/// Without a deviation the stored pixels are compressed, bit for bit, in the lossy transfer syntax too. With one they
/// go through DCMTK's renderer, which is the only way to its lossy encoder: not for signed pixels. There is no encoder
/// for a number of samples other than one and three.
/// @param parameter  with the deviation that is asked for
OFCondition encodeJpegLs(DcmDataset& dataset, E_TransferSyntax syntax, const DcmRepresentationParameter& parameter);

} // namespace radvex
