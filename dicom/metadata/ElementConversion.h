#pragma once

#include <string>

#include "bridge/containers/DataList.h"
#include "dcmtk/config/osconfig.h"

#include "dcmtk/dcmdata/dcelem.h"

namespace radvex {

/// A result tree, or a part of one: nodes of any kind.
using ResultList = GTU::DataList<GTU::VArgumentType::VArgument, GTU::Passing::Automatic>;

/// Adds one element as a node: US, SS, UL, SL as Integer, FL, FD as Real (several values as a nested list), OB and OW
/// as one array of bytes or words, everything else as DCMTK's text. A UL of 2^31 or more keeps its bits and becomes
/// negative. An element without a value, or whose value DCMTK cannot give, leaves no node.
///
/// @param useTensors   OB and OW become an integer tensor, else a numeric array of u8 or u16
/// @param named        the node is named by its key; for OB and OW it always is
/// @param numericName  the key is the tag's number
/// @throws GantryError  CreateFromNullError, TensorNewError, NumericArrayNewError, DimensionsError
void saveDcmElementToDataList(ResultList& list, DcmElement* element, bool useTensors, bool named, bool numericName);

/// As saveDcmElementToDataList, for a caller that already knows the key of the element.
void saveDcmElementUnderKey(ResultList& list, DcmElement* element, bool useTensors, bool named, const std::string& key);

} // namespace radvex
