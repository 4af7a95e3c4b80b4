#pragma once

#include <string>
#include <unordered_set>

#include "dicom/metadata/ElementConversion.h"

namespace radvex {

/// Keywords to leave out. A multiset, so that a function can tell the exclusions of its caller from its own.
using ExcludedTags = std::unordered_multiset<std::string>;

/// Converts a dataset, meta information or a sequence, without recursion. A dataset or item becomes a store of named
/// nodes, a sequence a named node with one unnamed node for each item.
///
/// @param excluded  keys of attributes to leave out at every depth; a sequence stays, with what else its items hold
/// @param nested    the root becomes one node of `list`, named by its key; else its contents go into `list`
/// @param validate  keeps only attributes that pass DCMTK's value check
/// @throws GantryError  CreateFromNullError, and those of saveDcmElementToDataList
void saveHierarchicalDatasetToDataList(ResultList& list, DcmObject* object, const ExcludedTags& excluded, bool nested,
                                       bool validate);

/// True when DCMTK's check finds that the values fit the value representation. Any number of values is allowed.
bool hasValidValue(DcmElement& element);

} // namespace radvex
