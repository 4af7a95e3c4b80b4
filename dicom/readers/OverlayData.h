#pragma once

#include <initializer_list>

#include "bridge/containers/NumericArray.h"
#include "dcmtk/config/osconfig.h"

#include "dcmtk/ofstd/oftypes.h"

namespace radvex {

/// Unpacks the words of Overlay Data, lowest bit first, into an array of 0 and 1.
/// @throws GantryError  NumericArrayNewError, DimensionsError
GTU::NumericArray<signed char, GTU::Passing::Manual> readOverlayDataBuffer(const Uint16* data, unsigned long wordCount,
                                                                           std::initializer_list<int> dims);

} // namespace radvex
