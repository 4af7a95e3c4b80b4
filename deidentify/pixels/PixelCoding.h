#pragma once

#include "dcmtk/config/osconfig.h"

#include "dcmtk/dcmdata/dcdatset.h"

namespace radvex::deidentify {

/// Whether Pixel Data is compressed.
bool isCompressed(DcmDataset& dataset);

/// Decodes compressed pixels, and makes the attributes say what the decoded ones are. Lossy pixels that do not say so
/// (LossyImageCompression) say it from now on.
/// @return the transfer syntax that they had
/// @throws std::runtime_error  a part of a sentence: DCMTK has no decoder, or it must not decode them
/// (DecodingSafety.h), or decoding fails
E_TransferSyntax decodePixels(DcmDataset& dataset);

/// Compresses raw pixels without loss, decodes them again and compares. The transfer syntax is the one before where
/// that is lossless. Otherwise it is lossless JPEG with first-order prediction, which PS3.5 10.2 makes the one that
/// every program for lossless JPEG has to read: more of them do than read JPEG-LS. The dataset says nothing new of its
/// derivation: the pixels were not compressed by anyone who looks at them.
/// @throws std::runtime_error  a part of a sentence: it cannot be encoded, or not without loss
void encodePixels(DcmDataset& dataset, E_TransferSyntax before);

} // namespace radvex::deidentify
