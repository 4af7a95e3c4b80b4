#pragma once

#include <string>

#include "dcmtk/config/osconfig.h"

#include "dcmtk/dcmdata/dcxfer.h"

namespace radvex {

/// True for the identifiers of HTJ2K (PS3.5 A.4.13 and 14: lossless, lossless with RPCL, and with loss), which this
/// DCMTK does not know.
bool isHtj2k(const std::string& uid);

/// DCMTK's number of a transfer syntax, EXS_Unknown for what it does not know. That of HTJ2K is the number of JPEG
/// 2000: both are stored alike, and its decoder tells one from the other by the codestream. The identifier in the meta
/// information stays what it is.
E_TransferSyntax transferSyntaxOf(const std::string& uid);

} // namespace radvex
