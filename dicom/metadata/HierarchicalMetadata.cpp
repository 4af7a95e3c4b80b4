#include "dicom/metadata/HierarchicalMetadata.h"

#include <unordered_map>
#include <vector>

#include "dcmtk/dcmdata/dcstack.h"
#include "dicom/metadata/TagNaming.h"

namespace radvex {

namespace {

using GTU::VArgumentType;

/// A level that is being filled: its name in the level above, empty for an item, and its nodes. All but the root are
/// the walk's until they become nodes: of a walk that fails nothing stays behind but the root, which is the host's.
struct Level {
    std::string name{};
    ResultList nodes{};
    GTU::VContainer<VArgumentType::DataStore, GTU::Passing::Manual> owner{nodes.getInternal(), true};
};

void addChild(ResultList& parent, Level& child) {
    GTU::Argument<VArgumentType::DataStore>::addDataStoreNode(parent.getInternal(), child.name,
                                                              child.nodes.getInternal());
    child.owner.setOwnedByLibrary(false);
}

/// Closes levels until `size` remain: each becomes a node of the one below it.
void closeLevels(std::vector<Level>& levels, ResultList& root, std::size_t size) {
    while (levels.size() > size) {
        addChild(levels.size() > 1 ? levels[levels.size() - 2].nodes : root, levels.back());
        levels.pop_back();
    }
}

/// What the walk has to know of a tag.
struct ElementKey {
    std::string text{};
    bool isItem = false;
    bool isExcluded = false;
};

/// The keys of one walk. A dataset repeats few tags many times, and a look-up in the dictionary costs more than the
/// conversion of a short value.
class ElementKeys {
  public:
    explicit ElementKeys(const ExcludedTags& excluded) : mExcluded(excluded) {}

    const ElementKey& keyOf(const DcmTag& tag) {
        if ((tag.getGroup() & 1) != 0) {
            mPrivateKey = lookUp(tag);
            return mPrivateKey;
        }
        const Uint32 number = static_cast<Uint32>(tag.getGroup()) << 16 | tag.getElement();
        const auto known = mKeys.find(number);
        return known != mKeys.end() ? known->second : mKeys.emplace(number, lookUp(tag)).first->second;
    }

  private:
    ElementKey lookUp(const DcmTag& tag) const {
        const std::string text = getTagNameAsString(tag, false);
        return {text, text == "Item", mExcluded.contains(text)};
    }

    const ExcludedTags& mExcluded;
    std::unordered_map<Uint32, ElementKey> mKeys{};
    ElementKey mPrivateKey{}; ///< the key of a private tag depends on its creator too, so that it is not kept
};

} // namespace

// DCMTK also rejects a value when it gets no memory for the check. A second check tells these cases apart.
bool hasValidValue(DcmElement& element) {
    return element.checkValue("1-n", OFFalse).good() || element.checkValue("1-n", OFFalse).good();
}

void saveHierarchicalDatasetToDataList(ResultList& list, DcmObject* object, const ExcludedTags& excluded, bool nested,
                                       bool validate) {
    ElementKeys keys(excluded);
    std::vector<Level> levels;
    if (nested) {
        levels.push_back({getTagNameAsString(object->getTag(), false)});
    }
    const std::size_t rootLevels = levels.size();
    DcmStack stack;
    while (object->nextObject(stack, OFTrue).good()) {
        // The root lies at the bottom and the current object on top: levels that the walk has left are closed here.
        closeLevels(levels, list, rootLevels + stack.card() - 2);
        DcmObject* current = stack.top();
        const ElementKey& key = keys.keyOf(current->getTag());
        if (current->getTag().getEVR() == EVR_SQ) {
            levels.push_back({key.text}); // excluded or not: what is left out of it is its leaves
        } else if (key.isItem) {
            levels.push_back({});
        } else if (key.isExcluded) {
            continue;
        } else if (auto* element = dynamic_cast<DcmElement*>(current);
                   element != nullptr && (!validate || hasValidValue(*element))) {
            saveDcmElementUnderKey(levels.empty() ? list : levels.back().nodes, element, true, true, key.text);
        }
    }
    closeLevels(levels, list, 0);
}

} // namespace radvex
