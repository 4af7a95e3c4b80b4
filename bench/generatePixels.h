#pragma once

#include <filesystem>
#include <string>
#include <vector>

#include "bench/Amounts.h"
#include "bench/pixels.h"

#include "dcmtk/config/osconfig.h"

#include "dcmtk/dcmdata/dctk.h"

/// Ends the program when DCMTK reports a failure.
void check(const OFCondition& condition);

/// A transfer syntax that the benchmarks write, and how their files are named after it.
struct Encoding {
    std::string suffix; ///< "" or "-rle", "-jpeg", "-jpegls"
    E_TransferSyntax syntax;
    const DcmRepresentationParameter* parameter;
};

/// Uncompressed, RLE, JPEG lossless and JPEG-LS lossless.
const std::vector<Encoding>& encodings();

/// How samples are stored in 16 bits.
enum class Stored { twelveBits, sixteenSigned };

/// Puts the attributes of square pictures, and the pixels.
void putPixels(DcmDataset& dataset, const Uint16* pixels, int frames, int side, Stored stored = Stored::twelveBits);

/// Writes frames.dcm and frames-rle.dcm, frames-jpeg.dcm, frames-jpegls.dcm: frames of 16 bits; and frames-rgb.dcm.
void writeMultiFrames(const std::filesystem::path& folder, const Amounts& amounts);
