#pragma once

#include <string>
#include <unordered_map>

#include "dicom/metadata/DcmUtility.h"

namespace radvex {

/// saveDcmElementToDataList for a caller that knows the element's key already.
void saveDcmElementUnderKey(ResultList& list, DcmElement* element, bool useTensors, bool named, const std::string& key);

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
