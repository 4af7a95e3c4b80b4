#pragma once

#include <string>
#include <unordered_map>
#include <unordered_set>

#include "dicom/metadata/ElementConversion.h"

namespace radvex {

/// Keywords to leave out. A multiset, so that a caller's exclusions can be told from one's own.
using ExcludedTags = std::unordered_multiset<std::string>;

/// Walks a dataset, meta information or sequence without recursion. A dataset or item becomes a store of named nodes,
/// a sequence a named node with one unnamed node for each item.
///
/// @param excluded  keys of leaves to leave out at every depth; a sequence is entered all the same
/// @param nested    the root becomes one node of `list`, named by its key; else its contents go into `list`
/// @param validate  keeps only leaves that pass DCMTK's value check
/// @throws GantryError  CreateFromNullError, and those of saveDcmElementToDataList
void saveHierarchicalDatasetToDataList(ResultList& list, DcmObject* object, const ExcludedTags& excluded, bool nested,
                                       bool validate);

/// Whether DCMTK's check takes the value for one that its representation allows, in any number.
bool hasValidValue(DcmElement& element);

/// A tag as the walk sees it.
struct ElementKey {
    std::string text{};
    bool isItem = false;
    bool isExcluded = false;
};

/// Keys in keyword form, kept for one walk: a dataset repeats few tags many times, and each look-up in the dictionary
/// costs more than the conversion of a short value.
class ElementKeys {
  public:
    explicit ElementKeys(const ExcludedTags& excluded) : mExcluded(excluded) {}

    const ElementKey& keyOf(const DcmTag& tag);

  private:
    ElementKey look(const DcmTag& tag) const;

    const ExcludedTags& mExcluded;
    std::unordered_map<Uint32, ElementKey> mKeys{};
    ElementKey mPrivateKey{}; ///< private tags depend on their creator as well, and are looked up each time
};

} // namespace radvex
