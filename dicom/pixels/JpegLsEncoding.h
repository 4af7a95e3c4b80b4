#pragma once

#include "dcmtk/config/osconfig.h"

#include "dcmtk/dcmdata/dcdatset.h"

namespace radvex {

/// Compresses Pixel Data, which has to hold all pixels, as JPEG-LS; colour becomes interleaved.
///
/// DCMTK's encoder of rendered pixels, the only one for lossy compression, writes behind its buffer when a frame does
/// not get smaller. So all frames are compressed without loss first, by the encoder of stored pixels. That is what is
/// kept, in the lossy transfer syntax as well, unless lossy compression is asked for and every frame came to half its
/// size at most: lossy frames are mostly smaller than lossless ones, and were never seen to be a third larger. There is
/// no lossy encoder for signed pixels, and none at all for a number of samples other than one and three.
/// @param parameter  with the deviation that is asked for
OFCondition encodeJpegLs(DcmDataset& dataset, E_TransferSyntax syntax, const DcmRepresentationParameter& parameter);

} // namespace radvex
