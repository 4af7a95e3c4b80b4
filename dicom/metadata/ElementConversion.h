#pragma once

#include <string>

#include "bridge/containers/DataList.h"
#include "dcmtk/config/osconfig.h"

#include "dcmtk/dcmdata/dcelem.h"

namespace radvex {

/// A result tree, or a part of one: nodes of any kind.
using ResultList = GTU::DataList<GTU::VArgumentType::VArgument, GTU::Passing::Automatic>;

/// Adds one element as a node: US, SS, UL, SL as Integer, FL, FD as Real (several values as a nested list), OB and OW
/// as one array of bytes or words, everything else as DCMTK's text. An UL beyond 2^31 keeps its bits and reads
/// negative. What has no value, or DCMTK gives none for, leaves no node.
///
/// @param useTensors   OB and OW as integer tensor, else as numeric array of u8 or u16
/// @param named        names the node by its key; OB and OW are always named
/// @param numericName  the key is the number
/// @throws GantryError  CreateFromNullError, TensorNewError, NumericArrayNewError, DimensionsError
void saveDcmElementToDataList(ResultList& list, DcmElement* element, bool useTensors, bool named, bool numericName);

/// saveDcmElementToDataList for a caller that knows the element's key already.
void saveDcmElementUnderKey(ResultList& list, DcmElement* element, bool useTensors, bool named, const std::string& key);

} // namespace radvex
